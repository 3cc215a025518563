// What is special about channels on SAE J1850: the look-up table of functional addresses, the node
// address, answers within frames.

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "channel_fixture.h"
#include "protocols/channel_factory.h"
#include "protocols/channel_j1850pwm.h"
#include "support/trace_observer.h"

namespace passbridge {
namespace {

using test::ByteArray;
using test::CanMessage;
using test::NamesOf;
using test::Observe;
using test::Outcome;
using Bytes = std::vector<std::uint8_t>;
using Names = std::vector<std::string>;

constexpr std::uint32_t kAdd = ADD_TO_FUNCT_MSG_LOOKUP_TABLE;
constexpr std::uint32_t kDelete = DELETE_FROM_FUNCT_MSG_LOOKUP_TABLE;
constexpr std::uint32_t kClear = CLEAR_FUNCT_MSG_LOOKUP_TABLE;

struct ChannelJ1850Test : test::ChannelFixture {
  ChannelJ1850Test() {
    pdu.PDUIoCtl.Does([this](auto mod, auto cll, auto control, auto* input, auto** output) {
      if (cll == pdu.LastLink()) filters = test::Render(input);
      return pdu.PDUIoCtl.BuiltIn(mod, cll, control, input, output);
    });
  }

  OwnedChannel Make() override { return CreateChannel(type); }

  Status ConnectTo(std::uint32_t protocolId) {
    type = protocolId == J1850PWM ? J1850PWM : J1850VPW;
    return Connect(protocolId, 0, protocolId == J1850PWM ? 41600 : 10400);
  }

  /// A PWM channel with node address F1.
  void ConnectToPwm() {
    ASSERT_EQ(ConnectTo(J1850PWM), STATUS_NOERROR);
    ASSERT_EQ(Configure({{NODE_ADDRESS, 0xF1}}), STATUS_NOERROR);
  }

  Status Change(std::uint32_t ioctlId, const Bytes& addresses) {
    return ioctlId == kClear ? Ioctl(kClear) : IoctlWithBytes(ioctlId, addresses);
  }

  ProtocolType type = J1850PWM;
  std::string filters;  // what the link made last filters by, or "null"
};

/// Filters that let functional addresses pass, numbered from `first` on.
std::string FiltersFor(const Bytes& addresses, UNUM32 first = 1) {
  std::string text;
  for (const std::uint8_t address : addresses) {
    text += " {" + test::Render(UNUM32{PDU_FLT_PASS}) + " " + test::Render(first++) +
            " mask 00 FF pattern 00 " + test::RenderBytes(&address, 1) + "}";
  }
  return text;
}

/// What starts filters, or null for none.
std::string FilterItem(const std::string& list) {
  return list.empty() ? "null" : "{0x1003" + list + "}";
}

TEST_F(ChannelJ1850Test, NamesItsResourceAndSetsItsComParams) {
  struct Case {
    std::uint32_t protocolId;
    const char* protocol;
    const char* busType;
    UNUM32 responseControl;
    UNUM32 termination;
  };
  for (const Case& c : {Case{J1850VPW, "SAE_J2190_on_SAE_J1850_VPW", "SAE_J1850_VPW", 0, 9},
                        Case{J1850PWM, "SAE_J2190_on_SAE_J1850_PWM", "SAE_J1850_PWM", 1, 0}}) {
    for (const char* name : {"CP_J1850IFRCtrl", "CP_TerminationType"}) {
      pdu.SetComParam(name, test::ParamSpec::Number(9));
    }
    ASSERT_EQ(ConnectTo(c.protocolId), STATUS_NOERROR);
    EXPECT_EQ(pdu.ComParamValue("CP_J1850IFRCtrl"), c.responseControl) << c.protocol;
    EXPECT_EQ(pdu.ComParamValue("CP_TerminationType"), c.termination) << c.protocol;
    PDU_RSC_DATA resource{};
    EXPECT_EQ(channel->GetPduResourceBusTypeId(&resource), STATUS_NOERROR);
    EXPECT_EQ(resource.BusTypeId, pdu.IdOf(PDU_OBJT_BUSTYPE, c.busType));
    EXPECT_EQ(channel->GetPduResourceProtocolId(&resource), STATUS_NOERROR);
    EXPECT_EQ(resource.ProtocolId, pdu.IdOf(PDU_OBJT_PROTOCOL, c.protocol));
  }
}

TEST_F(ChannelJ1850Test, UsesOnePinOrTwo) {
  ASSERT_EQ(ConnectTo(J1850PWM), STATUS_NOERROR);
  EXPECT_EQ(Pins(), (std::vector<UNUM32>{2, 10}));
  ASSERT_EQ(ConnectTo(J1850VPW), STATUS_NOERROR);
  EXPECT_EQ(Pins(), std::vector<UNUM32>{2});
  struct Case {
    std::uint32_t set;
    UNUM32 pin;
  };
  for (const Case& c : {Case{0x0002, 2}, Case{0x0300, 3}, Case{0x0904, 9}}) {
    ASSERT_EQ(ConnectTo(J1850VPW_PS), STATUS_NOERROR);
    EXPECT_EQ(Pins(), std::vector<UNUM32>{0}) << "not set yet";
    ASSERT_EQ(Configure({{J1962_PINS, c.set}}), STATUS_NOERROR);
    EXPECT_EQ(Pins(), std::vector<UNUM32>{c.pin}) << c.set;
  }
}

TEST_F(ChannelJ1850Test, TheLinkFiltersAndAnswersByTheTable) {
  struct Case {
    std::uint32_t ioctlId;
    Bytes addresses;
    Bytes after;
    UNUM32 responseControl;
    Names calls;
  };
  const Names changed{"PDUSetComParam", "PDUStartComPrimitive", "update ended", "PDUIoCtl"};
  const Names committed{"PDUStartComPrimitive", "update ended", "PDUIoCtl"};
  const Names filtered{"PDUIoCtl"};
  ConnectToPwm();
  EndComPrimitivesLate();
  filters = "null";
  for (const Case& c : std::vector<Case>{
           {kClear, {}, {}, 1, {}},
           {kAdd, {}, {}, 1, {}},
           {kAdd, {0x6A}, {0x6A}, 2, changed},
           {kAdd, {0x6A}, {0x6A}, 2, committed},
           {kAdd, {0x6B}, {0x6A, 0x6B}, 2, filtered},
           {kDelete, {0x6A, 0x77}, {0x6B}, 2, filtered},
           {kDelete, {0x6B}, {}, 1, changed},
           {kDelete, {}, {}, 1, committed},
           {kAdd, {0x10, 0x10, 0x11}, {0x10, 0x11}, 1, filtered},
           {kAdd, {0x12}, {0x10, 0x11, 0x12}, 1, filtered},
           {kDelete, {0x10}, {0x11, 0x12}, 1, filtered},
           {kClear, {}, {}, 1, committed},
           {kAdd, {0x6A, 0x6A}, {0x6A}, 2, changed},
           {kClear, {}, {}, 1, changed},
       }) {
    pdu.Calls().Clear();
    EXPECT_EQ(Change(c.ioctlId, c.addresses), STATUS_NOERROR);
    const std::string step = std::to_string(c.ioctlId) + " to " + FiltersFor(c.after);
    EXPECT_EQ(filters, FilterItem(FiltersFor(c.after))) << step;
    EXPECT_EQ(pdu.ComParamValue("CP_J1850IFRCtrl"), c.responseControl) << step;
    EXPECT_EQ(NamesOf(pdu.Calls().All()), c.calls) << step;
  }
}

TEST_F(ChannelJ1850Test, TheTablesFiltersFollowTheApplicationsOnEveryLink) {
  ConnectToPwm();
  std::uint32_t id = 0;
  ASSERT_EQ(StartFilter(PASS_FILTER, &id, J1850PWM), STATUS_NOERROR);
  const std::string own =
      " {" + test::Render(UNUM32{PDU_FLT_PASS}) + " 1 mask FF FF FF FF pattern 00 00 07 E8}";
  EXPECT_EQ(filters, FilterItem(own));
  ASSERT_EQ(Change(kAdd, {0x6A, 0x6B}), STATUS_NOERROR);
  EXPECT_EQ(filters, FilterItem(own + FiltersFor({0x6A, 0x6B}, 2)));
  filters.clear();
  ASSERT_EQ(channel->ConnectToVehicle(), STATUS_NOERROR);
  EXPECT_EQ(filters, FilterItem(own + FiltersFor({0x6A, 0x6B}, 2))) << "connected again";
}

TEST_F(ChannelJ1850Test, WhatFailsLeavesTheTableChanged) {
  struct Case {
    std::uint32_t ioctlId;
    std::string method;  // and the exit of the first of the three steps
    std::uint16_t point;
    const char* download;
    Status isForUs;  // a message to 6A, afterwards
  };
  struct Step {
    std::function<void()> fail;
    Status status;
    const char* text;
  };
  const std::vector<Step> steps{
      {[this] { pdu.PDUSetComParam.Next({PDU_ERR_CLL_NOT_CONNECTED}); }, ERR_INVALID_CHANNEL_ID,
       "Error setting CP_J1850_IFR_CTRL."},
      {[this] { pdu.PDUStartComPrimitive.Next({PDU_ERR_PDUAPI_NOT_CONSTRUCTED}); },
       ERR_DEVICE_NOT_CONNECTED, "Error committing Parameter Value."},
      {[this] { pdu.PDUIoCtl.Next({PDU_ERR_ID_NOT_SUPPORTED}); }, ERR_NOT_SUPPORTED, nullptr}};
  ConnectToPwm();
  for (const Case& c :
       {Case{kAdd, "08080", 6, "Error adding to Functional Message Look-up Table.", STATUS_NOERROR},
        Case{kDelete, "08090", 5, "Error deleting from Functional Message Look-up Table.",
             ERR_INVALID_MSG},
        Case{kClear, "08070", 3, "Error clearing Functional Message Look-up Table.",
             ERR_INVALID_MSG}}) {
    for (std::size_t i = 0; i < steps.size(); ++i) {
      ASSERT_EQ(Change(kAdd, {0x6A}), STATUS_NOERROR);
      if (c.ioctlId == kAdd) {
        ASSERT_EQ(Ioctl(kClear), STATUS_NOERROR);
      }
      steps[i].fail();
      const Outcome outcome = Observe([&] { return Change(c.ioctlId, {0x6A}); });
      const char* const text = steps[i].text != nullptr ? steps[i].text : c.download;
      test::ExpectReported(outcome, steps[i].status,
                           c.method + "00" + std::to_string(c.point + i) + " " + text);
      EXPECT_NE(outcome.recorded >> 24U, 0x08U) << "the first cause is another's";
      const Bytes message{0x61, 0x6A, 0x10, 1};
      EXPECT_EQ(channel->ValidateMessageRead(4, message.data(), 0), c.isForUs) << text;
    }
  }
}

TEST_F(ChannelJ1850Test, IoctlsOfPwmRefuseWhatTheyCannotUse) {
  std::uint8_t address = 0x6A;
  ByteArray good{1, &address};
  ByteArray null{1, nullptr};
  ByteArray nowhere{1, reinterpret_cast<void*>(8)};
  ByteArray huge{0xFFFFFFFF, &address};
  void* const wrong = reinterpret_cast<void*>(8);
  struct Case {
    std::uint32_t ioctlId;
    void* input;
    Status status;
    const char* report;
  };
  const auto expectRefusals = [&](const std::vector<Case>& cases) {
    for (const Case& c : cases) {
      test::ExpectFirstCause(Observe([&] { return IoctlWith(c.ioctlId, c.input); }), c.status,
                             c.report);
    }
  };
  channel = Make();
  ASSERT_EQ(channel->Initialize(kModule, J1850PWM, 0, 41600), STATUS_NOERROR);
  expectRefusals(
      {{kClear, nullptr, ERR_PIN_INVALID, "08070001 Error getting J1962 Pins value to use."},
       {kAdd, &good, ERR_PIN_INVALID, "08080001 Error getting J1962 Pins value to use."},
       {kDelete, &good, ERR_PIN_INVALID, "08090001 Error getting J1962 Pins value to use."}});
  ConnectToPwm();
  ASSERT_EQ(Change(kAdd, {0x6A}), STATUS_NOERROR);
  pdu.Calls().Clear();
  expectRefusals(
      {{kAdd, nullptr, ERR_NULL_PARAMETER, "08080002 NULL Input pointer."},
       {kAdd, wrong, ERR_NULL_PARAMETER, "08080002 NULL Input pointer."},
       {kAdd, &null, ERR_FAILED, "08080004 NULL IOCTL Data Pointer."},
       {kAdd, &nowhere, ERR_FAILED, "08080004 NULL IOCTL Data Pointer."},
       {kAdd, &huge, ERR_FAILED, "08080004 NULL IOCTL Data Pointer."},
       {kDelete, nullptr, ERR_NULL_PARAMETER, "08090002 NULL Input Pointer."},
       {kDelete, wrong, ERR_NULL_PARAMETER, "08090002 NULL Input Pointer."},
       {kDelete, &null, ERR_FAILED, "08090004 NULL IOCTL Data Pointer."},
       {kDelete, &huge, ERR_FAILED, "08090004 NULL IOCTL Data Pointer."},
       {J1850PWM_TERMINATION, nullptr, ERR_NULL_PARAMETER, "080A0001 NULL unsigned long pointer."},
       {J1850PWM_TERMINATION, wrong, ERR_NULL_PARAMETER, "080A0001 NULL unsigned long pointer."}});
  EXPECT_EQ(NamesOf(pdu.Calls().All()), Names{});
}

TEST_F(ChannelJ1850Test, TerminationTakesForceAtOnce) {
  ConnectToPwm();
  EndComPrimitivesLate();
  pdu.Calls().Clear();
  std::uint32_t termination = 0xFFFF0003;
  EXPECT_EQ(IoctlWith(J1850PWM_TERMINATION, &termination), STATUS_NOERROR);
  EXPECT_EQ(pdu.ComParamValue("CP_TerminationType"), 0xFFFF0003U);
  EXPECT_EQ(NamesOf(pdu.Calls().All()),
            (Names{"PDUSetComParam", "PDUStartComPrimitive", "update ended"}));
  ASSERT_EQ(ConnectTo(J1850VPW), STATUS_NOERROR);
  EXPECT_EQ(IoctlWith(J1850PWM_TERMINATION, &termination), ERR_NOT_SUPPORTED);
  EXPECT_EQ(IoctlWith(kClear, nullptr), ERR_INVALID_IOCTL_ID);
}

TEST_F(ChannelJ1850Test, NoComParamOfAMessageComesBetweenTheTableAndItsUpdate) {
  struct Probe : CJ2534Channel_J1850PWM {
    Status SendUpdateComPrimitive(bool wait) override {
      if (beforeUpdate) beforeUpdate();
      return CJ2534Channel_J1850PWM::SendUpdateComPrimitive(wait);
    }
    std::function<void()> beforeUpdate;
  };
  auto* const probe = new Probe;
  channel = OwnedChannel(probe);
  ASSERT_EQ(channel->Initialize(kModule, J1850PWM, 0, 41600), STATUS_NOERROR);
  ASSERT_EQ(channel->PassThruConnect(J1850PWM, 0, 41600), STATUS_NOERROR);
  std::future<void> writer;
  std::size_t before = 0;
  const auto sets = [this] { return pdu.Calls().Count("PDUSetComParam"); };
  probe->beforeUpdate = [&] {
    before = sets();
    writer = std::async(std::launch::async, [&] {
      std::uint32_t sent = 0;
      const auto padded = CanMessage({0x61, 0x6A, 0xFF, 0x3F}, J1850PWM, ISO15765_FRAME_PAD);
      EXPECT_EQ(Write({padded}, 0, &sent), STATUS_NOERROR);
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(sets(), before);
  };
  EXPECT_EQ(Change(kAdd, {0x6A}), STATUS_NOERROR);
  writer.get();
  EXPECT_GT(sets(), before) << "it comes later";
}

TEST_F(ChannelJ1850Test, AcceptsMessagesOfTheSizesOfTheProtocol) {
  struct Case {
    std::uint32_t protocolId;
    std::uint32_t size;
    std::uint32_t rxStatus;
    Status status;
  };
  for (const Case& c :
       {Case{J1850PWM, 2, 0, ERR_INVALID_MSG}, Case{J1850PWM, 3, 0, STATUS_NOERROR},
        Case{J1850PWM, 11, 0, STATUS_NOERROR}, Case{J1850PWM, 12, 0, ERR_INVALID_MSG},
        Case{J1850PWM, 0, RX_BREAK, ERR_INVALID_MSG}, Case{J1850VPW, 0, 0, ERR_INVALID_MSG},
        Case{J1850VPW, 1, 0, STATUS_NOERROR}, Case{J1850VPW, 4128, 0, STATUS_NOERROR},
        Case{J1850VPW, 4129, 0, ERR_INVALID_MSG}, Case{J1850VPW, 0, RX_BREAK, STATUS_NOERROR}}) {
    ASSERT_EQ(ConnectTo(c.protocolId), STATUS_NOERROR);
    EXPECT_EQ(channel->ValidateMessage(c.size, nullptr, c.rxStatus), c.status)
        << c.protocolId << ", " << c.size << " bytes, status " << c.rxStatus;
  }
}

TEST_F(ChannelJ1850Test, PwmSendsInTheNameOfItsNodeOnly) {
  ConnectToPwm();
  std::uint32_t sent = 0;
  PassThruMsg endless = CanMessage({0x61, 0x6A, 0xF1, 1}, J1850PWM);
  endless.dataSize = 0xFFFFFFFF;
  EXPECT_EQ(Write({CanMessage({0x61, 0x6A, 0xF1, 0x3F}, J1850PWM)}, 0, &sent), STATUS_NOERROR);
  struct Case {
    PassThruMsg message;
    const char* report;
  };
  for (const Case& c : {Case{CanMessage({0x61, 0x6A, 0xF0, 0x3F}, J1850PWM),
                             "08060003 Invalide NODE_ADDRESS value."},
                        Case{CanMessage({0x61, 0x6A}, J1850PWM), "08040001 Invalid DataSize."},
                        Case{endless, "08040001 Invalid DataSize."}}) {
    const Outcome outcome = Observe([&] { return Write({c.message}, 0, &sent); });
    test::ExpectReported(outcome, ERR_INVALID_MSG, c.report);
    EXPECT_EQ(sent, 0U);
  }
  ASSERT_EQ(ConnectTo(J1850PWM), STATUS_NOERROR);
  EXPECT_EQ(Write({CanMessage({0x61, 0x6A, 0xFF}, J1850PWM)}, 0, &sent), STATUS_NOERROR)
      << "the address untold";
}

TEST_F(ChannelJ1850Test, PwmReceivesWhatIsForItsNodeOrForTheTableOrItsOwn) {
  struct Case {
    Bytes message;
    std::uint32_t rxStatus;
    Status status;
    const char* report;
  };
  constexpr const char* kForeign = "08050003 Invalide NODE_ADDRESS value.";
  ConnectToPwm();
  ASSERT_EQ(Change(kAdd, {0x6B, 0x6A}), STATUS_NOERROR);
  for (const Case& c : {Case{{0x61, 0xF1, 0x10, 0x7F}, 0, STATUS_NOERROR, ""},
                        Case{{0x61, 0x6A, 0x10, 0x7F}, 0, STATUS_NOERROR, ""},
                        Case{{0x61, 0x25, 0x10, 0x7F}, 0, ERR_INVALID_MSG, kForeign},
                        Case{{0x61, 0x25, 0x10, 0x7F}, TX_MSG_TYPE, STATUS_NOERROR, ""},
                        Case{{0x61}, 0, ERR_INVALID_MSG, kForeign},
                        Case{{0x61}, TX_MSG_TYPE, ERR_INVALID_MSG, "08040001 Invalid DataSize."}}) {
    Bytes buffer = c.message;
    if (buffer.size() == 1) buffer.push_back(0x6A);  // what lies behind is no address
    const Outcome outcome = Observe([&] {
      return channel->ValidateMessageRead(static_cast<std::uint32_t>(c.message.size()),
                                          buffer.data(), c.rxStatus);
    });
    test::ExpectReport(outcome, c.status, c.report);
  }
  test::ExpectReport(Observe([&] { return channel->ValidateMessageRead(0, nullptr, 0); }),
                     ERR_NULL_PARAMETER, "08050002 NULL pData pointer.");

  Deliver({.data = {0x61, 0x25, 0x10, 0x7F}});
  Deliver({});
  Deliver({.data = {0x41, 0x6B, 0x10, 0x41}});
  ASSERT_EQ(Read(1, test::kLongTimeout), STATUS_NOERROR);
  EXPECT_EQ(received[0].data[1], 0x6B) << "nothing came before it";
}

TEST_F(ChannelJ1850Test, PeriodicMessagesOfPwmRunOnALinkOfTheSameNode) {
  ConnectToPwm();
  ASSERT_EQ(Configure({{LOOPBACK, 1}}), STATUS_NOERROR);
  ASSERT_EQ(Change(kAdd, {0x6A}), STATUS_NOERROR);
  for (const char* name : {"CP_TesterSourceAddress", "CP_Loopback", "CP_J1850IFRCtrl"}) {
    pdu.SetComParam(name, {});
  }
  std::uint32_t id = 0;
  const auto start = [&](Bytes bytes) {
    PassThruMsg message = CanMessage(std::move(bytes), J1850PWM);
    return channel->PassThruStartPeriodicMsg(AppMessage(message), AppValue(id), 100);
  };
  EXPECT_EQ(start({0x61, 0x6A, 0xF0, 0x3F}), ERR_INVALID_MSG);
  EXPECT_EQ(start({0x61, 0x6A, 0xF1, 0x3F}), STATUS_NOERROR);
  EXPECT_EQ(pdu.Calls().Count("PDUCreateComLogicalLink"), 2U);
  EXPECT_EQ(pdu.StartedCops().back().hCLL, pdu.LastLink());
  EXPECT_EQ(pdu.ComParamValue("CP_TesterSourceAddress"), 0xF1U);
  EXPECT_EQ(pdu.ComParamValue("CP_Loopback"), 1U);
  EXPECT_EQ(filters, "null") << "its table is its own, and empty";
  EXPECT_EQ(pdu.ComParamValue("CP_J1850IFRCtrl"), 1U);
}

}  // namespace
}  // namespace passbridge
