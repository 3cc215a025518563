// What single-wire CAN has of its own in its settings, its messages and its second link.

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <string>
#include <vector>

#include "single_wire_fixture.h"
#include "support/trace_observer.h"

namespace passbridge {
namespace {

using test::kHighRate;
using test::kNormalRate;
using test::Observe;
using test::ParamSpec;
using Names = std::vector<std::string>;
using test::NamesOf;

using ChannelSingleWireTest = test::SingleWireFixture;
INSTANTIATE_TEST_SUITE_P(OnBothClasses, ChannelSingleWireTest,
                         testing::Values(SW_CAN_PS, SW_ISO15765_PS));

TEST_P(ChannelSingleWireTest, ConnectsOnOneWire) {
  struct Case {
    std::uint32_t set;
    std::vector<UNUM32> pins;
  };
  for (const char* name : {"CP_CanFuncReqFormat", "CP_TerminationType", "CP_P3Func", "CP_P3Phys",
                           "CP_StartMsgIndEnable", "CP_Cs"}) {
    pdu.SetComParam(name, ParamSpec::Number(9));
  }
  for (const Case& c : {Case{0x0100, {1}}, Case{0x0009, {9, 0}}, Case{0x0109, {9, 1}}}) {
    ASSERT_EQ(Connect(GetParam(), CAN_ID_BOTH, kNormalRate), STATUS_NOERROR);
    ASSERT_EQ(Configure({{J1962_PINS, c.set}}), STATUS_NOERROR);
    EXPECT_EQ(Pins(), c.pins) << c.set;
  }
  PDU_RSC_DATA resource{};
  EXPECT_EQ(channel->GetPduResourceBusTypeId(&resource), STATUS_NOERROR);
  EXPECT_EQ(resource.BusTypeId, pdu.IdOf(PDU_OBJT_BUSTYPE, "SAE_J2411_SWCAN"));
  EXPECT_EQ(channel->GetPduResourceProtocolId(&resource), STATUS_NOERROR);
  EXPECT_EQ(resource.ProtocolId,
            pdu.IdOf(PDU_OBJT_PROTOCOL, IsRaw() ? "ISO_11898_RAW" : "SAE_J2190_on_ISO_15765_2"));
  EXPECT_EQ(Value("CP_CanFuncReqFormat"), 0x80U);
  EXPECT_EQ(Value("CP_TerminationType"), 0U);
  EXPECT_EQ(Value("CP_P3Func"), 0U);
  EXPECT_EQ(Value("CP_P3Phys"), 0U);
  EXPECT_EQ(Value("CP_StartMsgIndEnable"), IsRaw() ? 9U : 1U);
  EXPECT_EQ(Value("CP_Cs"), IsRaw() ? 9U : 0U);
  EXPECT_EQ(Message(), "00 00 01 01 FE A5 03");
}

TEST_P(ChannelSingleWireTest, SetsItsComParamsInOrder) {
  struct Row {
    const char* comParam;
    const char* report;
    bool onRaw;
  };
  const std::vector<Row> rows{
      {"CP_TransmitIndEnable", "Error setting CP_TRANSMIT_IND_ENABLE.", false},
      {"CP_CanFillerByteHandling", "Error setting CP_CAN_FILLER_BYTE_HANDLING.", true},
      {"CP_CanFillerByte", "Error setting CP_CAN_FILLER_BYTE.", true},
      {"CP_CanFuncReqFormat", "Error setting CP_CAN_FUNC_REQ_FORMAT.", true},
      {"CP_ChangeSpeedMessage", "Error setting CP_CHANGE_SPEED_MESSAGE.", true},
      {"CP_TerminationType", "Error setting CP_TERMINATION_TYPE.", true},
      {"CP_StartMsgIndEnable", "Error setting CP_START_MSG_IND_ENABLE.", false},
      {"CP_P3Func", "Error setting CP_P3_FUNC.", true},
      {"CP_P3Phys", "Error setting CP_P3_PHYS.", true},
      {"CP_Br", "Error setting CP_BR.", false},
      {"CP_Cs", "Error setting CP_CS.", false}};
  UNUM8 position = 0;
  for (const Row& row : rows) {
    if (IsRaw() && !row.onRaw) continue;
    ++position;
    // Refused from this one on: it is the first to be reported, as the one in its position.
    const UNUM32 refused = pdu.IdOf(PDU_OBJT_COMPARAM, row.comParam);
    pdu.PDUGetComParam.Does([&, refused](auto mod, auto cll, auto id, auto** item) -> T_PDU_ERROR {
      if (id == refused) return PDU_ERR_ID_NOT_SUPPORTED;
      return pdu.PDUGetComParam.BuiltIn(mod, cll, id, item);
    });
    ASSERT_EQ(Connect(GetParam(), 0, kNormalRate), STATUS_NOERROR);
    const std::string point = test::RenderBytes(&position, 1);
    test::ExpectReported(Observe([&] {
                           return Configure({{J1962_PINS, 0x0100}});
                         }),
                         ERR_NULL_PARAMETER, Located("0300") + point + " " + row.report);
  }
  EXPECT_EQ(position, IsRaw() ? 7U : 11U);
}

TEST_P(ChannelSingleWireTest, ChangesItsSpeedByIoctl) {
  ConnectOnWire();
  EndComPrimitivesLate();
  EXPECT_EQ(Ioctl(SW_CAN_HS), STATUS_NOERROR);
  EXPECT_EQ(Written(), (Names{"CP_TerminationType 4", "CP_Baudrate 83333", "CoP", "update ended"}));
  EXPECT_EQ(ConfigValue(DATA_RATE), kHighRate);
  EXPECT_EQ(Ioctl(SW_CAN_NS), STATUS_NOERROR);
  EXPECT_EQ(Written(), (Names{"CP_TerminationType 0", "CP_Baudrate 33333", "CoP", "update ended"}));
  EXPECT_EQ(ConfigValue(DATA_RATE), kNormalRate);
}

TEST_P(ChannelSingleWireTest, TakesNoOtherDataRateWhileItsSpeedIsChanged) {
  const std::string refused = Located("0A0008 Error changing DataRate druing SpeedChange process.");
  for (const std::uint32_t ioctl : {SW_CAN_HS, SW_CAN_NS}) {
    ConnectOnWire({{DATA_RATE, 50000}, {SW_CAN_HS_DATA_RATE, 100000}});
    EXPECT_EQ(Ioctl(ioctl), STATUS_NOERROR);
    pdu.Calls().Clear();
    test::ExpectFirstCause(
        Observe([&] {
          return Configure({{LOOPBACK, 1}, {DATA_RATE, 40000}, {BIT_SAMPLE_POINT, 60}});
        }),
        ERR_FAILED, refused);
    EXPECT_EQ(NamesOf(pdu.Calls().All()), Names{});
    EXPECT_EQ(ConfigValue(LOOPBACK), 1U) << "before it";
    EXPECT_EQ(ConfigValue(BIT_SAMPLE_POINT), 80U) << "after it";
    EXPECT_EQ(ConfigValue(DATA_RATE), ioctl == SW_CAN_HS ? 100000U : 50000U);
    EXPECT_EQ(Ioctl(SW_CAN_NS), STATUS_NOERROR);
    EXPECT_EQ(ConfigValue(DATA_RATE), 50000U) << "the normal speed is what it was";
  }
}

TEST_P(ChannelSingleWireTest, SwitchesResistorsWithTheSpeed) {
  struct Case {
    std::uint32_t resSwitch;
    bool atHighSpeed;
    UNUM32 control;
    UNUM32 termination;
  };
  for (const Case& c : {Case{0, false, 0, 0}, Case{1, false, 0, 4}, Case{2, false, 1, 4},
                        Case{0, true, 0, 0}, Case{1, true, 0, 4}, Case{2, true, 2, 0}}) {
    ConnectOnWire();
    ASSERT_EQ(Ioctl(c.atHighSpeed ? SW_CAN_HS : SW_CAN_NS), STATUS_NOERROR);
    for (const char* name : {"CP_ChangeSpeedTxDelay", "CP_ChangeSpeedRate", "CP_ChangeSpeedResCtrl",
                             "CP_TerminationType"}) {
      SetWatched(name, ParamSpec::Number(9));
    }
    EndComPrimitivesLate();
    pdu.Calls().Clear();
    ASSERT_EQ(Configure({{SW_CAN_RES_SWITCH, c.resSwitch}}), STATUS_NOERROR);
    const std::string delay = c.atHighSpeed ? "1000" : "50";
    EXPECT_EQ(
        Written(),
        (Names{"CP_ChangeSpeedTxDelay " + delay,
               "CP_ChangeSpeedRate " + std::to_string(c.atHighSpeed ? kNormalRate : kHighRate),
               "CP_ChangeSpeedResCtrl " + std::to_string(c.control),
               "CP_TerminationType " + std::to_string(c.termination), "CoP", "update ended"}))
        << c.resSwitch << (c.atHighSpeed ? " at high speed" : "");
    ASSERT_EQ(Configure({{LOOPBACK, 1}}), STATUS_NOERROR);
    EXPECT_EQ(Value("CP_ChangeSpeedResCtrl"), c.control) << "no download undoes it";
  }
}

TEST_P(ChannelSingleWireTest, SetConfigRefusesWhatItCannotUse) {
  struct List {
    alignas(void*) std::uint32_t count;
    void* entries;
  };
  std::array<std::uint32_t, 2> entry{LOOPBACK, 1};
  List null{1, nullptr};
  List nowhere{1, reinterpret_cast<void*>(8)};
  List huge{0xFFFFFFFF, entry.data()};
  struct Case {
    void* input;
    const char* report;
  };
  ConnectOnWire();
  for (const Case& c :
       {Case{nullptr, "0A0001 NULL Input pointer."},
        Case{reinterpret_cast<void*>(8), "0A0001 NULL Input pointer."},
        Case{&null, "0A0002 NULL SCONFIG pointer."}, Case{&nowhere, "0A0002 NULL SCONFIG pointer."},
        Case{&huge, "0A0002 NULL SCONFIG pointer."}}) {
    test::ExpectFirstCause(Observe([&] { return IoctlWith(SET_CONFIG, c.input); }),
                           ERR_NULL_PARAMETER, Located(c.report));
  }
  test::ExpectReported(Observe([&] {
                         return Configure({{P1_MAX, 1}, {LOOPBACK, 1}});
                       }),
                       ERR_NOT_SUPPORTED, Located("0A0003 Error setting parameter value."));
  EXPECT_EQ(Configure({{SW_CAN_RES_SWITCH, 3}}), ERR_INVALID_IOCTL_VALUE);
  EXPECT_EQ(Configure({{J1962_PINS, 0x0900}}), ERR_CHANNEL_IN_USE);
  EXPECT_EQ(NamesOf(pdu.Calls().All()), Names{});
  EXPECT_EQ(ConfigValue(J1962_PINS), 0x0100U);
}

TEST_P(ChannelSingleWireTest, KeepsWhatIsSetUntilThePinsCome) {
  pdu.SetComParam("CP_ChangeSpeedCtrl", ParamSpec::Number(1));
  ASSERT_EQ(Connect(GetParam(), 0, kNormalRate), STATUS_NOERROR);
  test::ExpectFirstCause(Observe([&] { return Ioctl(SW_CAN_HS); }), ERR_PIN_INVALID,
                         Located("0B0001 Error getting J1962 Pins value to use."));
  EXPECT_EQ(Ioctl(SW_CAN_NS), ERR_PIN_INVALID);
  EXPECT_EQ(Configure({{SW_CAN_RES_SWITCH, 2}, {SW_CAN_HS_DATA_RATE, 100000}}), STATUS_NOERROR);
  EXPECT_EQ(Configure({{DATA_RATE, 40000}, {LOOPBACK, 1}, {SW_CAN_SPEEDCHANGE_ENABLE, 0}}),
            STATUS_NOERROR);
  EXPECT_EQ(NamesOf(pdu.Calls().All()), Names{});

  pdu.PDUConnect.Next({PDU_ERR_FCT_FAILED});
  test::ExpectReported(Observe([&] {
                         return Configure({{J1962_PINS, 0x0100}});
                       }),
                       ERR_FAILED, Located("0A0004 Error connecting to vehicle."));
  EXPECT_EQ(Ioctl(SW_CAN_HS), ERR_PIN_INVALID);
  EXPECT_EQ(Pins(), std::vector<UNUM32>{0}) << "none, with that";
  pdu.Calls().Clear();

  EXPECT_EQ(Configure({{J1962_PINS, 0x0100}}), STATUS_NOERROR);
  EXPECT_EQ(Value("CP_ChangeSpeedCtrl"), 0U);
  EXPECT_EQ(Value("CP_ChangeSpeedRate"), 100000U);
  EXPECT_EQ(Value("CP_ChangeSpeedResCtrl"), 1U);
  EXPECT_EQ(Value("CP_TerminationType"), 4U);
  EXPECT_EQ(Value("CP_Baudrate"), 40000U);
  EXPECT_EQ(Value("CP_Loopback"), 1U);
  EXPECT_EQ(pdu.StartedCops().back().type, PDU_COPT_UPDATEPARAM) << "all in force";
}

TEST_P(ChannelSingleWireTest, AcceptsMessagesOfTheSizesOfTheProtocol) {
  struct Case {
    std::uint32_t size;
    std::uint32_t rxStatus;
    std::uint32_t flags;
    Status onRaw;
    Status onIso15765;
  };
  constexpr Status kGood = STATUS_NOERROR;
  constexpr Status kBad = ERR_INVALID_MSG;
  for (const Case& c :
       {Case{3, 0, 0, kBad, kBad}, Case{4, 0, 0, kGood, kGood}, Case{12, 0, 0, kGood, kGood},
        Case{13, 0, 0, kBad, kGood}, Case{4099, 0, 0, kBad, kGood}, Case{4100, 0, 0, kBad, kBad},
        Case{4, 0, CAN_ID_BOTH, kGood, kBad}, Case{4100, 0, CAN_ID_BOTH, kBad, kGood},
        Case{0, RX_SPD_CHG_EVENT, 0, kGood, kGood}, Case{0, TX_DONE, 0, kGood, kGood},
        Case{0, START_OF_MESSAGE, 0, kBad, kGood}, Case{0, SW_CAN_HV_RX, 0, kBad, kBad}}) {
    ASSERT_EQ(Connect(GetParam(), c.flags, kNormalRate), STATUS_NOERROR);
    EXPECT_EQ(channel->ValidateMessage(c.size, nullptr, c.rxStatus),
              IsRaw() ? c.onRaw : c.onIso15765)
        << c.size << " bytes, status " << c.rxStatus << ", flags " << c.flags;
  }
}

TEST_P(ChannelSingleWireTest, PeriodicMessagesRunOnALinkThatIsLikeTheFirst) {
  ConnectOnWire({{LOOPBACK, 1}, {DATA_RATE, 50000}});
  for (const char* name : {"CP_Loopback", "CP_Baudrate", "CP_TerminationType"}) {
    pdu.SetComParam(name, {});
  }
  std::uint32_t id = 0;
  const auto started = std::chrono::steady_clock::now();
  ASSERT_EQ(StartPeriodic(100, &id, GetParam()), STATUS_NOERROR);
  if (!IsRaw()) {
    EXPECT_GE(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(20));
  }
  const std::vector<std::string> created = pdu.Calls().Of("PDUCreateComLogicalLink");
  ASSERT_EQ(created.size(), 1U);
  EXPECT_NE(created[0].find(test::Render(pdu.IdOf(PDU_OBJT_BUSTYPE, "SAE_J2411_SWCAN"))),
            std::string::npos);
  EXPECT_EQ(pdu.StartedCops().back().hCLL, pdu.LastLink());
  EXPECT_EQ(Value("CP_Loopback"), 1U);
  EXPECT_EQ(Value("CP_Baudrate"), 50000U);

  EXPECT_EQ(Ioctl(SW_CAN_HS), STATUS_NOERROR);
  const std::vector<test::StartedCop> cops = pdu.StartedCops();
  ASSERT_GE(cops.size(), 2U);
  EXPECT_NE(cops[cops.size() - 2].hCLL, cops.back().hCLL) << "both links change their speed";
  EXPECT_EQ(cops.back().hCLL, pdu.LastLink());
  EXPECT_EQ(StartPeriodic(100, &id, GetParam()), STATUS_NOERROR);
  EXPECT_EQ(pdu.Calls().Count("PDUCreateComLogicalLink"), 1U) << "made once";
}

TEST_P(ChannelSingleWireTest, ReportsWhatTheSecondLinkCannotTakeOver) {
  struct Case {
    const char* onRaw;
    const char* onIso15765;
  };
  ConnectOnWire({{LOOPBACK, 1}});
  std::uint32_t id = 0;
  // In the order of their updates; ISO 15765 has one before, that of its addresses.
  const std::vector<Case> cases{{"Error connecting to Channel.", "Error connecting to Channel."},
                                {"Error connecting to Channel.", "Error setting loopback."},
                                {"Error setting data rate.", "Error setting data rate."}};
  std::size_t failing = IsRaw() ? 0 : 1;
  for (const Case& c : cases) {
    std::size_t updates = 0;
    pdu.PDUStartComPrimitive.Does([&](auto mod, auto cll, auto type, auto... rest) -> T_PDU_ERROR {
      if (type == PDU_COPT_UPDATEPARAM && updates++ == failing) return PDU_ERR_FCT_FAILED;
      return pdu.PDUStartComPrimitive.BuiltIn(mod, cll, type, rest...);
    });
    test::ExpectReported(Observe([&] { return StartPeriodic(100, &id, GetParam()); }), ERR_FAILED,
                         Located("0E0004 ") + (IsRaw() ? c.onRaw : c.onIso15765));
    ++failing;
  }
}

}  // namespace
}  // namespace passbridge
