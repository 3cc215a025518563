#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <thread>
#include <vector>

#include "library_fixture.h"

namespace passbridge::test {
namespace {

struct CanChannel : LibraryFixture {
  CanChannel() { OpenAndConnect(); }
  ~CanChannel() override { Close(); }
};

TEST_F(CanChannel, HearsTheBusAfterAFilterOnly) {
  std::vector<PASSTHRU_MSG> messages(1);
  EXPECT_EQ(Read(messages, 100), long{ERR_BUFFER_EMPTY}) << "no filter, no messages";
  EXPECT_EQ(messages.size(), 0U);
  EXPECT_NE(LastError().find("Protocol message buffer empty"), std::string::npos);

  StartPassFilter(0x100);
  messages.resize(20);
  ASSERT_EQ(Read(messages, 5000), long{STATUS_NOERROR}) << LastError();
  ASSERT_EQ(messages.size(), 20U);
  for (const PASSTHRU_MSG& message : messages) {
    EXPECT_EQ(message.ProtocolID, j2534_ulong{CAN});
    EXPECT_EQ(message.RxStatus, 0U);
    EXPECT_EQ(message.TxFlags, 0U);
    EXPECT_EQ(message.DataSize, 12U);
    EXPECT_EQ(message.ExtraDataIndex, 12U);
    EXPECT_EQ(IdentifierOf(message), 0x100U);
  }
  // A broadcast every 10 ms, with a counter in its last byte.
  for (std::size_t i = 1; i < messages.size(); ++i) {
    EXPECT_EQ(static_cast<std::uint8_t>(messages[i].Data[11] - messages[i - 1].Data[11]), 1);
    const auto gap = static_cast<std::uint32_t>(messages[i].Timestamp - messages[i - 1].Timestamp);
    EXPECT_NEAR(gap, 10000.0, 2000.0) << "by the interface's clock";
  }
}

TEST_F(CanChannel, AsksAnEcuAndGetsItsAnswer) {
  StartPassFilter(0x7E8);
  for (int round = 0; round < 3; ++round) {
    j2534_ulong sent = 0;
    ASSERT_EQ(Write({CanMessage(0x7E0, {2, 1, 0x0C, 0, 0, 0, 0, 0})}, 1000, &sent),
              long{STATUS_NOERROR})
        << LastError();
    EXPECT_EQ(sent, 1U);
    std::vector<PASSTHRU_MSG> answer(1);
    ASSERT_EQ(Read(answer, 2000), long{STATUS_NOERROR}) << LastError();
    EXPECT_EQ(IdentifierOf(answer[0]), 0x7E8U);
    const std::vector<std::uint8_t> data = DataOf(answer[0]);
    ASSERT_GE(data.size(), 5U);
    EXPECT_EQ(data[0], 4);
    EXPECT_EQ(data[1], 0x41);
    EXPECT_EQ(data[2], 0x0C);
    EXPECT_GT(data[3] * 256 + data[4], 0) << "the engine runs";
  }
}

TEST_F(CanChannel, SeveralMessagesGoInOneCall) {
  StartPassFilter(0x7E8, 0xFFFFFFF0);
  j2534_ulong sent = 0;
  ASSERT_EQ(Write({CanMessage(0x7E0, {2, 1, 0x0D, 0, 0, 0, 0, 0}),
                   CanMessage(0x7E1, {2, 1, 0x0D, 0, 0, 0, 0, 0}), CanMessage(0x6FF, {})},
                  1000, &sent),
            long{STATUS_NOERROR})
      << LastError();
  EXPECT_EQ(sent, 3U);
  std::vector<PASSTHRU_MSG> answers(2);
  ASSERT_EQ(Read(answers, 2000), long{STATUS_NOERROR}) << LastError();
  EXPECT_EQ(IdentifierOf(answers[0]), 0x7E8U) << "the quicker ECU first";
  EXPECT_EQ(IdentifierOf(answers[1]), 0x7E9U);
}

TEST_F(CanChannel, BlockFilterTakesFromWhatPasses) {
  StartPassFilter(0, 0);
  PASSTHRU_MSG mask = CanMessage(0xFFFFFFFF, {});
  PASSTHRU_MSG pattern = CanMessage(0x100, {});
  j2534_ulong filter = 0;
  ASSERT_EQ(
      library.PassThruStartMsgFilter(channel, BLOCK_FILTER, &mask, &pattern, nullptr, &filter),
      long{STATUS_NOERROR});
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  library.PassThruIoctl(channel, CLEAR_RX_BUFFER, nullptr, nullptr);
  std::vector<PASSTHRU_MSG> messages(10);
  ASSERT_EQ(Read(messages, 5000), long{STATUS_NOERROR});
  for (const PASSTHRU_MSG& message : messages) EXPECT_NE(IdentifierOf(message), 0x100U);

  EXPECT_EQ(library.PassThruStopMsgFilter(channel, filter), long{STATUS_NOERROR});
  EXPECT_EQ(library.PassThruStopMsgFilter(channel, filter), long{ERR_INVALID_FILTER_ID});
}

TEST_F(CanChannel, WrongMessagesAreRefusedAndNothingIsSent) {
  struct Case {
    PASSTHRU_MSG message;
    long status;
  };
  PASSTHRU_MSG tooShort = CanMessage(0x7E0, {});
  tooShort.DataSize = 3;
  PASSTHRU_MSG endless = CanMessage(0x7E0, {});
  endless.DataSize = static_cast<j2534_ulong>(-1);
  PASSTHRU_MSG otherProtocol = CanMessage(0x7E0, {});
  otherProtocol.ProtocolID = ISO15765;
  for (const Case& c : {Case{tooShort, ERR_INVALID_MSG}, Case{endless, ERR_INVALID_MSG},
                        Case{CanMessage(0x7E0, std::vector<std::uint8_t>(9)), ERR_INVALID_MSG},
                        Case{otherProtocol, ERR_MSG_PROTOCOL_ID}}) {
    j2534_ulong sent = 9;
    EXPECT_EQ(Write({c.message}, 0, &sent), c.status);
    EXPECT_EQ(sent, 0U);
  }
  j2534_ulong second = 0;
  EXPECT_EQ(library.PassThruConnect(device, CAN, 0, 500000, &second), long{ERR_CHANNEL_IN_USE});
  EXPECT_EQ(library.PassThruConnect(device, CAN_CH1, 0, 500000, &second), long{ERR_NOT_SUPPORTED});
  EXPECT_EQ(library.PassThruConnect(device, HONDA_DIAGH_PS, 0, 500000, &second),
            long{ERR_INVALID_PROTOCOL_ID});
  EXPECT_EQ(library.PassThruConnect(device + 1, CAN, 0, 500000, &second),
            long{ERR_INVALID_DEVICE_ID});
  EXPECT_EQ(LastError(), "(14080002:00000000) Device ID invalid");
  std::vector<PASSTHRU_MSG> none(1);
  j2534_ulong count = 1;
  EXPECT_EQ(library.PassThruReadMsgs(channel + 1, none.data(), &count, 0),
            long{ERR_INVALID_CHANNEL_ID});
}

TEST_F(CanChannel, WritesWhileAnotherThreadWaitsInARead) {
  StartPassFilter(0x7E8);
  std::vector<PASSTHRU_MSG> answer(1);
  long status = -1;
  std::thread reader([&] { status = Read(answer, 10000); });
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  j2534_ulong sent = 0;
  EXPECT_EQ(Write({CanMessage(0x7E0, {2, 1, 0, 0, 0, 0, 0, 0})}, 0, &sent), long{STATUS_NOERROR});
  reader.join();
  EXPECT_EQ(status, long{STATUS_NOERROR});
}

}  // namespace
}  // namespace passbridge::test
