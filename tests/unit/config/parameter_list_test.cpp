#include "config/parameter_list.h"

#include <gmock/gmock.h>

#include "passbridge/j2534.h"
#include "pdu/com_param.h"
#include "unit/config/recording_link.h"

namespace passbridge::test {

namespace {

using pdu::ComParam;
using testing::ElementsAre;
using testing::IsEmpty;
using ParameterListTest = PduFixture;

RecordingLink::Write Wrote(ComParam comParam, UNUM32 value) {
  return {pdu::ComParamId(comParam), value};
}

/// The writes to one ComParam.
std::vector<UNUM32> WritesTo(const RecordingLink& channel, ComParam comParam) {
  std::vector<UNUM32> values;
  for (const auto& [id, value] : channel.writes) {
    if (id == pdu::ComParamId(comParam)) values.push_back(value);
  }
  return values;
}

std::uint32_t ValueOf(const CJ2534ParameterList& list, std::uint32_t parameterId) {
  std::uint32_t value = 0;
  EXPECT_EQ(list.GetJ2534ParameterValue(parameterId, &value), STATUS_NOERROR) << parameterId;
  return value;
}

TEST_F(ParameterListTest, HoldsWhatTheProtocolHas) {
  constexpr std::uint32_t kFirst = DATA_RATE;
  constexpr std::uint32_t kLast = SW_CAN_RES_SWITCH;
  const std::vector<std::uint32_t> sci{T1_MAX, T2_MAX, T4_MAX, T5_MAX, T3_MAX};
  const struct {
    std::uint32_t protocolId;
    ProtocolType type;
    std::vector<std::uint32_t> parameters;  // ascending, beside DATA_RATE and LOOPBACK
  } rows[] = {
      {J1850VPW, J1850VPW, {}},
      {J1850PWM, J1850PWM, {NODE_ADDRESS, NETWORK_LINE}},
      {ISO9141,
       ISO9141,
       {P1_MAX, P3_MIN, P4_MIN, W1, W2, W3, W4, TIDLE, TINIL, TWUP, PARITY, W0, DATA_BITS,
        FIVE_BAUD_MOD, W4_MAX}},
      {ISO14230,
       ISO14230,
       {P1_MAX, P3_MIN, P4_MIN, W1, W2, W3, W4, W5, TIDLE, TINIL, TWUP, PARITY, DATA_BITS,
        FIVE_BAUD_MOD, W4_MAX}},
      {CAN, CAN, {BIT_SAMPLE_POINT, SYNC_JUMP_WIDTH}},
      {ISO15765,
       ISO15765,
       {BIT_SAMPLE_POINT, SYNC_JUMP_WIDTH, ISO15765_BS, ISO15765_STMIN, ISO15765_BS_TX,
        ISO15765_STMIN_TX, ISO15765_WFT_MAX, BR_TX_MIN, CAN_MIXED_FORMAT}},
      {SCI_A_ENGINE, SCI_A_ENGINE, sci},
      {SCI_A_TRANS, SCI_A_TRANS, sci},
      {SCI_B_ENGINE, SCI_B_ENGINE, sci},
      {SCI_B_TRANS, SCI_B_TRANS, sci},
      {SW_ISO15765_PS,
       SW_ISO15765_PS,
       {BIT_SAMPLE_POINT, SYNC_JUMP_WIDTH, ISO15765_BS, ISO15765_STMIN, ISO15765_BS_TX,
        ISO15765_STMIN_TX, ISO15765_WFT_MAX, BR_TX_MIN, CAN_MIXED_FORMAT, SW_CAN_HS_DATA_RATE,
        SW_CAN_SPEEDCHANGE_ENABLE, SW_CAN_RES_SWITCH}},
      {SW_CAN_PS,
       SW_CAN_PS,
       {BIT_SAMPLE_POINT, SYNC_JUMP_WIDTH, SW_CAN_HS_DATA_RATE, SW_CAN_SPEEDCHANGE_ENABLE,
        SW_CAN_RES_SWITCH}},
      {GM_UART_PS, GM_UART_PS, {}},
      {FT_FGA7274,
       FGA7274,
       {BIT_SAMPLE_POINT, SYNC_JUMP_WIDTH, ISO15765_BS, ISO15765_STMIN, ISO15765_BS_TX,
        ISO15765_STMIN_TX, ISO15765_WFT_MAX, BR_TX_MIN, CAN_MIXED_FORMAT}},
      {UBP_PS, UBP_PS, {PARITY, DATA_BITS}},
  };
  for (const auto& row : rows) {
    RecordingLink channel(row.protocolId, row.type);
    CJ2534ParameterList list;
    ASSERT_EQ(list.Initialize(&channel), STATUS_NOERROR);
    std::vector<std::uint32_t> held;
    for (std::uint32_t id = kFirst; id <= kLast; ++id) {
      CJ2534Parameter* parameter = nullptr;
      if (list.GetJ2534Parameter(id, &parameter) == STATUS_NOERROR) held.push_back(id);
    }
    std::vector<std::uint32_t> expected{DATA_RATE, LOOPBACK};
    expected.insert(expected.end(), row.parameters.begin(), row.parameters.end());
    EXPECT_EQ(held, expected) << std::hex << row.protocolId;
  }
}

TEST_F(ParameterListTest, TheNamesOfTheIdleTimeAreOneValue) {
  RecordingLink iso14230(ISO14230, ISO14230);
  CJ2534ParameterList kwp;
  kwp.Initialize(&iso14230);
  EXPECT_EQ(kwp.SetJ2534ParameterValue(TIDLE, 500), STATUS_NOERROR);
  EXPECT_EQ(ValueOf(kwp, W5), 500u);
  EXPECT_EQ(kwp.SetJ2534ParameterValue(W5, 400), STATUS_NOERROR);
  EXPECT_EQ(ValueOf(kwp, TIDLE), 400u);
  EXPECT_EQ(kwp.SetJ2534ParameterValue(W0, 500), ERR_NOT_SUPPORTED);
  EXPECT_EQ(ValueOf(kwp, TIDLE), 400u);

  RecordingLink iso9141(ISO9141, ISO9141);
  CJ2534ParameterList kLine;
  kLine.Initialize(&iso9141);
  EXPECT_EQ(kLine.SetJ2534ParameterValue(TIDLE, 500), STATUS_NOERROR);
  EXPECT_EQ(ValueOf(kLine, W0), 500u);
  EXPECT_EQ(ValueOf(kLine, W1), 300u);
  EXPECT_EQ(kLine.SetJ2534ParameterValue(W0, 0x10000), ERR_INVALID_IOCTL_VALUE);
  EXPECT_EQ(ValueOf(kLine, W0), 500u);
  EXPECT_EQ(ValueOf(kLine, TIDLE), 500u);
}

TEST_F(ParameterListTest, AParameterThatIsHeldKeepsItsValue) {
  RecordingLink channel(CAN, CAN);
  CJ2534ParameterList list;
  list.Initialize(&channel);
  list.SetJ2534ParameterValue(DATA_RATE, 250000);
  EXPECT_EQ(list.AddJ2534Parameter(DATA_RATE), STATUS_NOERROR);
  EXPECT_EQ(ValueOf(list, DATA_RATE), 250000u);
  EXPECT_EQ(list.ClearJ2534Parameters(), STATUS_NOERROR);
  EXPECT_EQ(list.AddJ2534Parameter(DATA_RATE), STATUS_NOERROR);
  EXPECT_EQ(ValueOf(list, DATA_RATE), 500000u);
}

TEST_F(ParameterListTest, DownloadsWhatIsModifiedInTheOrderOfTheIds) {
  RecordingLink channel(SW_CAN_PS, SW_CAN_PS);
  CJ2534ParameterList list;
  list.Initialize(&channel);
  list.SetJ2534ParameterValue(DATA_RATE, 33333);
  EXPECT_EQ(list.DownloadParameters(), STATUS_NOERROR);
  // Nothing for SW_CAN_HS_DATA_RATE.
  EXPECT_THAT(
      channel.writes,
      ElementsAre(Wrote(ComParam::CP_Baudrate, 33333), Wrote(ComParam::CP_Loopback, 0),
                  Wrote(ComParam::CP_BitSamplePoint, 80), Wrote(ComParam::CP_SyncJumpWidth, 15),
                  Wrote(ComParam::CP_ChangeSpeedCtrl, 0),
                  Wrote(ComParam::CP_ChangeSpeedResCtrl, 0)));

  channel.writes.clear();
  CJ2534Parameter* dataRate = nullptr;
  list.GetJ2534Parameter(DATA_RATE, &dataRate);
  ASSERT_NE(dataRate, nullptr);
  dataRate->ClearModified();
  list.DownloadParameters();
  EXPECT_THAT(WritesTo(channel, ComParam::CP_Baudrate), IsEmpty());
  EXPECT_THAT(WritesTo(channel, ComParam::CP_Loopback), ElementsAre(0)) << "still marked";
}

TEST_F(ParameterListTest, WhatTheLinkRefusesStopsNothing) {
  RecordingLink channel(CAN, CAN);
  channel.setStatus = ERR_FAILED;
  CJ2534ParameterList list;
  list.Initialize(&channel);
  EXPECT_EQ(list.DownloadParameters(), STATUS_NOERROR);
  EXPECT_EQ(channel.writes.size(), 4u);
}

TEST_F(ParameterListTest, ParityAndDataBitsEachReplaceTheirShare) {
  const UNUM32 uartConfig = pdu::ComParamId(ComParam::CP_UartConfig);
  const struct {
    UNUM32 current;
    Status getStatus;
    std::vector<UNUM32> writes;
  } rows[] = {
      {8, STATUS_NOERROR, {7, 1}},  // parity first; the data bits start from there
      {12, STATUS_NOERROR, {13, 1}},    {18, STATUS_NOERROR, {}},
      {0xFFFFFFFF, STATUS_NOERROR, {}}, {8, ERR_NOT_SUPPORTED, {}},
  };
  for (const auto& row : rows) {
    RecordingLink channel(ISO9141, ISO9141);
    channel.values[uartConfig] = row.current;
    channel.getStatus = row.getStatus;
    CJ2534ParameterList list;
    list.Initialize(&channel);
    list.SetJ2534ParameterValue(PARITY, ODD_PARITY);
    list.SetJ2534ParameterValue(DATA_BITS, DATA_BITS_7);
    EXPECT_EQ(list.DownloadParameters(), STATUS_NOERROR);
    EXPECT_EQ(WritesTo(channel, ComParam::CP_UartConfig), row.writes) << row.current;
    EXPECT_THAT(WritesTo(channel, ComParam::CP_5BaudMode), ElementsAre(0)) << "the rest goes on";
  }
}

TEST_F(ParameterListTest, ReportsFailuresWhereTheyArise) {
  RecordingLink channel(CAN, CAN);
  CJ2534ParameterList list;
  list.Initialize(&channel);
  CJ2534ParameterList orphan;
  CJ2534Parameter* parameter = nullptr;
  std::uint32_t value = 0;
  const struct {
    std::function<Status()> call;
    Status status;
    const char* report;
    Location recorded;
  } rows[] = {
      {[&] { return list.Initialize(nullptr); }, ERR_NULL_PARAMETER,
       "11040001 NULL pointer to CJ2534Channel.", 0x11040001},
      {[&] { return list.AddJ2534Parameter(0x26); }, ERR_NOT_SUPPORTED,
       "11050002 Error initializing J2534 Parameter. (0x00000026)", 0},
      {[&] { return list.AddJ2534Parameter(nullptr); }, ERR_NULL_PARAMETER,
       "11060001 NULL pointer to CJ2534Parameter.", 0x11060001},
      {[&] { return list.GetJ2534Parameter(LOOPBACK, nullptr); }, ERR_NULL_PARAMETER,
       "11080001 NULL Parameter pointer pointer.", 0x11080001},
      {[&] { return list.GetJ2534Parameter(W0, &parameter); }, ERR_NOT_SUPPORTED,
       "11080002 J2534 Parameter was not in the list of J2534 Parameters.", 0},
      {[&] { return list.GetJ2534ParameterValue(LOOPBACK, nullptr); }, ERR_NULL_PARAMETER,
       "11090001 Null pointer to Value.", 0x11090001},
      {[&] { return list.GetJ2534ParameterValue(NODE_ADDRESS, &value); }, ERR_NOT_SUPPORTED,
       "11090002 Error getting ParameterID: 0x00000004.", 0},
      {[&] { return list.SetJ2534ParameterValue(NODE_ADDRESS, 1); }, ERR_NOT_SUPPORTED,
       "110A0001 Error getting pointer to CJ2534Parameter.", 0},
      {[&] { return list.SetJ2534ParameterValue(LOOPBACK, 2); }, ERR_INVALID_IOCTL_VALUE,
       "110A0003 Error setting J2534 Parameter value.", 0x10050002},
      {[&] { return orphan.AddJ2534Parameter(LOOPBACK); }, ERR_FAILED,
       "110500FF Unhandled exception.", 0x110500FF},
  };
  for (const auto& row : rows) {
    const Outcome outcome = Observe(row.call);
    ExpectReport(outcome, row.status, row.report);
    EXPECT_EQ(outcome.recorded, row.recorded) << row.report;
  }
  EXPECT_EQ(ValueOf(list, LOOPBACK), 0u);
}

}  // namespace

}  // namespace passbridge::test
