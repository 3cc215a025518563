#ifndef PASSBRIDGE_UNIT_CHANNEL_CHANNEL_FIXTURE_H_
#define PASSBRIDGE_UNIT_CHANNEL_CHANNEL_FIXTURE_H_

#include <cstdint>
#include <functional>
#include <future>
#include <string>
#include <utility>
#include <vector>

#include "channel/channel.h"
#include "support/pdu_fixture.h"

namespace passbridge::test {

/// An SBYTE_ARRAY of an application.
struct ByteArray {
  alignas(void*) std::uint32_t count;
  void* bytes;
};

PassThruMsg CanMessage(std::vector<std::uint8_t> bytes, std::uint32_t protocolId = CAN,
                       std::uint32_t txFlags = 0);

/// The D-PDU functions called, each run of one once; without those of the event thread.
std::vector<std::string> NamesOf(const std::vector<std::string>& calls);

/// In ms: no wait of the tests lasts so long.
inline constexpr std::uint32_t kLongTimeout = 20000;

/// A channel of any protocol that accepts messages of every size, or of those that the test says,
/// adjusts CoPs as the test says, and runs its periodic messages on its own link.
class TestChannel : public CJ2534Channel {
 public:
  Status AdjustCop(const AppMessage& msg, CopData& data, CopControl& control) override {
    return adjust ? adjust(msg, data, control) : Status{STATUS_NOERROR};
  }
  Status ValidateMessage(std::uint32_t dataSize, const std::uint8_t*, std::uint32_t) override {
    return ValidateDataSize(dataSize, minDataSize, maxDataSize);
  }
  Status PerformPostProcessing(CJ2534PassThruMsg* msg) override {
    return postProcess ? postProcess(msg) : CJ2534Channel::PerformPostProcessing(msg);
  }
  Status GetPduResourceBusTypeId(PDU_RSC_DATA*) override { return STATUS_NOERROR; }
  Status GetPduResourceProtocolId(PDU_RSC_DATA*) override { return STATUS_NOERROR; }
  Status SetProtocolConnectionComParameters() override { return STATUS_NOERROR; }

  std::uint32_t minDataSize = 0;
  std::uint32_t maxDataSize = kMaxMessageData;
  std::function<Status(const AppMessage&, CopData&, CopControl&)> adjust;
  std::function<Status(CJ2534PassThruMsg*)> postProcess;
};

/// A channel on a scripted D-PDU library, whose items must all be given back in the end.
class ChannelFixture : public PduFixture {
 protected:
  static constexpr UNUM32 kModule = 1;

  ~ChannelFixture() override;

  virtual OwnedChannel Make() { return OwnedChannel(new TestChannel); }
  TestChannel& TheTestChannel() { return static_cast<TestChannel&>(*channel); }
  /// Has the channel accept CAN frames only.
  void AcceptFramesOnly();

  Status Connect(std::uint32_t protocolId = CAN, std::uint32_t flags = 0,
                 std::uint32_t baudRate = 500000);
  void Drop();

  Status Write(std::vector<PassThruMsg> messages, std::uint32_t timeout, std::uint32_t* sent);
  Status Read(std::uint32_t count, std::uint32_t timeout);
  /// An ioctl without input and output.
  Status Ioctl(std::uint32_t ioctlId) { return channel->PassThruIoctl(ioctlId, {}, {}); }
  Status IoctlWith(std::uint32_t ioctlId, void* input) {
    return channel->PassThruIoctl(ioctlId, {input, FieldWidth::k32}, {});
  }
  Status IoctlWithBytes(std::uint32_t ioctlId, std::vector<std::uint8_t> bytes);
  Status StartPeriodic(std::uint32_t interval, std::uint32_t* id, std::uint32_t protocolId = CAN);
  /// A filter of one pattern of four bytes.
  Status StartFilter(std::uint32_t type, std::uint32_t* id, std::uint32_t protocolId = CAN);
  /// SET_CONFIG (or GET_CONFIG) of pairs of parameter and value.
  Status Configure(std::vector<std::pair<std::uint32_t, std::uint32_t>> entries,
                   std::uint32_t ioctl = SET_CONFIG);
  /// GET_CONFIG of one parameter; fails the test if it fails.
  std::uint32_t ConfigValue(std::uint32_t parameter);

  /// The pins that the channel asks for.
  std::vector<UNUM32> Pins();
  /// From now on ComPrimitives of the link end 20 ms after their start; the log tells when, as
  /// "update ended" of those that update ComParams.
  void EndComPrimitivesLate();

  void Deliver(const ResultSpec& given);
  /// The event thread has stored the message, and found nothing after it, when this returns.
  void DeliverAndLetTheThreadTakeIt(const ResultSpec& given);
  /// The location of the first cause of the failure that was recorded last.
  Location LastLocation() const { return record.LastLocation(); }

  OwnedChannel channel;
  std::vector<PassThruMsg> received;
  std::uint32_t numRead = 0;

 private:
  static constexpr UNUM32 kFirstLink = 0x100;

  void EndLate(const StartedCop& cop);

  /// What came after the event thread was stopped.
  void DropQueuedItems();
  void WaitForEmptyQueue(std::size_t calls);

  std::vector<std::future<void>> lateEnds_;
};

}  // namespace passbridge::test

#endif  // PASSBRIDGE_UNIT_CHANNEL_CHANNEL_FIXTURE_H_
