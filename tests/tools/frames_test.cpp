#include <gtest/gtest.h>
#include <passbridge/j2534.h>

#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "frames/byte_message.h"
#include "frames/can_frame.h"
#include "frames/frame_log.h"
#include "frames/hex_text.h"
#include "frames/obd_addresses.h"
#include "frames/obd_item.h"
#include "frames/obd_message.h"

namespace passbridge::tool {
namespace {

TEST(CanFrameText, IsParsedAndFormatted) {
  struct Case {
    const char* text;
    CanFrame frame;
    const char* formatted;
  };
  const Case cases[] = {
      {"7E0#02010C", {{0x7E0, false}, {0x02, 0x01, 0x0C}}, "7E0#02010C"},
      {"001#", {{0x001, false}, {}}, "001#"},
      {"7ff#de.ad.BE.ef", {{0x7FF, false}, {0xDE, 0xAD, 0xBE, 0xEF}}, "7FF#DEADBEEF"},
      {"000007E0#01", {{0x7E0, true}, {0x01}}, "000007E0#01"},
      {"1FFFFFFF#0011223344556677",
       {{0x1FFFFFFF, true}, {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77}},
       "1FFFFFFF#0011223344556677"},
  };
  for (const Case& each : cases) {
    EXPECT_EQ(ParseCanFrame(each.text), each.frame) << each.text;
    EXPECT_EQ(FormatCanFrame(each.frame), each.formatted);
  }
}

TEST(CanFrameText, IsRefusedWithItsReason) {
  const struct {
    const char* text;
    const char* reason;
  } cases[] = {
      {"", "identifier, # and data"},
      {"7E0", "identifier, # and data"},
      {"#01", "3 hexadecimal digits"},
      {"7E#01", "3 hexadecimal digits"},
      {"07E0#01", "3 hexadecimal digits"},
      {"-7E#01", "3 hexadecimal digits"},
      {"0x7#01", "3 hexadecimal digits"},
      {"800#01", "at most 7FF"},
      {"20000000#01", "at most 1FFFFFFF"},
      {"7E0#1", "pairs"},
      {"7E0#0102.", "pairs"},
      {"7E0#.01", "pairs"},
      {"7E0#01 02", "pairs"},
      {"7E0#+1", "pairs"},
      {"7E0#001122334455667788", "at most 8 bytes"},
      {"7E0#R", "remote"},
      {"7E0##101", "FD"},
  };
  for (const auto& each : cases) {
    try {
      ParseCanFrame(each.text);
      ADD_FAILURE() << each.text << " was accepted";
    } catch (const std::invalid_argument& error) {
      EXPECT_NE(std::string(error.what()).find(each.reason), std::string::npos) << error.what();
    }
  }
}

TEST(CanFrameMessage, CarriesTheIdentifierMostSignificantByteFirst) {
  const Message message = ToMessage({{0x18DAF110, true}, {0xAB}}, CAN);
  EXPECT_EQ(message.protocolId, CAN);
  EXPECT_EQ(message.txFlags, CAN_29BIT_ID);
  EXPECT_EQ(message.data, (std::vector<std::uint8_t>{0x18, 0xDA, 0xF1, 0x10, 0xAB}));
  EXPECT_EQ(ToMessage({{0x7E0, false}, {}}, CAN).txFlags, 0u);
}

TEST(CanFrameMessage, OfOtherKindsIsNoFrame) {
  Message message = ToMessage({{0x7E8, false}, {0x01}}, CAN);
  EXPECT_EQ(ToCanFrame(message), (CanFrame{{0x7E8, false}, {0x01}}));
  message.rxStatus = TX_MSG_TYPE;
  EXPECT_TRUE(ToCanFrame(message)) << "an echo is a frame";
  for (const std::uint32_t indication :
       {TX_INDICATION, START_OF_MESSAGE, RX_BREAK, SW_CAN_HV_RX, RX_SPD_CHG_EVENT, FT_ERROR,
        J1939_ADDRESS_LOST, J1939_ADDRESS_CLAIMED}) {
    message.rxStatus = indication;
    EXPECT_FALSE(ToCanFrame(message)) << indication;
  }
  message.rxStatus = 0;
  message.data.resize(3);
  EXPECT_FALSE(ToCanFrame(message));
}

TEST(ByteMessage, IsParsedWithOrWithoutBlanks) {
  const std::vector<std::uint8_t> bytes{0x68, 0x6A, 0xF1, 0x0C};
  for (const char* text : {"686AF10C", "68 6a F1 0c", " 686A  F10C "}) {
    EXPECT_EQ(ParseBytes(text), bytes) << text;
  }
  const std::string longest = "00 01 02 03 04 05 06 07 08 09 0A 0B";
  EXPECT_EQ(FormatBytes(ParseBeginning(longest), " "), longest);
  EXPECT_THROW(ParseBeginning(longest + "0C"), std::invalid_argument) << "no filter compares it";
  for (const char* text : {"", " ", "6", "68 6", "6 86A", "0x68", "68.6A", "68+1", "7E0#01"}) {
    EXPECT_THROW(ParseBytes(text), std::invalid_argument) << text;
  }
}

TEST(FrameLog, HasTheColumnsOfCanTools) {
  EXPECT_EQ(FormatLogLine(12345678, "can0", "7E8#0341"), "(0000000012.345678) can0 7E8#0341");
}

TEST(TimestampExtender, GoesOnAcrossTheWrap) {
  TimestampExtender clock;
  EXPECT_EQ(clock.Extend(0xFFFFFF00u), 0xFFFFFF00u);
  EXPECT_EQ(clock.Extend(0x00000100u), 0x100000100u);
  EXPECT_EQ(clock.Extend(0xFFFFFFF0u), 0xFFFFFFF0u) << "a little earlier";
  EXPECT_EQ(clock.Extend(0x70000000u), 0x170000000u);
}

TEST(TimestampExtender, DoesNotGoBelowZero) {
  TimestampExtender clock;
  EXPECT_EQ(clock.Extend(5), 5u);
  EXPECT_EQ(clock.Extend(0xFFFFFFFEu), 0u);
  EXPECT_EQ(clock.Extend(7), 7u);
}

TEST(Obd, DecodesAnswers) {
  using Bytes = std::vector<std::uint8_t>;
  const struct {
    const char* name;
    Bytes answer;
    const char* text;
  } cases[] = {
      {"engine-speed", {0x41, 0x0C, 0x1A, 0xF8}, "1726"},
      {"engine-speed", {0x41, 0x0C, 0xFF, 0xFF}, "16384"},
      {"coolant", {0x41, 0x05, 0x00}, "-40"},
      {"short-trim-1", {0x41, 0x06, 0x00}, "-100.0"},
      {"long-trim-2", {0x41, 0x09, 0xFF}, "99.2"},
      {"fuel-pressure", {0x41, 0x0A, 0xFF}, "765"},
      {"throttle", {0x41, 0x11, 0xFF}, "100.0"},
      {"timing", {0x41, 0x0E, 0x00}, "-64.0"},
      {"mil-distance", {0x41, 0x21, 0x01, 0x00}, "256"},
      {"voltage", {0x41, 0x42, 0x36, 0xB0}, "14.00"},
      {"status", {0x41, 0x01, 0x83, 0x07, 0x61, 0x00}, "MIL on, 3 fault codes"},
      {"calibration", {0x49, 0x04, 0x02, 'A', 'B', 0, 0, 'C', 0}, "AB C"},
      {"vin", {0x49, 0x02, 0x01, 0, 0, 'V', '1'}, "V1"},
      {"speed", {0x7F, 0x01, 0x12}, "refused with code 12 (sub-function not supported)"},
      {"speed", {0x7F, 0x01, 0xEE}, "refused with code EE (unknown)"},
  };
  for (const auto& each : cases) {
    const auto reading = DecodeObdAnswer(each.answer, *FindObdItem(each.name));
    ASSERT_TRUE(reading) << each.name;
    EXPECT_EQ(reading->text, each.text) << each.name;
    EXPECT_EQ(reading->refused, each.answer[0] == 0x7F);
  }
  const auto faults = DecodeObdAnswer(
      Bytes{0x43, 4, 0x03, 0x01, 0x52, 0x34, 0x9A, 0xBC, 0xFF, 0xFF}, *FindObdItem("faults"));
  ASSERT_TRUE(faults);
  EXPECT_EQ(faults->faults, (std::vector<std::string>{"P0301", "C1234", "B1ABC", "U3FFF"}));
}

TEST(Obd, IgnoresWhatAnswersSomethingElse) {
  const struct {
    const char* name;
    std::vector<std::uint8_t> answer;
  } cases[] = {
      {"speed", {}},
      {"speed", {0x41}},
      {"speed", {0x41, 0x0D}},               // no value
      {"speed", {0x41, 0x0C, 0x32}},         // another value
      {"speed", {0x41, 0x0D, 0x32, 0x00}},   // another size
      {"speed", {0x42, 0x0D, 0x32}},         // another service
      {"speed", {0x7F, 0x09, 0x12}},         // a refusal of another service
      {"speed", {0x7F, 0x01, 0x78}},         // still to come
      {"faults", {0x43, 0x02, 0x03, 0x01}},  // fewer codes than it says
      {"faults", {0x47, 0x00}},
  };
  for (const auto& each : cases) {
    EXPECT_FALSE(DecodeObdAnswer(each.answer, *FindObdItem(each.name)))
        << each.name << " " << FormatBytes(each.answer);
  }
}

TEST(Obd, FindsSupportedPids) {
  const std::vector<std::uint8_t> answer = {0x41, 0x20, 0x80, 0x00, 0x00, 0x01};
  EXPECT_EQ(DecodeSupportedPids(answer, 0x20), (std::set<std::uint8_t>{0x21, 0x40}));
  EXPECT_FALSE(DecodeSupportedPids(answer, 0x00));
}

TEST(Obd, KnowsWhoAnswersWhom) {
  const auto all = EcusAt({0x7DF, false});
  ASSERT_EQ(all.size(), 8u);
  EXPECT_EQ(all[7].request, (CanId{0x7E7, false}));
  EXPECT_EQ(all[7].answer, (CanId{0x7EF, false}));
  ASSERT_EQ(EcusAt({0x7E3, false}).size(), 1u);
  EXPECT_EQ(EcusAt({0x7E3, false})[0].answer, (CanId{0x7EB, false}));
  EXPECT_EQ(EcusAt({0x18DA44F1, true})[0].answer, (CanId{0x18DAF144, true}));
  EXPECT_LE(EcusAt({0x18DB33F1, true}).size(), 10u) << "a channel holds ten filters";
  for (const CanId& wrong : {CanId{0x7E8, false}, CanId{0x123, false}, CanId{0x18DAF110, true}}) {
    EXPECT_THROW(EcusAt(wrong), std::invalid_argument);
  }
}

TEST(ObdMessage, IsFramedByItsStandard) {
  using Bytes = std::vector<std::uint8_t>;
  EXPECT_EQ(ObdRequestMessage(ObdHeader::Iso14230, Bytes{0x09, 0x02}),
            (Bytes{0xC2, 0x33, 0xF1, 0x09, 0x02}));
  EXPECT_EQ(ObdRequestMessage(ObdHeader::Iso9141, Bytes{0x03}), (Bytes{0x68, 0x6A, 0xF1, 0x03}));
  EXPECT_EQ(ObdRequestMessage(ObdHeader::J1850Vpw, Bytes{0x03}), (Bytes{0x68, 0x6A, 0xF1, 0x03}));
  EXPECT_EQ(ObdRequestMessage(ObdHeader::J1850Pwm, Bytes{0x03}), (Bytes{0x61, 0x6A, 0xF1, 0x03}));
  struct Case {
    ObdHeader header;
    Bytes message;
    std::optional<ObdAnswer> answer;
  };
  for (const Case& c :
       {Case{ObdHeader::Iso14230, {0x82, 0xF1, 0x10, 0x41, 0x0D}, ObdAnswer{0x10, {0x41, 0x0D}}},
        Case{ObdHeader::Iso14230,
             {0x80, 0xF1, 0x10, 0x02, 0x41, 0x0D},
             ObdAnswer{0x10, {0x41, 0x0D}}},
        Case{ObdHeader::Iso14230, {0xC2, 0x33, 0xF1, 0x01, 0x0D}, std::nullopt},
        Case{ObdHeader::Iso14230, {0x80, 0xF1, 0x10, 0x02}, std::nullopt},
        Case{ObdHeader::Iso9141, {0x48, 0x6B, 0x11, 0x44}, ObdAnswer{0x11, {0x44}}},
        Case{ObdHeader::Iso9141, {0x68, 0x6A, 0xF1, 0x03}, std::nullopt},
        Case{ObdHeader::Iso9141, {}, std::nullopt},
        Case{ObdHeader::J1850Vpw, {0x48, 0x6B, 0x10, 0x44}, ObdAnswer{0x10, {0x44}}},
        Case{ObdHeader::J1850Vpw, {0x41, 0x6B, 0x10, 0x44}, std::nullopt},
        Case{ObdHeader::J1850Pwm, {0x41, 0x6B, 0x10, 0x44}, ObdAnswer{0x10, {0x44}}},
        Case{ObdHeader::J1850Pwm, {0x41, 0x6B, 0x10}, std::nullopt},
        Case{ObdHeader::J1850Pwm, {0x41, 0x25, 0x10, 0x44}, std::nullopt}}) {
    EXPECT_EQ(ParseObdAnswer(c.header, c.message), c.answer) << FormatBytes(c.message);
  }
}

TEST(ObdMessage, AnswersInSeveralMessagesAreJoinedAsOnCan) {
  const std::vector<ObdAnswer> messages{{0x10, {0x43, 0x03, 0x01, 0x04, 0x20, 0x01, 0x13}},
                                        {0x11, {0x43, 0, 0, 0, 0, 0, 0}},
                                        {0x10, {0x43, 0xC1, 0x00, 0, 0, 0, 0}},
                                        {0x10, {0x49, 0x04, 1, 0, 0, 'A', 'B'}},
                                        {0x10, {0x49, 0x04, 2, 'C', 'D', 'E', 'F'}},
                                        {0x10, {0x49, 0x00, 1, 0x50, 0, 0, 0}},
                                        {0x10, {0x41, 0x0D, 0x20}},
                                        {0x10, {0x7F, 0x09, 0x12}},
                                        {0x11, {}}};
  EXPECT_EQ(
      JoinAnswers(messages),
      (std::vector<ObdAnswer>{{0x10, {0x43, 4, 0x03, 0x01, 0x04, 0x20, 0x01, 0x13, 0xC1, 0x00}},
                              {0x11, {0x43, 0}},
                              {0x10, {0x49, 0x04, 1, 'A', 'B', 'C', 'D', 'E', 'F'}},
                              {0x10, {0x49, 0x00, 0x50, 0, 0, 0}},
                              {0x10, {0x41, 0x0D, 0x20}},
                              {0x10, {0x7F, 0x09, 0x12}}}));
}

}  // namespace
}  // namespace passbridge::tool
