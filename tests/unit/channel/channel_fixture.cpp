#include "channel_fixture.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <thread>

namespace passbridge::test {

PassThruMsg CanMessage(std::vector<std::uint8_t> bytes, std::uint32_t protocolId,
                       std::uint32_t txFlags) {
  PassThruMsg message;
  message.protocolId = protocolId;
  message.txFlags = txFlags;
  message.dataSize = static_cast<std::uint32_t>(bytes.size());
  std::copy(bytes.begin(), bytes.end(), message.data.begin());
  return message;
}

std::vector<std::string> NamesOf(const std::vector<std::string>& calls) {
  std::vector<std::string> names;
  for (const std::string& call : calls) {
    const std::string name = call.substr(0, call.find('('));
    if (name == "PDUGetEventItem" || name == "PDUDestroyItem") continue;  // the event thread's
    if (names.empty() || names.back() != name) names.push_back(name);
  }
  return names;
}

ChannelFixture::~ChannelFixture() {
  lateEnds_.clear();  // waits for them
  Drop();
  DropQueuedItems();
}

void ChannelFixture::AcceptFramesOnly() {
  TheTestChannel().minDataSize = 4;
  TheTestChannel().maxDataSize = 12;
}

Status ChannelFixture::Connect(std::uint32_t protocolId, std::uint32_t flags,
                               std::uint32_t baudRate) {
  Drop();
  channel = Make();
  const Status status = channel->Initialize(kModule, protocolId, flags, baudRate);
  return status != STATUS_NOERROR ? status : channel->PassThruConnect(protocolId, flags, baudRate);
}

void ChannelFixture::Drop() {
  if (channel != nullptr) channel->PassThruDisconnect();
  channel.reset();
}

Status ChannelFixture::Write(std::vector<PassThruMsg> messages, std::uint32_t timeout,
                             std::uint32_t* sent) {
  *sent = static_cast<std::uint32_t>(messages.size());
  return channel->PassThruWriteMsgs(AppMessage(messages.front()), AppValue(*sent), timeout);
}

Status ChannelFixture::Read(std::uint32_t count, std::uint32_t timeout) {
  received.assign(count, {});
  numRead = count;
  return channel->PassThruReadMsgs(AppMessage(received.front()), AppValue(numRead), timeout);
}

Status ChannelFixture::StartPeriodic(std::uint32_t interval, std::uint32_t* id,
                                     std::uint32_t protocolId) {
  PassThruMsg message = CanMessage({0, 0, 7, 0xE0, 0x3E}, protocolId);
  return channel->PassThruStartPeriodicMsg(AppMessage(message), AppValue(*id), interval);
}

Status ChannelFixture::StartFilter(std::uint32_t type, std::uint32_t* id,
                                   std::uint32_t protocolId) {
  PassThruMsg mask = CanMessage({0xFF, 0xFF, 0xFF, 0xFF}, protocolId);
  PassThruMsg pattern = CanMessage({0, 0, 7, 0xE8}, protocolId);
  return channel->PassThruStartMsgFilter(type, AppMessage(mask), AppMessage(pattern), {},
                                         AppValue(*id));
}

Status ChannelFixture::Configure(std::vector<std::pair<std::uint32_t, std::uint32_t>> entries,
                                 std::uint32_t ioctl) {
  entries.reserve(1);  // no entries are not a null pointer
  struct {
    alignas(void*) std::uint32_t count;
    void* entries;
  } list{static_cast<std::uint32_t>(entries.size()), entries.data()};
  return channel->PassThruIoctl(ioctl, {&list, FieldWidth::k32}, {});
}

std::uint32_t ChannelFixture::ConfigValue(std::uint32_t parameter) {
  std::array<std::uint32_t, 2> entry{parameter, 0xDEADBEEF};
  struct {
    alignas(void*) std::uint32_t count = 1;
    void* entries = nullptr;
  } list;
  list.entries = entry.data();
  EXPECT_EQ(channel->PassThruIoctl(GET_CONFIG, {&list, FieldWidth::k32}, {}), STATUS_NOERROR);
  return entry[1];
}

Status ChannelFixture::IoctlWithBytes(std::uint32_t ioctlId, std::vector<std::uint8_t> bytes) {
  ByteArray array{static_cast<std::uint32_t>(bytes.size()), bytes.data()};
  return IoctlWith(ioctlId, &array);
}

std::vector<UNUM32> ChannelFixture::Pins() {
  std::vector<PDU_PIN_DATA> pins;
  EXPECT_EQ(channel->GetPduPinData(pins), STATUS_NOERROR);
  std::vector<UNUM32> numbers;
  for (const PDU_PIN_DATA& pin : pins) {
    EXPECT_EQ(pin.DLCPinTypeId, 0U);
    numbers.push_back(pin.DLCPinNumber);
  }
  return numbers;
}

void ChannelFixture::EndComPrimitivesLate() {
  pdu.FinishComPrimitives(false);
  pdu.PDUStartComPrimitive.Does([this](auto... args) {
    const T_PDU_ERROR result = pdu.PDUStartComPrimitive.BuiltIn(args...);
    const StartedCop cop = pdu.StartedCops().back();
    lateEnds_.push_back(std::async(std::launch::async, [this, cop] { EndLate(cop); }));
    return result;
  });
}

void ChannelFixture::EndLate(const StartedCop& cop) {
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  if (cop.type == PDU_COPT_UPDATEPARAM) pdu.Calls().Add("update ended");
  pdu.Deliver(cop.hMod, cop.hCLL, pdu.Items().MakeStatus(PDU_COPST_FINISHED, cop.hCoP));
}

void ChannelFixture::DropQueuedItems() {
  for (UNUM32 link = kFirstLink; link <= pdu.LastLink(); ++link) {
    PDU_EVENT_ITEM* item = nullptr;
    while (pdu::Api().PDUGetEventItem(kModule, link, &item) == PDU_STATUS_NOERROR) {
      pdu::DestroyItem(item);
    }
  }
}

void ChannelFixture::Deliver(const ResultSpec& given) {
  pdu.Deliver(kModule, pdu.LastLink(), pdu.Items().MakeResult(given));
}

void ChannelFixture::DeliverAndLetTheThreadTakeIt(const ResultSpec& given) {
  WaitForEmptyQueue(0);
  const std::size_t before = pdu.Calls().Count("PDUGetEventItem");
  Deliver(given);
  WaitForEmptyQueue(before + 2);
}

void ChannelFixture::WaitForEmptyQueue(std::size_t calls) {
  std::size_t last = 0;
  for (std::size_t now = 1; now != last || now < calls;) {
    last = now;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    now = pdu.Calls().Count("PDUGetEventItem");
  }
}

}  // namespace passbridge::test
