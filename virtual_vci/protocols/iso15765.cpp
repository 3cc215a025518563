#include "virtual_vci/protocols/iso15765.h"

#include <algorithm>
#include <utility>

#include "virtual_vci/links/cop_engine.h"
#include "virtual_vci/protocols/raw_can.h"

namespace virtual_vci {

namespace {

constexpr std::uint64_t kFlowControlToken = 0;

// Bits of a CAN format ComParam.
constexpr UNUM32 kFormat29Bit = 0x02;
constexpr UNUM32 kFormatExtended = 0x08;
constexpr UNUM32 kFormatPadded = 0x30;

constexpr UNUM32 kNoOverride = 0xFFFF;

CanAddress AddressOf(const UniqueRespEntry& entry, ComParam id, ComParam format,
                     ComParam extension) {
  const UNUM32 bits = entry.Number(format, 0);
  CanAddress address{entry.Number(id, 0), (bits & kFormat29Bit) != 0, std::nullopt};
  if ((bits & kFormatExtended) != 0)
    address.extension = static_cast<std::uint8_t>(entry.Number(extension, 0));
  return address;
}

bool ComesFrom(const CanFrame& frame, const CanAddress& address) {
  return frame.id == address.id && frame.extended == address.extended &&
         (!address.extension || (frame.size > 0 && frame.data[0] == *address.extension));
}

Bytes HeaderOf(const CanAddress& address) {
  Bytes bytes;
  for (int shift = 24; shift >= 0; shift -= 8)
    bytes.push_back(static_cast<std::uint8_t>(address.id >> shift));
  if (address.extension) bytes.push_back(*address.extension);
  return bytes;
}

FlagBytes FlagsOf(const CanAddress& address) {
  FlagBytes flags{};
  if (address.extended) Put(flags, kRx29BitId);
  if (address.extension) Put(flags, kRxExtendedAddress);
  return flags;
}

/// Where a message of a ComPrimitive goes; none if its bytes are no message.
std::optional<CanAddress> DestinationOf(std::span<const UNUM8> message, const FlagBytes& flags) {
  const bool extended = Has(flags, kTx29BitId);
  const std::size_t header = kIdentifierBytes + (Has(flags, kTxExtendedAddress) ? 1 : 0);
  if (message.size() <= header || message.size() > header + kMaxIsoTpMessage) return std::nullopt;
  const auto frame = FrameOf(message.first(kIdentifierBytes), extended);
  if (!frame) return std::nullopt;
  CanAddress address{frame->id, extended, std::nullopt};
  if (Has(flags, kTxExtendedAddress)) address.extension = message[kIdentifierBytes];
  return address;
}

}  // namespace

/// One row of the table, with the message that is coming in.
class Iso15765::Conversation : private IsoTpReceiver::Host {
 public:
  Conversation(Iso15765& owner, const UniqueRespEntry& entry)
      : uniqueRespId(entry.uniqueRespId),
        request(AddressOf(entry, ComParam::CP_CanPhysReqId, ComParam::CP_CanPhysReqFormat,
                          ComParam::CP_CanPhysReqExtAddr)),
        response(AddressOf(entry, ComParam::CP_CanRespUSDTId, ComParam::CP_CanRespUSDTFormat,
                           ComParam::CP_CanRespUSDTExtAddr)),
        padded((entry.Number(ComParam::CP_CanRespUSDTFormat, 0) & kFormatPadded) != 0),
        owner_(owner),
        receiver_(owner.link_.scheduler, *this) {}

  void Configure(const Settings& settings) {
    IsoTpReceiver::Config config = settings.receiver;
    config.flowControlTo = request;
    if (padded && !config.padding) config.padding = std::uint8_t{0};
    receiver_.Configure(config);
  }
  void Frame(const CanFrame& frame) {
    const auto bytes = frame.Bytes().subspan(response.extension ? 1 : 0);
    paddingError = padded && frame.size < 8;
    receiver_.Frame(bytes);
  }
  void Reset() { receiver_.Reset(); }

  const UNUM32 uniqueRespId;
  const CanAddress request;
  const CanAddress response;
  const bool padded;
  bool paddingError = false;
  UNUM32 startTimestamp = 0;  ///< of the first frame

 private:
  void TransmitFlowControl(const CanFrame& frame) override { owner_.SendFlowControl(frame); }
  void ReceiveStarted(std::size_t) override {
    startTimestamp = static_cast<UNUM32>(owner_.times_.start);
    segmented_ = true;
    owner_.IndicateStart(*this);
  }
  void ReceiveEnded(IsoTpError error, Bytes message) override {
    if (!std::exchange(segmented_, false))
      startTimestamp = static_cast<UNUM32>(owner_.times_.start);
    if (error == IsoTpError::kNone) {
      owner_.Deliver(*this, message);
    } else {
      owner_.DeliverFailure(*this, error);
    }
  }

  Iso15765& owner_;
  IsoTpReceiver receiver_;
  bool segmented_ = false;
};

Iso15765::Iso15765(const LinkContext& link) : link_(link), sender_(link.scheduler, *this) {}

Iso15765::~Iso15765() { GoOffline(); }

Iso15765::Settings Iso15765::Read(const ComParamSet& params) {
  Settings settings;
  settings.bitRate = params.Number(ComParam::CP_Baudrate);
  settings.loopback = params.Number(ComParam::CP_Loopback) != 0;
  settings.transmitIndication = params.Number(ComParam::CP_TransmitIndEnable) != 0;
  settings.startIndication = params.Number(ComParam::CP_StartMsgIndEnable) != 0;
  settings.mixedFormat = params.Number(ComParam::CP_CanMixedFormat);
  settings.as = params.Number(ComParam::CP_As);
  if (params.Number(ComParam::CP_CanFillerByteHandling) != 0) {
    settings.padding = static_cast<std::uint8_t>(params.Number(ComParam::CP_CanFillerByte));
  }
  const auto firstSequence =
      static_cast<std::uint8_t>(params.Number(ComParam::CP_CanFirstConsecutiveFrameValue));
  settings.sender.bs = params.Number(ComParam::CP_Bs);
  settings.sender.cs = params.Number(ComParam::CP_Cs);
  settings.sender.maxWaits = params.Number(ComParam::CP_CanMaxNumWaitFrames);
  settings.sender.firstSequence = firstSequence;
  if (const UNUM32 block = params.Number(ComParam::CP_BlockSizeOverride); block != kNoOverride) {
    settings.sender.blockSize = static_cast<std::uint8_t>(block);
  }
  if (const UNUM32 time = params.Number(ComParam::CP_StMinOverride); time != kNoOverride)
    settings.sender.separationTime = time;
  settings.receiver.padding = settings.padding;
  settings.receiver.blockSize = static_cast<std::uint8_t>(params.Number(ComParam::CP_BlockSize));
  settings.receiver.stMin = static_cast<std::uint8_t>(params.Number(ComParam::CP_StMin));
  settings.receiver.br = params.Number(ComParam::CP_Br);
  settings.receiver.cr = params.Number(ComParam::CP_Cr);
  settings.receiver.firstSequence = firstSequence;
  return settings;
}

void Iso15765::ParamsChanged(const ComParamSet& params) {
  settings_ = Read(params);
  Rebuild();
}

void Iso15765::Rebuild() {
  const auto& entries = link_.responses.Entries();
  const bool same = std::equal(entries.begin(), entries.end(), entries_.begin(), entries_.end(),
                               [](const UniqueRespEntry& one, const UniqueRespEntry& other) {
    return one.uniqueRespId == other.uniqueRespId && one.params == other.params;
  });
  if (!same) {
    entries_ = entries;
    // This may run while one of them delivers: they are destroyed when the next frame comes.
    for (auto& conversation : conversations_) {
      conversation->Reset();
      ended_.push_back(std::move(conversation));
    }
    conversations_.clear();
    for (const UniqueRespEntry& entry : entries_) {
      conversations_.push_back(std::make_unique<Conversation>(*this, entry));
    }
  }
  for (const auto& conversation : conversations_) conversation->Configure(settings_);
}

void Iso15765::GoOnline(CanBus& bus, const ComParamSet& params) {
  ParamsChanged(params);
  bus_ = &bus;
  bus_->Attach(*this);
}

void Iso15765::GoOffline() {
  StopSending();
  for (const auto& conversation : conversations_) conversation->Reset();
  if (bus_ != nullptr) bus_->Detach(*this);
  bus_ = nullptr;
}

T_PDU_ERROR Iso15765::Check(const Cop& cop) const {
  const bool raw = Has(cop.txFlags, kTxRawFrame);
  if (raw && settings_.mixedFormat == 0) return PDU_ERR_INVALID_PARAMETERS;
  const auto messages = MessagesOf(cop);
  const bool good =
      !messages.empty() && std::all_of(messages.begin(), messages.end(), [&](const auto& message) {
        if (raw) return FrameOf(message, Has(cop.txFlags, kTx29BitId)).has_value();
        return DestinationOf(message, cop.txFlags).has_value();
      });
  return good ? PDU_STATUS_NOERROR : PDU_ERR_INVALID_PARAMETERS;
}

void Iso15765::Send(const Cop& cop) {
  sending_ = cop.handle;
  sendSettings_ = cop.params ? Read(*cop.params) : settings_;
  raw_ = Has(cop.txFlags, kTxRawFrame);
  messages_.clear();
  next_ = 0;
  for (const auto& message : MessagesOf(cop))
    messages_.emplace_back(message.begin(), message.end());
  SendNext();
}

void Iso15765::SendNext() {
  const Cop* cop = link_.cops.Find(sending_);
  if (cop == nullptr) return;
  const Bytes& message = messages_[next_];
  if (raw_) {
    const auto frame = FrameOf(message, Has(cop->txFlags, kTx29BitId));
    bus_->Send(*this, *frame, ++token_, sendSettings_.as);
    return;
  }
  const CanAddress to = *DestinationOf(message, cop->txFlags);
  const auto payload = message.begin() + kIdentifierBytes + (to.extension ? 1 : 0);
  const bool known = std::any_of(conversations_.begin(), conversations_.end(),
                                 [&](const auto& each) { return each->request == to; });
  if (!known && static_cast<std::size_t>(message.end() - payload) > SingleFrameCapacity(to)) {
    SendFailed(IsoTpError::kNoConversation);
    return;
  }
  IsoTpSender::Config config = sendSettings_.sender;
  config.to = to;
  config.padding = sendSettings_.padding;
  sender_.Start(config, Bytes(payload, message.end()));
}

void Iso15765::Transmit(const CanFrame& frame) {
  bus_->Send(*this, frame, ++token_, sendSettings_.as);
}

void Iso15765::StopSending() {
  sender_.Cancel();
  if (bus_ != nullptr && sending_ != PDU_HANDLE_UNDEF) bus_->Cancel(*this, token_);
  sending_ = PDU_HANDLE_UNDEF;
}

void Iso15765::Sent(std::uint64_t token, const CanFrame&, bool acknowledged, FrameTimes times) {
  if (token == kFlowControlToken || token != token_ || sending_ == PDU_HANDLE_UNDEF) return;
  times_ = times;
  if (!raw_) {
    sender_.FrameSent(acknowledged);
  } else if (acknowledged) {
    MessageSent();
  } else {
    SendFailed(IsoTpError::kTimeoutAs);
  }
}

void Iso15765::SendEnded(IsoTpError error) {
  if (error == IsoTpError::kNone) {
    MessageSent();
  } else {
    SendFailed(error);
  }
}

void Iso15765::SendFailed(IsoTpError error) {
  const UNUM32 handle = std::exchange(sending_, PDU_HANDLE_UNDEF);
  link_.cops.SendFailed(handle, PDU_ERR_EVT_TX_ERROR, static_cast<UNUM32>(error));
}

EventHead Iso15765::HeadFor(const Cop& cop) const {
  EventHead head = link_.cops.HeadOf(cop);
  head.timestamp = static_cast<UNUM32>(times_.end);
  return head;
}

void Iso15765::MessageSent() {
  const Cop* cop = link_.cops.Find(sending_);
  if (cop == nullptr) return;
  const Bytes& message = messages_[next_];
  const bool extended = Has(cop->txFlags, kTxExtendedAddress) && !raw_;
  ResultInfo info;
  info.startTimestamp = static_cast<UNUM32>(times_.start);
  if (raw_) info.uniqueRespId = kRawFrameRespId;
  if (Has(cop->txFlags, kTx29BitId)) Put(info.rxFlags, kRx29BitId);
  if (extended) Put(info.rxFlags, kRxExtendedAddress);
  if (sendSettings_.transmitIndication) {
    ResultInfo done = info;
    Put(done.rxFlags, kRxTxDone);
    done.header = std::span(message).first(kIdentifierBytes + (extended ? 1 : 0));
    done.txDoneTimestamp = static_cast<UNUM32>(times_.end);
    link_.events.Push(MakeResultItem(HeadFor(*cop), done, {}));
  }
  if (sendSettings_.loopback) {
    Put(info.rxFlags, kRxLoopback);
    link_.events.Push(MakeResultItem(HeadFor(*cop), info, message));
  }
  if (++next_ < messages_.size()) {
    SendNext();
  } else {
    link_.cops.SendDone(std::exchange(sending_, PDU_HANDLE_UNDEF));
  }
}

void Iso15765::SendFlowControl(const CanFrame& frame) {
  bus_->Send(*this, frame, kFlowControlToken, settings_.as);
}

void Iso15765::Heard(const CanFrame& frame, FrameTimes times) {
  ended_.clear();
  times_ = times;
  Conversation* from = nullptr;
  for (const auto& conversation : conversations_) {
    if (ComesFrom(frame, conversation->response)) from = conversation.get();
  }
  if (settings_.mixedFormat == 2 || (settings_.mixedFormat != 0 && from == nullptr))
    HeardRaw(frame, times);
  if (from == nullptr) return;
  const auto bytes = frame.Bytes().subspan(from->response.extension ? 1 : 0);
  const bool flowControl = !bytes.empty() && bytes[0] >> 4 == 3;
  if (!flowControl) {
    from->Frame(frame);
  } else if (sender_.Busy() && sender_.To() == from->request) {
    sender_.FlowControl(bytes);
  }
}

void Iso15765::HeardRaw(const CanFrame& frame, FrameTimes times) {
  const FrameBytes bytes(frame);
  if (!link_.filters.Passes(bytes.All(), link_.passWithoutFilter)) return;
  const auto receiver = link_.cops.ReceiverOf(bytes.All(), kRawFrameRespId);
  if (!receiver) return;
  ResultInfo info;
  if (frame.extended) Put(info.rxFlags, kRx29BitId);
  info.uniqueRespId = kRawFrameRespId;
  info.acceptanceId = receiver->acceptanceId;
  info.startTimestamp = static_cast<UNUM32>(times.start);
  const UNUM32 handle = receiver->cop->handle;
  link_.events.Push(MakeResultItem(HeadFor(*receiver->cop), info, bytes.All()));
  link_.cops.Received(handle);
}

void Iso15765::IndicateStart(const Conversation& from) {
  const auto receiver = link_.cops.ReceiverOf({}, from.uniqueRespId);
  if (!receiver) return;
  link_.cops.HoldTimeout(from.uniqueRespId);
  if (!settings_.startIndication) return;
  const Bytes header = HeaderOf(from.response);
  ResultInfo info;
  info.rxFlags = FlagsOf(from.response);
  Put(info.rxFlags, kRxStartOfMessage);
  info.uniqueRespId = from.uniqueRespId;
  info.acceptanceId = receiver->acceptanceId;
  info.startTimestamp = static_cast<UNUM32>(times_.start);
  info.header = header;
  link_.events.Push(MakeResultItem(HeadFor(*receiver->cop), info, {}));
}

void Iso15765::Deliver(const Conversation& from, const Bytes& message) {
  Bytes bytes = HeaderOf(from.response);
  bytes.insert(bytes.end(), message.begin(), message.end());
  const auto receiver = link_.cops.ReceiverOf(bytes, from.uniqueRespId);
  if (!receiver) return;
  ResultInfo info;
  info.rxFlags = FlagsOf(from.response);
  if (from.paddingError) Put(info.rxFlags, kRxPaddingError);
  info.uniqueRespId = from.uniqueRespId;
  info.acceptanceId = receiver->acceptanceId;
  info.startTimestamp = from.startTimestamp;
  const UNUM32 handle = receiver->cop->handle;
  const bool pending = message.size() == 3 && message[0] == 0x7F && message[2] == 0x78;
  link_.events.Push(MakeResultItem(HeadFor(*receiver->cop), info, bytes));
  if (!pending || !link_.cops.Pending(handle)) link_.cops.Received(handle);
}

void Iso15765::DeliverFailure(const Conversation& from, IsoTpError error) {
  const T_PDU_ERR_EVT code = error == IsoTpError::kTimeoutCr ? T_PDU_ERR_EVT{PDU_ERR_EVT_RX_TIMEOUT}
                                                             : T_PDU_ERR_EVT{PDU_ERR_EVT_RX_ERROR};
  link_.cops.ReceiveFailed(from.uniqueRespId, code, static_cast<UNUM32>(error));
}

}  // namespace virtual_vci
