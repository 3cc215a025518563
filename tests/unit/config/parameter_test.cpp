#include "config/parameter.h"

#include "passbridge/j2534.h"
#include "pdu/com_param.h"
#include "unit/config/recording_link.h"

namespace passbridge::test {

namespace {

using pdu::ComParam;
using ParameterTest = PduFixture;

/// A parameter of a channel that has been set to a value.
std::unique_ptr<CJ2534Parameter> Made(std::uint32_t protocolId, std::uint32_t id,
                                      std::uint32_t value) {
  auto parameter = std::make_unique<CJ2534Parameter>(id);
  EXPECT_EQ(parameter->Initialize(protocolId), STATUS_NOERROR) << id;
  EXPECT_EQ(parameter->SetValue(protocolId, value), STATUS_NOERROR) << id;
  return parameter;
}

TEST_F(ParameterTest, AcceptsWhatTheProtocolCanHaveUpToTheEdges) {
  const struct {
    std::uint32_t protocolId;
    std::uint32_t parameterId;
    std::vector<std::uint32_t> accepted;
    std::vector<std::uint32_t> refused;
  } rows[] = {
      {CAN, DATA_RATE, {5, 33333, 500000}, {0, 4, 500001, 0xFFFFFFFF}},
      {J1850VPW, DATA_RATE, {5, 10401, 500000}, {4, 500001}},
      {J1850PWM,
       DATA_RATE,
       {40768, 41600, 42432, 81634, 84966},
       {40767, 42433, 81633, 84967, 500000}},
      {J1850VPW_PS, DATA_RATE, {10400, 41600}, {10399, 10401, 41599, 41601}},
      {J1850VPW_CH128, DATA_RATE, {10400, 41600}, {10401}},
      {J1850PWM_PS, DATA_RATE, {41600, 83300}, {40768, 83301}},
      {J1850PWM_CH1, DATA_RATE, {41600, 83300}, {42432}},
      {CAN, LOOPBACK, {0, 1}, {2}},
      {J1850PWM, NODE_ADDRESS, {0, 0xFF}, {0x100}},
      {J1850PWM, NETWORK_LINE, {0, 2}, {3}},
      {ISO9141, P1_MAX, {1, 0xFFFF}, {0, 0x10000}},
      {ISO9141, P3_MIN, {0, 0xFFFF}, {0x10000}},
      {ISO9141, TIDLE, {0, 0xFFFF}, {0x10000}},
      {ISO9141, PARITY, {0, 2}, {3}},
      {ISO9141, DATA_BITS, {0, 1}, {2}},
      {ISO9141, FIVE_BAUD_MOD, {0, 4}, {5}},
      {CAN, BIT_SAMPLE_POINT, {0, 100}, {101}},
      {ISO15765, ISO15765_BS, {0, 0xFF}, {0x100}},
      {ISO15765, ISO15765_BS_TX, {0, 0xFF, 0xFFFF}, {0x100, 0xFFFE, 0x10000}},
      {ISO15765, ISO15765_STMIN_TX, {0, 0xFF, 0xFFFF}, {0x100, 0xFFFE, 0x10000}},
      {ISO15765, CAN_MIXED_FORMAT, {0, 2}, {3}},
      {SW_CAN_PS, SW_CAN_HS_DATA_RATE, {5, 500000}, {4, 500001}},
      {SW_CAN_PS, SW_CAN_RES_SWITCH, {0, 2}, {3}},
      {ISO9141, P1_MIN, {0, 0xFFFFFFFF}, {}},
      {CAN_PS, J1962_PINS, {0, 0x060E, 0xFFFFFFFF}, {}},
  };
  for (const auto& row : rows) {
    for (const std::uint32_t value : row.accepted) {
      EXPECT_EQ(CJ2534Parameter::ValidateValue(row.protocolId, row.parameterId, value),
                STATUS_NOERROR)
          << std::hex << row.protocolId << ' ' << row.parameterId << ' ' << value;
    }
    for (const std::uint32_t value : row.refused) {
      EXPECT_EQ(CJ2534Parameter::ValidateValue(row.protocolId, row.parameterId, value),
                ERR_INVALID_IOCTL_VALUE)
          << std::hex << row.protocolId << ' ' << row.parameterId << ' ' << value;
    }
  }
}

TEST_F(ParameterTest, DefaultsDependOnTheProtocolWhereTheyMust) {
  const struct {
    std::uint32_t parameterId;
    std::uint32_t protocolId;
    std::uint32_t value;
  } rows[] = {
      {DATA_RATE, J1850VPW, 10400},
      {DATA_RATE, ISO14230_PS, 10400},
      {DATA_RATE, ISO9141_CH128, 10400},
      {DATA_RATE, J1850PWM_PS, 41600},
      {DATA_RATE, ISO15765, 500000},
      {DATA_RATE, SW_CAN_PS, 500000},
      {DATA_RATE, FT_FGA7274, 500000},
      {DATA_RATE, CAN_CH1, 500000},
      {DATA_RATE, 0x8FFF, 0},
      {DATA_RATE, SCI_B_TRANS, 7812},
      {DATA_RATE, J2610_CH1, 7812},
      {DATA_RATE, GM_UART_PS, 8192},
      {DATA_RATE, UBP_PS, 9600},
      {DATA_RATE, UART_ECHO_BYTE_PS, 0},
      {J1962_PINS, J1850PWM, 0x020A},
      {J1962_PINS, ISO9141, 0x070F},
      {J1962_PINS, CAN, 0x060E},
      {J1962_PINS, SCI_A_ENGINE, 0x0607},
      {J1962_PINS, SCI_A_TRANS, 0x0E07},
      {J1962_PINS, SCI_B_ENGINE, 0x0C07},
      {J1962_PINS, SCI_B_TRANS, 0x090F},
      {J1962_PINS, SW_CAN_ISO15765_CH128, 0x060E},
      {J1962_PINS, J2610_CH128, 0x0706},
      {J1962_PINS, CAN_PS, 0},
      {J1962_PINS, UBP_PS, 0},
      {T3_MAX, SCI_A_ENGINE, 0},
      {T3_MAX, SCI_B_TRANS, 0},
      {T3_MAX, J2610_PS, 50},
      {ISO15765_STMIN_TX, CAN, 0xFFFF},
      {NODE_ADDRESS, J1850PWM, 0xFF},
      {P1_MIN, ISO9141, 0xFFFFFFFF},
      {SW_CAN_HS_DATA_RATE, SW_CAN_PS, 83333},
  };
  for (const auto& row : rows) {
    std::uint32_t value = 1;
    EXPECT_EQ(CJ2534Parameter::GetDefaultValue(row.protocolId, row.parameterId, &value),
              STATUS_NOERROR);
    EXPECT_EQ(value, row.value) << std::hex << row.parameterId << ' ' << row.protocolId;
  }
}

TEST_F(ParameterTest, DrivesItsComParam) {
  const std::pair<std::uint32_t, ComParam> rows[] = {
      {DATA_RATE, ComParam::CP_Baudrate}, {W4, ComParam::CP_W4Min},
      {W4_MAX, ComParam::CP_W4Max},       {W0, ComParam::CP_TIdle},
      {W5, ComParam::CP_TIdle},           {TIDLE, ComParam::CP_TIdle},
      {BR_TX_MIN, ComParam::CP_BrTxMin},  {DATA_BITS, ComParam::CP_UartConfig},
      {PARITY, ComParam::CP_UartConfig},  {CAN_MIXED_FORMAT, ComParam::CP_CanMixedFormat},
      {P4_MAX, ComParam::CP_P4Max},       {ISO15765_WFT_MAX, ComParam::CP_CanMaxNumWaitFrames},
  };
  for (const auto& [parameterId, comParam] : rows) {
    UNUM32 id = 0;
    EXPECT_EQ(CJ2534Parameter::GetPduComParamId(parameterId, &id), STATUS_NOERROR);
    EXPECT_EQ(id, pdu.IdOf(PDU_OBJT_COMPARAM, pdu::ComParamName(comParam))) << parameterId;
  }
  for (const std::uint32_t parameterId : {J1962_PINS, SW_CAN_HS_DATA_RATE}) {
    UNUM32 id = 1;
    EXPECT_EQ(CJ2534Parameter::GetPduComParamId(parameterId, &id), STATUS_NOERROR);
    EXPECT_EQ(id, 0u);
  }
}

TEST_F(ParameterTest, ConvertsToTheUnitsOfTheComParam) {
  const struct {
    std::uint32_t protocolId;
    std::uint32_t parameterId;
    std::uint32_t value;
    UNUM32 current;
    UNUM32 converted;
  } rows[] = {
      {ISO9141, P1_MAX, 40, 0, 20000},
      {ISO9141, P3_MIN, 1, 0, 500},
      {ISO9141, P4_MIN, 0xFFFF, 0, 32767500},
      {ISO9141, W0, 300, 0, 300000},
      {ISO9141, TINIL, 25, 0, 25000},
      {ISO9141, W4_MAX, 0xFFFF, 0, 65535000},
      {ISO15765, BR_TX_MIN, 3, 0, 3000},
      {SCI_A_ENGINE, T3_MAX, 50, 0, 50000},
      {ISO15765, ISO15765_STMIN_TX, 5, 0, 5000},
      {ISO15765, ISO15765_STMIN_TX, 0xF0, 0, 240000},
      {ISO15765, ISO15765_STMIN_TX, 0xF1, 0, 100},
      {ISO15765, ISO15765_STMIN_TX, 0xF3, 0, 300},
      {ISO15765, ISO15765_STMIN_TX, 0xF9, 0, 900},
      {ISO15765, ISO15765_STMIN_TX, 0xFA, 0, 250000},
      {ISO15765, ISO15765_STMIN_TX, 0xFFFF, 0, 0xFFFF},
      {ISO15765, ISO15765_STMIN, 0xF3, 0, 0xF3},
      {CAN, DATA_RATE, 125000, 77, 125000},
      // 8 is 8 data bits with even parity.
      {ISO9141, PARITY, 0, 8, 6},
      {ISO9141, DATA_BITS, 1, 6, 0},
      {ISO9141, PARITY, 2, 0, 2},
      {ISO9141, PARITY, 1, 17, 16},
      {ISO9141, DATA_BITS, 0, 5, 11},
      {ISO9141, DATA_BITS, 1, 11, 5},
      {ISO9141, DATA_BITS, 0, 17, 11},
      {ISO9141, DATA_BITS, 0, 7, 7},
  };
  for (const auto& row : rows) {
    const auto parameter = Made(row.protocolId, row.parameterId, row.value);
    UNUM32 converted = 0;
    EXPECT_EQ(parameter->GetConvertedPDUValue(&converted, row.current), STATUS_NOERROR);
    EXPECT_EQ(converted, row.converted)
        << std::hex << row.parameterId << ' ' << row.value << ' ' << row.current;
  }
}

TEST_F(ParameterTest, RefusesAUartConfigurationThatDoesNotExist) {
  for (const std::uint32_t parameterId : {PARITY, DATA_BITS}) {
    const auto parameter = Made(ISO9141, parameterId, 1);
    UNUM32 converted = 55;
    const Outcome outcome =
        Observe([&] { return parameter->GetConvertedPDUValue(&converted, 18); });
    ExpectReport(outcome, ERR_FAILED, "100F0002 Invalid UART configuration on the link.");
    EXPECT_EQ(converted, 55u);
  }
}

TEST_F(ParameterTest, IsModifiedUntilCleared) {
  CJ2534Parameter parameter(DATA_RATE);
  EXPECT_FALSE(parameter.Modified());
  parameter.Initialize(CAN);
  EXPECT_TRUE(parameter.Modified());
  parameter.ClearModified();
  parameter.SetValue(CAN, 500000);
  EXPECT_FALSE(parameter.Modified()) << "the value it has already";

  const Outcome refused = Observe([&] { return parameter.SetValue(CAN, 4); });
  ExpectReport(refused, ERR_INVALID_IOCTL_VALUE, "10070001 Error setting PDU ComParam value.");
  EXPECT_EQ(refused.recorded, 0x10050002u) << "where it arose";
  std::uint32_t value = 0;
  parameter.GetValue(&value);
  EXPECT_EQ(value, 500000u);
  EXPECT_FALSE(parameter.Modified());

  parameter.SetValue(CAN, 250000);
  EXPECT_TRUE(parameter.Modified());
  parameter.SetValue(CAN, 250000);
  EXPECT_TRUE(parameter.Modified());
}

TEST_F(ParameterTest, ReportsWhatItDoesNotKnow) {
  constexpr std::uint32_t kUnknown = 0x26;
  UNUM32 id = 1;
  std::uint32_t value = 1;
  CJ2534Parameter parameter(kUnknown);
  const struct {
    std::function<Status()> call;
    Status status;
    const char* report;
    bool isRecorded;
  } rows[] = {
      {[&] { return CJ2534Parameter::GetPduComParamId(kUnknown, &id); }, ERR_NOT_SUPPORTED,
       "10030002 Unsupported Parameter", false},
      {[&] { return CJ2534Parameter::GetDefaultValue(CAN, kUnknown, &value); }, ERR_NOT_SUPPORTED,
       "10040002 Unsupported J2534 ProtocolID.", false},
      {[&] { return CJ2534Parameter::ValidateValue(CAN, kUnknown, 0); }, ERR_NOT_SUPPORTED,
       "10050001 Unsupported Parameter.", false},
      {[&] { return parameter.Initialize(CAN); }, ERR_NOT_SUPPORTED,
       "10020002 Error getting PDU ParamId.", false},
      {[] { return CJ2534Parameter::GetPduComParamId(W0, nullptr); }, ERR_NULL_PARAMETER,
       "10030001 Invalid pointer.", true},
      {[] { return CJ2534Parameter::GetDefaultValue(CAN, W0, nullptr); }, ERR_NULL_PARAMETER,
       "10040001 Invalid pointer.", true},
      {[&] { return parameter.GetValue(nullptr); }, ERR_NULL_PARAMETER,
       "10080001 Invalid Parameter pointer.", true},
      {[&] { return parameter.GetParameter(nullptr); }, ERR_NULL_PARAMETER,
       "100A0001 Invalid Parameter pointer.", true},
      {[&] { return parameter.GetConvertedPDUValue(nullptr, 0); }, ERR_NULL_PARAMETER,
       "100F0001 NULL pointer to PDU Value.", true},
  };
  for (const auto& row : rows) {
    const Outcome outcome = Observe(row.call);
    ExpectReport(outcome, row.status, row.report);
    EXPECT_EQ(outcome.recorded != 0, row.isRecorded) << row.report;
  }
  EXPECT_EQ(id, 0u);
  EXPECT_EQ(value, 0xFFFFFFFFu);
  EXPECT_FALSE(parameter.Modified());
}

}  // namespace

}  // namespace passbridge::test
