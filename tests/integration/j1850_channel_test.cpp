// J1850 channels through the exported functions, with the ECUs of the virtual VCI.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <numeric>
#include <vector>

#include "channels_fixture.h"

namespace passbridge::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

constexpr std::uint8_t kTester = 0xF1;
constexpr std::uint8_t kResponses = 0x6B;  // functional address of the ECU's responses
const Bytes kFaults{0x43, 0x03, 0x01, 0x04, 0x20, 0x00, 0x00};

struct J1850Channel : ChannelsFixture {
  using ChannelsFixture::ChannelsFixture;

  j2534_ulong ConnectVpw(j2534_ulong pins = 0) {
    const j2534_ulong protocol = pins != 0 ? J1850VPW_PS : J1850VPW;
    const j2534_ulong id = Connect(protocol, 0, pins, 10400);
    EXPECT_EQ(StartFilter(id, PASS_FILTER, Message(protocol, {0}), Message(protocol, {0}), nullptr),
              long{STATUS_NOERROR})
        << LastError();
    return id;
  }
  j2534_ulong ConnectPwm() {
    const j2534_ulong id = Connect(J1850PWM, 0, 0, 41600);
    EXPECT_EQ(SetConfig(id, NODE_ADDRESS, kTester), long{STATUS_NOERROR}) << LastError();
    return id;
  }
  long ChangeTable(j2534_ulong on, j2534_ulong ioctl, Bytes addresses) {
    SBYTE_ARRAY array{static_cast<j2534_ulong>(addresses.size()), addresses.data()};
    return library.PassThruIoctl(on, ioctl, &array, nullptr);
  }
  /// Everything that comes within a while.
  std::vector<Bytes> All(j2534_ulong on, j2534_ulong patience = 100) {
    std::vector<Bytes> messages;
    while (const auto message = Next(on, patience)) {
      messages.emplace_back(message->Data, message->Data + message->DataSize);
    }
    return messages;
  }
  void SendAsEcu(const Bytes& bytes, UNUM32 pin2, UNUM32 flags = 0) {
    EXPECT_EQ(vci.SendBytes(static_cast<UNUM32>(device), 2, pin2, flags, bytes.data(),
                            static_cast<UNUM32>(bytes.size())),
              PDU_STATUS_NOERROR);
  }
};

struct J1850InRealtime : J1850Channel {
  J1850InRealtime() : J1850Channel(VVCI_CLOCK_REALTIME) {}
};

TEST_F(J1850Channel, VpwAsksAnEcuOnItsPinInEitherByte) {
  for (const j2534_ulong pins : {0U, 0x0200U, 0x0002U}) {
    const j2534_ulong protocol = pins != 0 ? j2534_ulong{J1850VPW_PS} : j2534_ulong{J1850VPW};
    const j2534_ulong id = ConnectVpw(pins);
    ASSERT_EQ(SetConfig(id, LOOPBACK, 1), long{STATUS_NOERROR});
    const Bytes request{0x68, 0x6A, kTester, 0x03};
    ASSERT_EQ(Send(id, {Message(protocol, request)}), long{STATUS_NOERROR}) << LastError();
    EXPECT_THAT(See(id, 2), ElementsAre(Pair(TX_MSG_TYPE, request),
                                        Pair(0U, Join({0x48, 0x6B, 0x10}, kFaults))));
    EXPECT_EQ(library.PassThruDisconnect(id), long{STATUS_NOERROR});
  }
}

TEST_F(J1850Channel, VpwHearsBreaksAndDropsWrongCrcs) {
  const j2534_ulong id = ConnectVpw();
  SendAsEcu({0x08, 0x01, 0x02, 0x03}, 0, VVCI_SEND_WRONG_CHECKSUM);
  SendAsEcu({}, 0, VVCI_SEND_BREAK);
  SendAsEcu({0x08, 0x01, 0x02, 0x04}, 0);
  EXPECT_THAT(See(id, 2), ElementsAre(Pair(RX_BREAK, Bytes{}), Pair(0U, Bytes{8, 1, 2, 4})));
}

TEST_F(J1850Channel, VpwMessagesMayBeLong) {
  const j2534_ulong id = ConnectVpw();
  Bytes longest(4128);
  std::iota(longest.begin(), longest.end(), std::uint8_t{0});
  SendAsEcu(longest, 0);
  EXPECT_THAT(All(id), ElementsAre(longest));
  EXPECT_EQ(Send(id, {Message(J1850VPW, longest)}), long{STATUS_NOERROR}) << LastError();
  EXPECT_EQ(Send(id, {Message(J1850VPW, {})}), long{ERR_INVALID_MSG});
}

TEST_F(J1850Channel, VpwFollowsItsEcuToHighSpeed) {
  const j2534_ulong id = ConnectVpw();
  const auto ask = [&](std::uint8_t service) {
    EXPECT_EQ(Send(id, {Message(J1850VPW, {0x6C, 0x10, kTester, service})}), long{STATUS_NOERROR});
    return All(id);
  };
  EXPECT_THAT(ask(0xA0), ElementsAre(Bytes{0x6C, kTester, 0x10, 0xE0, 0xAA}));
  EXPECT_THAT(ask(0xA1), IsEmpty());
  ASSERT_EQ(SetConfig(id, DATA_RATE, 41600), long{STATUS_NOERROR}) << LastError();
  EXPECT_THAT(ask(0x03), ElementsAre(Join({0x6C, kTester, 0x10}, kFaults)));
  SendAsEcu({}, 0, VVCI_SEND_BREAK);
  EXPECT_THAT(See(id, 1), ElementsAre(Pair(RX_BREAK, Bytes{})));
  ASSERT_EQ(SetConfig(id, DATA_RATE, 10400), long{STATUS_NOERROR}) << LastError();
  EXPECT_THAT(ask(0x03), ElementsAre(Join({0x6C, kTester, 0x10}, kFaults)));
}

TEST_F(J1850Channel, PwmLetsThroughWhatIsForTheTester) {
  const j2534_ulong id = ConnectPwm();
  const Bytes own{0x61, kTester, 0x10, 0x7F};
  const Bytes response{0x41, kResponses, 0x10, 0x7F};
  const Bytes other{0x61, 0x25, 0x10, 0x7F};
  const auto through = [&] {
    for (const Bytes& message : {own, response, other}) SendAsEcu(message, 10);
    return All(id);
  };
  EXPECT_THAT(through(), IsEmpty()) << "no filter, no table";
  ASSERT_EQ(ChangeTable(id, ADD_TO_FUNCT_MSG_LOOKUP_TABLE, {kResponses}), long{STATUS_NOERROR});
  EXPECT_THAT(through(), ElementsAre(response));
  ASSERT_EQ(ChangeTable(id, ADD_TO_FUNCT_MSG_LOOKUP_TABLE, {0x25, 0x25, kResponses}),
            long{STATUS_NOERROR});
  EXPECT_THAT(through(), ElementsAre(response, other));
  ASSERT_EQ(StartFilter(id, PASS_FILTER, Message(J1850PWM, {0}), Message(J1850PWM, {0}), nullptr),
            long{STATUS_NOERROR});
  EXPECT_THAT(through(), ElementsAre(own, response, other));
  ASSERT_EQ(ChangeTable(id, DELETE_FROM_FUNCT_MSG_LOOKUP_TABLE, {kResponses}),
            long{STATUS_NOERROR});
  EXPECT_THAT(through(), ElementsAre(own, other)) << "the filter passes it, the table doesn't";
  ASSERT_EQ(library.PassThruIoctl(id, CLEAR_FUNCT_MSG_LOOKUP_TABLE, nullptr, nullptr),
            long{STATUS_NOERROR});
  EXPECT_THAT(through(), ElementsAre(own));
  ASSERT_EQ(SetConfig(id, NODE_ADDRESS, 0x25), long{STATUS_NOERROR});
  EXPECT_THAT(through(), ElementsAre(other));
}

TEST_F(J1850Channel, PwmAsksAnEcuFromItsNodeAddress) {
  const j2534_ulong id = ConnectPwm();
  ASSERT_EQ(ChangeTable(id, ADD_TO_FUNCT_MSG_LOOKUP_TABLE, {kResponses}), long{STATUS_NOERROR});
  EXPECT_EQ(Send(id, {Message(J1850PWM, {0x61, 0x6A, 0xF0, 0x03})}), long{ERR_INVALID_MSG});
  EXPECT_EQ(Send(id, {Message(J1850PWM, Bytes(12, kTester))}), long{ERR_INVALID_MSG});
  ASSERT_EQ(SetConfig(id, LOOPBACK, 1), long{STATUS_NOERROR});
  const Bytes request{0x61, 0x6A, kTester, 0x03};
  // Packed: one ComPrimitive for both.
  ASSERT_EQ(Send(id, {Message(J1850PWM, request), Message(J1850PWM, request)}),
            long{STATUS_NOERROR})
      << LastError();
  const auto seen = See(id, 3);
  EXPECT_THAT(seen, testing::Contains(Pair(TX_MSG_TYPE, request)).Times(2));
  EXPECT_THAT(seen, testing::Contains(Pair(0U, Join({0x41, kResponses, 0x10}, kFaults))));
}

TEST_F(J1850Channel, PwmPeriodicMessagesKeepTheNodeAddress) {
  const j2534_ulong id = ConnectPwm();
  ASSERT_EQ(ChangeTable(id, ADD_TO_FUNCT_MSG_LOOKUP_TABLE, {kResponses}), long{STATUS_NOERROR});
  PASSTHRU_MSG message = Message(J1850PWM, {0x61, 0x6A, kTester, 0x03});
  j2534_ulong periodic = 0;
  ASSERT_EQ(library.PassThruStartPeriodicMsg(id, &message, &periodic, 20), long{STATUS_NOERROR})
      << LastError();
  EXPECT_THAT(See(id, 2), ElementsAre(Pair(0U, Join({0x41, kResponses, 0x10}, kFaults)),
                                      Pair(0U, Join({0x41, kResponses, 0x10}, kFaults))));
  EXPECT_EQ(library.PassThruStopPeriodicMsg(id, periodic), long{STATUS_NOERROR});
  message.Data[2] = 0xF0;
  EXPECT_EQ(library.PassThruStartPeriodicMsg(id, &message, &periodic, 20), long{ERR_INVALID_MSG});
}

TEST_F(J1850Channel, TerminationIsForPwmOnly) {
  j2534_ulong termination = 2;
  const j2534_ulong pwm = ConnectPwm();
  EXPECT_EQ(library.PassThruIoctl(pwm, J1850PWM_TERMINATION, &termination, nullptr),
            long{STATUS_NOERROR})
      << LastError();
  EXPECT_EQ(library.PassThruIoctl(pwm, J1850PWM_TERMINATION, nullptr, nullptr),
            long{ERR_NULL_PARAMETER});
  EXPECT_EQ(library.PassThruDisconnect(pwm), long{STATUS_NOERROR});
  const j2534_ulong vpw = ConnectVpw();
  EXPECT_EQ(library.PassThruIoctl(vpw, J1850PWM_TERMINATION, &termination, nullptr),
            long{ERR_NOT_SUPPORTED});
  EXPECT_EQ(ChangeTable(vpw, ADD_TO_FUNCT_MSG_LOOKUP_TABLE, {kResponses}),
            long{ERR_INVALID_IOCTL_ID});
}

TEST_F(J1850InRealtime, WritesTakeTheTimeOfTheirBits) {
  const j2534_ulong id = ConnectVpw();
  // Every level of AA is a long one.
  constexpr std::size_t kBytes = 500;
  const auto start = std::chrono::steady_clock::now();
  ASSERT_EQ(Send(id, {Message(J1850VPW, Bytes(kBytes, 0xAA))}), long{STATUS_NOERROR});
  const std::chrono::duration<double, std::micro> took = std::chrono::steady_clock::now() - start;
  EXPECT_GT(took.count(), kBytes * 8 * 128 * 0.95);
  // A machine that is busy makes it longer.
  EXPECT_LT(took.count(), kBytes * 8 * 128 * 3.0);
}

}  // namespace
}  // namespace passbridge::test
