#include "virtual_vci/protocols/iso15765.h"

#include <algorithm>
#include <utility>

#include "virtual_vci/links/cop_engine.h"

namespace virtual_vci {

namespace {

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
  void TransmitFlowControl(const CanFrame& frame) override { owner_.TransmitAside(frame); }
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

Iso15765::Iso15765(const LinkContext& link, CanBus& bus)
    : CanProtocol(link, bus, ComParam::CP_As), sender_(link.scheduler, *this) {}

Iso15765::~Iso15765() = default;

Iso15765::Settings Iso15765::Read(const ComParamSet& params) {
  Settings settings;
  settings.startIndication = params.Number(ComParam::CP_StartMsgIndEnable) != 0;
  settings.mixedFormat = params.Number(ComParam::CP_CanMixedFormat);
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
  CanProtocol::ParamsChanged(params);
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

void Iso15765::GoOffline() {
  CanProtocol::GoOffline();
  for (const auto& conversation : conversations_) conversation->Reset();
}

T_PDU_ERROR Iso15765::Check(const Cop& cop) const {
  if (Has(cop.txFlags, kTxRawFrame) && settings_.mixedFormat == 0)
    return PDU_ERR_INVALID_PARAMETERS;
  return CanProtocol::Check(cop);
}

bool Iso15765::IsMessage(const Cop& cop, std::span<const UNUM8> bytes) const {
  if (Has(cop.txFlags, kTxRawFrame))
    return FrameOf(bytes, Has(cop.txFlags, kTx29BitId)).has_value();
  return DestinationOf(bytes, cop.txFlags).has_value();
}

CanProtocol::Form Iso15765::FormOf(const Cop& cop) const {
  if (raw_) return {.uniqueRespId = kRawFrameRespId};
  return {.header = kIdentifierBytes + (Has(cop.txFlags, kTxExtendedAddress) ? 1 : 0)};
}

void Iso15765::BeginSending(const Cop& cop) {
  sendSettings_ = cop.params ? Read(*cop.params) : settings_;
  raw_ = Has(cop.txFlags, kTxRawFrame);
}

void Iso15765::SendMessage(const Cop& cop, std::span<const UNUM8> bytes) {
  if (raw_) {
    TransmitFrame(*FrameOf(bytes, Has(cop.txFlags, kTx29BitId)));
    return;
  }
  const CanAddress to = *DestinationOf(bytes, cop.txFlags);
  const auto payload = bytes.subspan(kIdentifierBytes + (to.extension ? 1 : 0));
  const bool known = std::any_of(conversations_.begin(), conversations_.end(),
                                 [&](const auto& each) { return each->request == to; });
  if (!known && payload.size() > SingleFrameCapacity(to)) {
    SendEnded(IsoTpError::kNoConversation);
    return;
  }
  IsoTpSender::Config config = sendSettings_.sender;
  config.to = to;
  config.padding = sendSettings_.padding;
  sender_.Start(config, Bytes(payload.begin(), payload.end()));
}

void Iso15765::StopSending() {
  sender_.Cancel();
  CanProtocol::StopSending();
}

void Iso15765::FrameSent(bool acknowledged, FrameTimes times) {
  times_ = times;
  if (!raw_) {
    sender_.FrameSent(acknowledged);
  } else {
    SendEnded(acknowledged ? IsoTpError::kNone : IsoTpError::kTimeoutAs);
  }
}

void Iso15765::SendEnded(IsoTpError error) {
  if (error == IsoTpError::kNone) {
    MessageSent(times_);
  } else {
    MessageFailed(static_cast<UNUM32>(error));
  }
}

void Iso15765::Heard(const CanFrame& frame, FrameTimes times) {
  ended_.clear();
  times_ = times;
  Conversation* from = nullptr;
  for (const auto& conversation : conversations_) {
    if (HasAddress(frame, conversation->response)) from = conversation.get();
  }
  if (settings_.mixedFormat == 2 || (settings_.mixedFormat != 0 && from == nullptr))
    DeliverFrame(frame, times, {.uniqueRespId = kRawFrameRespId});
  if (from == nullptr) return;
  const auto bytes = frame.Bytes().subspan(from->response.extension ? 1 : 0);
  const bool flowControl = !bytes.empty() && bytes[0] >> 4 == 3;
  if (!flowControl) {
    from->Frame(frame);
  } else if (sender_.Busy() && sender_.To() == from->request) {
    sender_.FlowControl(bytes);
  }
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
  link_.events.Push(MakeResultItem(HeadOf(*receiver->cop, times_), info, {}));
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
  link_.events.Push(MakeResultItem(HeadOf(*receiver->cop, times_), info, bytes));
  if (!pending || !link_.cops.Pending(handle)) link_.cops.Received(handle);
}

void Iso15765::DeliverFailure(const Conversation& from, IsoTpError error) {
  const T_PDU_ERR_EVT code = error == IsoTpError::kTimeoutCr ? T_PDU_ERR_EVT{PDU_ERR_EVT_RX_TIMEOUT}
                                                             : T_PDU_ERR_EVT{PDU_ERR_EVT_RX_ERROR};
  link_.cops.ReceiveFailed(from.uniqueRespId, code, static_cast<UNUM32>(error));
}

}  // namespace virtual_vci
