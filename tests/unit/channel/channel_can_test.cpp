#include "protocols/channel_can.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "channel_fixture.h"
#include "trace/last_error.h"

namespace passbridge {
namespace {

using test::CanMessage;
using test::NamesOf;
using test::ResultSpec;
using test::ScriptedPdu;

struct ChannelCanTest : test::ChannelFixture {
  OwnedChannel Make() override { return OwnedChannel(new CJ2534Channel_CAN); }
};

TEST_F(ChannelCanTest, ConnectsAndDisconnectsInOrder) {
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  EXPECT_EQ(
      NamesOf(pdu.Calls().All()),
      (std::vector<std::string>{
          "PDUGetObjectId", "PDUCreateComLogicalLink", "PDURegisterEventCallback", "PDUGetComParam",
          "PDUSetComParam", "PDUGetComParam", "PDUSetComParam", "PDUGetComParam", "PDUConnect",
          "PDUIoCtl", "PDUStartComPrimitive", "PDUGetComParam", "PDUSetComParam", "PDUGetComParam",
          "PDUSetComParam", "PDUStartComPrimitive"}));
  EXPECT_EQ(pdu.ComParamValue("CP_Baudrate"), 500000U);
  EXPECT_EQ(pdu.ComParamValue("CP_CanFuncReqFormat"), 0x20U);

  const std::vector<test::StartedCop> cops = pdu.StartedCops();
  ASSERT_EQ(cops.size(), 3U);  // reception, start of communication, update
  EXPECT_EQ(cops[0].control.NumReceiveCycles, -1);
  EXPECT_EQ(cops[0].txFlags, (std::vector<UNUM8>{0xA0, 1, 0, 0}));
  EXPECT_EQ(cops[1].type, T_PDU_COPT{PDU_COPT_STARTCOMM});
  EXPECT_EQ(cops[2].type, T_PDU_COPT{PDU_COPT_UPDATEPARAM});

  pdu.Calls().Clear();
  EXPECT_EQ(channel->PassThruDisconnect(), STATUS_NOERROR);
  EXPECT_EQ(NamesOf(pdu.Calls().All()),
            (std::vector<std::string>{"PDUDisconnect", "PDUDestroyComLogicalLink"}));
  EXPECT_EQ(channel->PassThruDisconnect(), STATUS_NOERROR) << "nothing to do any more";
}

TEST_F(ChannelCanTest, BusTypeAndIdentifierFormatFollowTheRequest) {
  ASSERT_EQ(Connect(CAN, CAN_ID_BOTH), STATUS_NOERROR);
  EXPECT_EQ(pdu.ComParamValue("CP_CanFuncReqFormat"), 0x80U);
  EXPECT_EQ(Connect(FT_CAN_PS), STATUS_NOERROR);
  PDU_RSC_DATA resource{};
  EXPECT_EQ(channel->GetPduResourceBusTypeId(&resource), STATUS_NOERROR);
  EXPECT_EQ(resource.BusTypeId, pdu.IdOf(PDU_OBJT_BUSTYPE, "ISO_11898_3_DWFTCAN"));
}

TEST_F(ChannelCanTest, RefusesWhatTheProtocolDoesNotAdmit) {
  struct Case {
    std::uint32_t protocolId, flags, baudRate;
    Status status;
    Location location;
  };
  for (const Case& c : {Case{CAN_CH1, 0, 500000, ERR_NOT_SUPPORTED, 0x02230001},
                        Case{CAN, 0, 4, ERR_INVALID_BAUDRATE, 0x02230002},
                        Case{CAN, 0, 500001, ERR_INVALID_BAUDRATE, 0x02230002},
                        Case{CAN, ISO9141_K_LINE_ONLY, 500000, ERR_INVALID_FLAGS, 0x02230003}}) {
    EXPECT_EQ(Connect(c.protocolId, c.flags, c.baudRate), c.status);
    EXPECT_EQ(LastErrorRecord::Instance().LastLocation(), c.location);
  }
  EXPECT_EQ(Connect(CAN, 0x01000000), STATUS_NOERROR) << "the manufacturer's byte is not checked";
}

TEST_F(ChannelCanTest, FailureOfAnyStepLeavesNoLink) {
  struct Case {
    std::function<void(ScriptedPdu&)> fail;
    Status status;
    std::size_t links;  // created, and so to be destroyed
  };
  for (const Case& c :
       std::vector<Case>{
           {[](auto& p) { p.PDUGetObjectId.Next({PDU_ERR_INVALID_PARAMETERS}); }, ERR_NOT_SUPPORTED,
            0},
           {[](auto& p) { p.PDUCreateComLogicalLink.Next({PDU_ERR_INVALID_PARAMETERS}); },
            ERR_PIN_INVALID, 0},
           {[](auto& p) { p.PDUCreateComLogicalLink.Next({PDU_ERR_RESOURCE_BUSY}); },
            ERR_CHANNEL_IN_USE, 0},
           {[](auto& p) { p.PDUSetComParam.Next({PDU_ERR_FCT_FAILED}); }, ERR_FAILED, 1},
           {[](auto& p) { p.PDUConnect.Next({PDU_ERR_INVALID_HANDLE}); }, ERR_DEVICE_NOT_CONNECTED,
            1},
           {[](auto& p) { p.PDUIoCtl.Next({PDU_ERR_ID_NOT_SUPPORTED}); }, ERR_NOT_SUPPORTED, 1},
           {[](auto& p) { p.PDUStartComPrimitive.Next({PDU_ERR_CLL_NOT_STARTED}); },
            ERR_INVALID_CHANNEL_ID, 1},
           {[](auto& p) {
    p.PDUStartComPrimitive.Next({PDU_STATUS_NOERROR, PDU_ERR_TX_QUEUE_FULL});
            },
            ERR_NOT_SUPPORTED, 1},
       }) {
    pdu.Calls().Clear();
    c.fail(pdu);
    EXPECT_EQ(Connect(), c.status);
    EXPECT_EQ(pdu.Calls().Count("PDUDestroyComLogicalLink"), c.links);
    EXPECT_EQ(pdu.Items().Alive(), 0U);
  }
}

TEST_F(ChannelCanTest, PinSwitchedChannelConnectsWithItsPins) {
  ASSERT_EQ(Connect(CAN_PS), STATUS_NOERROR);
  EXPECT_EQ(pdu.Calls().Count("PDUCreateComLogicalLink"), 0U);
  EXPECT_EQ(Read(1, 0), ERR_PIN_INVALID);
  EXPECT_EQ(numRead, 0U);

  std::uint32_t config[] = {DATA_RATE, 125000, J1962_PINS, 0x030B};
  struct {
    alignas(void*) std::uint32_t count = 2;
    void* entries;
  } list;
  list.entries = config;
  const AppPointer input{&list, FieldWidth::k32};
  ASSERT_EQ(channel->PassThruIoctl(SET_CONFIG, input, {}), STATUS_NOERROR);
  EXPECT_EQ(pdu.ComParamValue("CP_Baudrate"), 125000U);
  ASSERT_EQ(pdu.Calls().Count("PDUCreateComLogicalLink"), 1U);
  EXPECT_EQ(channel->PassThruIoctl(SET_CONFIG, input, {}), STATUS_NOERROR) << "the same pins";
  config[3] = 0x060E;
  EXPECT_EQ(channel->PassThruIoctl(SET_CONFIG, input, {}), ERR_CHANNEL_IN_USE);
  EXPECT_EQ(pdu.Calls().Count("PDUCreateComLogicalLink"), 1U);
  config[0] = ISO15765_BS;
  EXPECT_EQ(channel->PassThruIoctl(GET_CONFIG, input, {}), ERR_NOT_SUPPORTED);
}

TEST_F(ChannelCanTest, WritesSeveralMessagesInOneCop) {
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  std::uint32_t sent = 0;
  EXPECT_EQ(Write({CanMessage({0, 0, 7, 0xE0, 1}), CanMessage({0, 0, 7, 0xDF}),
                   CanMessage({0, 0, 1, 2, 3, 4})},
                  1000, &sent),
            STATUS_NOERROR);
  EXPECT_EQ(sent, 3U);
  const test::StartedCop packed = pdu.StartedCops().back();
  EXPECT_EQ(packed.data, (std::vector<UNUM8>{3, 0, 0, 0,    5, 0, 0, 7, 0xE0, 1, 4,
                                             0, 0, 7, 0xDF, 6, 0, 0, 1, 2,    3, 4}));
  EXPECT_EQ(packed.txFlags, (std::vector<UNUM8>{0, 0, 0, 0x20}));

  EXPECT_EQ(Write({CanMessage({0x18, 0xDA, 0, 1}, CAN, CAN_29BIT_ID)}, 0, &sent), STATUS_NOERROR);
  EXPECT_EQ(pdu.StartedCops().back().data, (std::vector<UNUM8>{0x18, 0xDA, 0, 1}));
  EXPECT_EQ(pdu.StartedCops().back().txFlags, (std::vector<UNUM8>{0, 0, 1, 0}));
}

TEST_F(ChannelCanTest, SendsNothingWhenOneMessageIsBad) {
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  const std::size_t cops = pdu.StartedCops().size();
  std::uint32_t sent = 0;
  const PassThruMsg good = CanMessage({0, 0, 7, 0xE0});
  EXPECT_EQ(Write({good, CanMessage({0, 0, 7})}, 0, &sent), ERR_INVALID_MSG);
  EXPECT_EQ(LastErrorRecord::Instance().LastLocation(), 0x02060001U);
  EXPECT_EQ(Write({good, CanMessage(std::vector<UNUM8>(13))}, 0, &sent), ERR_INVALID_MSG);
  EXPECT_EQ(Write({good, CanMessage({0, 0, 7, 0xE0}, ISO15765)}, 0, &sent), ERR_MSG_PROTOCOL_ID);
  EXPECT_EQ(sent, 0U);
  PassThruMsg huge = good;
  huge.dataSize = 0xFFFFFFFF;
  EXPECT_EQ(Write({huge}, 0, &sent), ERR_INVALID_MSG);
  EXPECT_EQ(channel->PassThruWriteMsgs(AppMessage(reinterpret_cast<void*>(8), FieldWidth::k32),
                                       AppValue(sent = 1), 0),
            ERR_NULL_PARAMETER);
  EXPECT_EQ(pdu.StartedCops().size(), cops);
}

TEST_F(ChannelCanTest, WriteWaitsForItsCopToEnd) {
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  pdu.FinishComPrimitives(false);
  std::uint32_t sent = 0;
  EXPECT_EQ(Write({CanMessage({0, 0, 7, 0xE0})}, 20, &sent), ERR_TIMEOUT);
  EXPECT_EQ(sent, 1U);
  EXPECT_EQ(LastErrorRecord::Instance().LastLocation(), 0x021E0003U);

  pdu.PDUStartComPrimitive.Does([this](auto... args) {
    const T_PDU_ERROR result = pdu.PDUStartComPrimitive.BuiltIn(args...);
    pdu.Deliver(kModule, pdu.LastLink(),
                pdu.Items().MakeError(PDU_ERR_EVT_TX_ERROR, pdu.StartedCops().back().hCoP));
    return result;
  });
  EXPECT_EQ(Write({CanMessage({0, 0, 7, 0xE0})}, 10000, &sent), ERR_FAILED);
  EXPECT_EQ(LastErrorText(), "(0D080005:00000101) Code (00000101), Extra Info (00000000).\r\n");
  pdu.PDUStartComPrimitive.Does({});
}

TEST_F(ChannelCanTest, StartFailuresAreMapped) {
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  struct Case {
    T_PDU_ERROR result;
    Status status;
  };
  for (const Case& c : {Case{PDU_ERR_COMM_PC_TO_VCI_FAILED, ERR_DEVICE_NOT_CONNECTED},
                        Case{PDU_ERR_CLL_NOT_CONNECTED, ERR_INVALID_CHANNEL_ID},
                        Case{PDU_ERR_TX_QUEUE_FULL, ERR_BUFFER_FULL},
                        Case{PDU_ERR_INVALID_PARAMETERS, ERR_FAILED}}) {
    pdu.PDUStartComPrimitive.Next({c.result});
    std::uint32_t sent = 0;
    EXPECT_EQ(Write({CanMessage({0, 0, 7, 0xE0})}, 1000, &sent), c.status);
    EXPECT_EQ(sent, 0U);
    EXPECT_EQ(LastErrorRecord::Instance().LastPduCode(), c.result);
  }
}

TEST_F(ChannelCanTest, ReadGivesWhatCameWithinItsTimeOut) {
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  EXPECT_EQ(Read(1, 0), ERR_BUFFER_EMPTY);
  EXPECT_EQ(Read(5, 20), ERR_BUFFER_EMPTY);
  EXPECT_EQ(LastErrorRecord::Instance().LastLocation(), 0x02250007U);

  Deliver({.data = {0, 0, 7, 0xE8, 1}, .timestamp = 77});
  ASSERT_EQ(Read(1, 10000), STATUS_NOERROR) << "wakes as soon as it is there";
  EXPECT_EQ(received[0].protocolId, std::uint32_t{CAN});
  EXPECT_EQ(received[0].timestamp, 77U);
  EXPECT_EQ(received[0].dataSize, 5U);

  Deliver({.data = {0, 0, 7, 0xE8, 2}});
  Deliver({.data = {0, 0, 7, 0xE8, 3}});
  EXPECT_EQ(Read(3, 50), ERR_TIMEOUT);
  EXPECT_EQ(numRead, 2U);
  EXPECT_EQ(received[1].data[4], 3);
}

TEST_F(ChannelCanTest, UnpacksRecordsAndRefusesMalformedOnes) {
  const auto record = [](UNUM8 time, UNUM8 length, UNUM8 last) {
    return std::vector<UNUM8>{time, 0, 0, 0, length, 0, 0, 7, 0xE8, last, 0, 0, 0, 0, 0, 0, 0};
  };
  const auto packed = [&](UNUM8 count, std::vector<std::vector<UNUM8>> records) {
    std::vector<UNUM8> data{count, 0, 0, 0};
    for (const auto& r : records) data.insert(data.end(), r.begin(), r.end());
    return ResultSpec{.data = data, .rxFlags = {0, 0, 0, 0x20}};
  };
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  // The records that are good are delivered; what is too long, too short or missing is not; and
  // the event thread goes on.
  Deliver(packed(3, {record(1, 5, 0xA), record(2, 13, 0xB), record(3, 5, 0xC)}));
  Deliver(packed(9, {record(4, 5, 0xD)}));
  Deliver({.data = {1, 0}, .rxFlags = {0, 0, 0, 0x20}});
  Deliver({.data = {0, 0, 7}});
  Deliver({.data = std::vector<UNUM8>(13)});
  pdu.Deliver(kModule, pdu.LastLink(), pdu.Items().MakeEvent(PDU_IT_RESULT, nullptr));
  pdu.Deliver(kModule, pdu.LastLink(), pdu.Items().MakeInfo(PDU_INFO_RSC_LOCK_CHG));
  Deliver({.data = {0, 0, 7, 0xE8, 0xE}});
  ASSERT_EQ(Read(4, 10000), STATUS_NOERROR);
  EXPECT_EQ(received[0].timestamp, 1U);
  EXPECT_EQ(received[0].data[4], 0xA);
  EXPECT_EQ(received[1].data[4], 0xC);
  EXPECT_EQ(received[2].data[4], 0xD);
  EXPECT_EQ(received[3].data[4], 0xE);
  EXPECT_EQ(Read(1, 0), ERR_BUFFER_EMPTY);
}

TEST_F(ChannelCanTest, LossOfTheVciEndsReadsAndWritesButKeepsWhatCame) {
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  DeliverAndLetTheThreadTakeIt({.data = {0, 0, 7, 0xE8, 1}});
  pdu.PDUGetEventItem.Next({PDU_ERR_COMM_PC_TO_VCI_FAILED});
  std::thread reader([this] {
    EXPECT_EQ(Read(2, 20000), ERR_DEVICE_NOT_CONNECTED);
    EXPECT_EQ(numRead, 1U);
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  pdu.Signal(kModule, pdu.LastLink());
  reader.join();
  EXPECT_EQ(LastErrorRecord::Instance().LastStatus(), std::uint32_t{ERR_DEVICE_NOT_CONNECTED});
  std::uint32_t sent = 0;
  EXPECT_EQ(Write({CanMessage({0, 0, 7, 0xE0})}, 0, &sent), ERR_DEVICE_NOT_CONNECTED);
  EXPECT_EQ(pdu.Items().Alive(), 0U) << "the link's items are given back at once";
  EXPECT_EQ(channel->PassThruDisconnect(), STATUS_NOERROR);
}

TEST_F(ChannelCanTest, CallbackOfAChannelThatHasGoneIsIgnored) {
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  const CALLBACKFNC callback = pdu.CallbackOf(kModule, pdu.LastLink());
  void* const tag = channel.get();
  channel->PassThruDisconnect();
  channel.reset();
  callback(PDU_EVT_DATA_AVAILABLE, kModule, pdu.LastLink(), tag, nullptr);
  callback(PDU_EVT_DATA_AVAILABLE, kModule, pdu.LastLink(), nullptr, nullptr);
}

TEST_F(ChannelCanTest, FiltersAreDownloadedAndNumbered) {
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  PassThruMsg mask = CanMessage({0xFF, 0xFF, 0xFF, 0xFF});
  PassThruMsg pattern = CanMessage({0, 0, 7, 0xE8});
  std::uint32_t ids[3] = {};
  const auto start = [&](std::uint32_t type) {
    return channel->PassThruStartMsgFilter(type, AppMessage(mask), AppMessage(pattern), {},
                                           AppValue(ids[0]));
  };
  pdu.Calls().Clear();
  EXPECT_EQ(start(PASS_FILTER), STATUS_NOERROR);
  EXPECT_EQ(ids[0], 1U);
  EXPECT_EQ(pdu.Calls().Count("PDUIoCtl"), 2U);  // clear, then start
  EXPECT_EQ(start(PASS_FILTER), STATUS_NOERROR);
  EXPECT_EQ(pdu.Calls().Count("PDUIoCtl"), 2U) << "an equal filter changes nothing on the link";
  EXPECT_EQ(start(0x80030000U | BLOCK_FILTER), STATUS_NOERROR);
  EXPECT_EQ(ids[2], 5U);
  EXPECT_EQ(start(FLOW_CONTROL_FILTER), ERR_INVALID_FILTER_ID);
  mask.dataSize = pattern.dataSize = 13;
  EXPECT_EQ(start(PASS_FILTER), ERR_INVALID_MSG);
  EXPECT_EQ(channel->PassThruStopMsgFilter(9), ERR_INVALID_FILTER_ID);
  EXPECT_EQ(channel->PassThruStopMsgFilter(1), STATUS_NOERROR);
}

TEST_F(ChannelCanTest, PeriodicMessagesRunOnALinkOfTheirOwn) {
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  PassThruMsg message = CanMessage({0, 0, 7, 0xE0, 0x3E});
  const auto start = [&](std::uint32_t interval, std::uint32_t* id) {
    return channel->PassThruStartPeriodicMsg(AppMessage(message), AppValue(*id), interval);
  };
  std::uint32_t first = 0;
  std::uint32_t other = 0;
  EXPECT_EQ(channel->PassThruStopPeriodicMsg(1), ERR_INVALID_MSG_ID);
  EXPECT_EQ(start(4, &first), ERR_INVALID_TIME_INTERVAL);
  EXPECT_EQ(start(65536, &first), ERR_INVALID_TIME_INTERVAL);
  ASSERT_EQ(start(5, &first), STATUS_NOERROR);
  EXPECT_EQ(pdu.StartedCops().back().control.NumSendCycles, -1);
  EXPECT_EQ(pdu.StartedCops().back().control.Time, 5U);
  for (int i = 1; i < 20; ++i) ASSERT_EQ(start(65535, &other), STATUS_NOERROR);
  EXPECT_EQ(start(100, &other), ERR_EXCEEDED_LIMIT);
  EXPECT_EQ(channel->PassThruStopPeriodicMsg(first), STATUS_NOERROR);
  EXPECT_EQ(channel->PassThruStopPeriodicMsg(first), ERR_INVALID_MSG_ID);
  EXPECT_EQ(start(100, &other), STATUS_NOERROR);
  EXPECT_EQ(pdu.Calls().Count("PDUCreateComLogicalLink"), 2U);
  EXPECT_EQ(channel->PassThruDisconnect(), STATUS_NOERROR);
  EXPECT_EQ(pdu.Calls().Count("PDUDestroyComLogicalLink"), 2U);
}

TEST_F(ChannelCanTest, IoctlsThatCanDoesNotHaveAreRefused) {
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  for (const std::uint32_t id :
       {READ_VBATT, FIVE_BAUD_INIT, FAST_INIT, SW_CAN_HS, BECOME_MASTER, 0x10000U, 0x10005U}) {
    EXPECT_EQ(channel->PassThruIoctl(id, {}, {}), ERR_INVALID_IOCTL_ID) << std::hex << id;
  }
  EXPECT_EQ(channel->PassThruIoctl(START_REPEAT_MESSAGE, {}, {}), ERR_NOT_SUPPORTED);
  EXPECT_EQ(channel->PassThruIoctl(GET_CONFIG, {}, {}), ERR_NULL_PARAMETER);
  EXPECT_EQ(channel->PassThruIoctl(SET_CONFIG, {reinterpret_cast<void*>(8), FieldWidth::k32}, {}),
            ERR_NULL_PARAMETER);
  pdu.Calls().Clear();
  EXPECT_EQ(channel->PassThruIoctl(CLEAR_TX_BUFFER, {}, {}), STATUS_NOERROR);
  EXPECT_EQ(pdu.Calls().Count("PDUIoCtl"), 0U) << "nothing is pending";
  Deliver({.data = {0, 0, 7, 0xE8, 1}});
  ASSERT_EQ(Read(1, 10000), STATUS_NOERROR);
  DeliverAndLetTheThreadTakeIt({.data = {0, 0, 7, 0xE8, 1}});
  EXPECT_EQ(channel->PassThruIoctl(CLEAR_RX_BUFFER, {}, {}), STATUS_NOERROR);
  EXPECT_EQ(Read(1, 0), ERR_BUFFER_EMPTY);
}

}  // namespace
}  // namespace passbridge
