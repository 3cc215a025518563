// Single-wire CAN channels through the exported functions, with the ECUs of the virtual VCI.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "channels_fixture.h"

namespace passbridge::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr j2534_ulong kNormalRate = 33333;
constexpr j2534_ulong kHighRate = 83333;
const Bytes kEcu{0x00, 0x00, 0x02, 0x41};
const Bytes kAnswer{0x00, 0x00, 0x06, 0x41};
const Bytes kAllNodes{0x00, 0x00, 0x01, 0x01, 0xFE};

/// On either class: raw frames get their length byte, and the answer loses it.
struct SingleWire : ChannelsFixture, testing::WithParamInterface<j2534_ulong> {
  SingleWire() {
    id = Connect(GetParam(), 0, 0x0100, kNormalRate);
    if (IsRaw()) {
      EXPECT_EQ(
          StartFilter(id, PASS_FILTER, Message(GetParam(), {0}), Message(GetParam(), {0}), nullptr),
          long{STATUS_NOERROR});
      return;
    }
    for (const std::uint8_t low : Bytes{0x41, 0x42}) {
      PASSTHRU_MSG flow = Message(GetParam(), {0, 0, 2, low});
      EXPECT_EQ(StartFilter(id, FLOW_CONTROL_FILTER, Message(GetParam(), Bytes(4, 0xFF)),
                            Message(GetParam(), {0, 0, 6, low}), &flow),
                long{STATUS_NOERROR});
    }
  }
  bool IsRaw() const { return GetParam() == SW_CAN_PS; }
  PASSTHRU_MSG Framed(Bytes address, const Bytes& data, j2534_ulong txFlags = 0) const {
    if (IsRaw()) {
      address.push_back(static_cast<std::uint8_t>(data.size()));
    } else if (address.size() > 4) {
      txFlags |= ISO15765_ADDR_TYPE;
    }
    return Message(GetParam(), Join(address, data), txFlags);
  }
  long Write(const Bytes& address, const Bytes& data, j2534_ulong txFlags = 0) {
    return Send(id, {Framed(address, data, txFlags)});
  }
  /// The data of what comes from an ECU; nothing is to be said by the channel itself.
  std::vector<Bytes> Answers() {
    std::vector<Bytes> answers;
    while (const auto message = Next(id, 100)) {
      EXPECT_EQ(message->RxStatus & RX_SPD_CHG_EVENT, 0U);
      if ((message->RxStatus & (START_OF_MESSAGE | TX_DONE)) != 0) continue;
      answers.emplace_back(message->Data + (IsRaw() ? 5 : 4), message->Data + message->DataSize);
    }
    return answers;
  }
  std::vector<Bytes> Ask(const Bytes& data, const Bytes& address = kEcu) {
    EXPECT_EQ(Write(address, data), long{STATUS_NOERROR}) << LastError();
    return Answers();
  }
  j2534_ulong DataRate() {
    SCONFIG config{DATA_RATE, 0};
    SCONFIG_LIST list{1, &config};
    EXPECT_EQ(library.PassThruIoctl(id, GET_CONFIG, &list, nullptr), long{STATUS_NOERROR});
    return config.Value;
  }
  long Switch(j2534_ulong ioctl) { return library.PassThruIoctl(id, ioctl, nullptr, nullptr); }

  j2534_ulong id = 0;
};

INSTANTIATE_TEST_SUITE_P(Classes, SingleWire, testing::Values(SW_CAN_PS, SW_ISO15765_PS),
                         [](const auto& test) { return test.index == 0 ? "Raw" : "Iso15765"; });

TEST_P(SingleWire, HighVoltageWakesAnEcu) {
  const Bytes mirror{0x00, 0x00, 0x02, 0x42};
  EXPECT_THAT(Ask({0x3E, 0x00}, mirror), IsEmpty());
  EXPECT_EQ(Write({0x00, 0x00, 0x01, 0x00}, {0x01}, SW_CAN_HV_TX), long{STATUS_NOERROR})
      << LastError();
  EXPECT_THAT(Ask({0x3E, 0x00}, mirror), ElementsAre(Bytes{0x7E, 0x00}));
}

TEST_P(SingleWire, HighVoltageOfOthersIsToldBehindTheirMessage) {
  const Bytes bytes{0x00, 0x00, 0x06, 0x41, 0x01, 0x7E};
  EXPECT_EQ(vci.SendBytes(static_cast<UNUM32>(device), 1, 0, SW_CAN_HV_TX, bytes.data(),
                          static_cast<UNUM32>(bytes.size())),
            PDU_STATUS_NOERROR);
  const auto seen = See(id, 2);
  ASSERT_EQ(seen.size(), 2U);
  EXPECT_EQ(seen[0].first, 0U);
  EXPECT_EQ(seen[1].first, SW_CAN_HV_RX);
}

TEST_P(SingleWire, IoctlsSwitchTheSpeed) {
  EXPECT_THAT(Ask({0xA5, 0x03}, kAllNodes), IsEmpty()) << "the ECU is fast now, the channel isn't";
  EXPECT_EQ(Switch(SW_CAN_HS), long{STATUS_NOERROR}) << LastError();
  EXPECT_EQ(DataRate(), kHighRate);
  EXPECT_THAT(Ask({0x3E, 0x00}), ElementsAre(Bytes{0x7E, 0x00}));
  EXPECT_EQ(SetConfig(id, DATA_RATE, kNormalRate), long{ERR_FAILED});
  EXPECT_NE(LastError().find("Error changing DataRate druing SpeedChange process."),
            std::string::npos)
      << LastError();
  EXPECT_THAT(Ask({0x20}, kAllNodes), IsEmpty());
  EXPECT_EQ(Switch(SW_CAN_NS), long{STATUS_NOERROR}) << LastError();
  EXPECT_EQ(DataRate(), kNormalRate);
  EXPECT_THAT(Ask({0x3E, 0x00}), ElementsAre(Bytes{0x7E, 0x00}));
}

/// As a programming application does: it asks for high speed, downloads, and returns.
TEST_P(SingleWire, ReprogramsAtHighSpeed) {
  ASSERT_EQ(SetConfig(id, SW_CAN_RES_SWITCH, 2), long{STATUS_NOERROR}) << LastError();
  ASSERT_EQ(SetConfig(id, SW_CAN_SPEEDCHANGE_ENABLE, 1), long{STATUS_NOERROR}) << LastError();
  ASSERT_EQ(Ask({0x10, 0x02}).size(), 1U);
  const auto seed = Ask({0x27, 0x01});
  ASSERT_EQ(seed.size(), 1U);
  const Bytes& s = seed[0];
  ASSERT_EQ(s.size(), 6U);
  const Bytes key{0x27,
                  0x02,
                  static_cast<std::uint8_t>(s[2] ^ 0x5E),
                  static_cast<std::uint8_t>(s[3] ^ 0xC0),
                  static_cast<std::uint8_t>(s[4] ^ 0xDE),
                  static_cast<std::uint8_t>(s[5] ^ 0x55)};
  ASSERT_THAT(Ask(key), ElementsAre(Bytes{0x67, 0x02}));

  EXPECT_THAT(Ask({0xA5, 0x02}, kAllNodes), ElementsAre(Bytes{0xE5}));
  EXPECT_EQ(DataRate(), kNormalRate) << "only asked for";
  EXPECT_THAT(Ask({0xA5, 0x03}, kAllNodes), IsEmpty());
  EXPECT_EQ(DataRate(), kHighRate) << "the channel follows its link";
  EXPECT_THAT(Ask({0x3E, 0x00}), ElementsAre(Bytes{0x7E, 0x00}));
  // A raw frame has room for five bytes of a block.
  const std::uint8_t size = IsRaw() ? 5 : 200;
  EXPECT_THAT(Ask({0x34, 0x00, 0x11, 0x00, size}), ElementsAre(Bytes{0x74, 0x20, 0x0F, 0xFF}));
  Bytes block{0x36, 0x01};
  block.resize(2U + size, 0xA7);
  EXPECT_THAT(Ask(block), ElementsAre(Bytes{0x76, 0x01}));
  EXPECT_EQ(Ask({0x37}).size(), 1U);
  EXPECT_THAT(Ask({0x20}, kAllNodes), IsEmpty());
  EXPECT_EQ(DataRate(), kNormalRate);
  EXPECT_THAT(Ask({0x3E, 0x00}), ElementsAre(Bytes{0x7E, 0x00}));
  EXPECT_EQ(SetConfig(id, DATA_RATE, kNormalRate), long{STATUS_NOERROR}) << "the change is over";
}

TEST_P(SingleWire, SettingsBeforeThePinsWaitForThem) {
  ASSERT_EQ(library.PassThruDisconnect(id), long{STATUS_NOERROR});
  id = Connect(GetParam(), 0, 0, kNormalRate);
  EXPECT_EQ(Switch(SW_CAN_HS), long{ERR_PIN_INVALID});
  EXPECT_EQ(SetConfig(id, SW_CAN_HS_DATA_RATE, 50000), long{STATUS_NOERROR}) << LastError();
  EXPECT_EQ(SetConfig(id, J1962_PINS, 0x0100), long{STATUS_NOERROR}) << LastError();
  EXPECT_EQ(Switch(SW_CAN_HS), long{STATUS_NOERROR}) << LastError();
  EXPECT_EQ(DataRate(), 50000U);
  EXPECT_EQ(Switch(SW_CAN_NS), long{STATUS_NOERROR});
}

}  // namespace
}  // namespace passbridge::test
