#include "virtual_vci/protocols/iso15765.h"

#include <algorithm>
#include <utility>

#include "virtual_vci/links/cop_engine.h"
#include "virtual_vci/protocols/can_addressing.h"

namespace virtual_vci {

namespace {

constexpr UNUM32 kNoOverride = 0xFFFF;

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
        request(RequestAddressOf(entry)),
        response(ResponseAddressOf(entry)),
        padded((entry.Number(ComParam::CP_CanRespUSDTFormat, 0) & kFormatPadded) != 0),
        owner_(owner),
        receiver_(owner.link_.scheduler, *this) {}

  void Configure(const Settings& settings) {
    IsoTpReceiver::Config config = settings.receiver;
    config.flowControlTo = request;
    if (padded && !config.padding) config.padding = std::uint8_t{0};
    config.room = FrameRoom(response);
    receiver_.Configure(config);
  }
  void Frame(const CanFrame& frame) {
    const auto bytes = frame.Bytes().subspan(response.extension ? 1 : 0);
    paddingError = padded && frame.size < 8;
    receiver_.Frame(bytes);
  }
  void FlowControlFailed() { receiver_.FlowControlFailed(); }
  void Reset() {
    receiver_.Reset();
    Release();
  }

  const UNUM32 uniqueRespId;
  const CanAddress request;
  const CanAddress response;
  const bool padded;
  bool paddingError = false;
  UNUM32 startTimestamp = 0;  ///< of the first frame

 private:
  void TransmitFlowControl(const CanFrame& frame) override {
    owner_.TransmitAside(frame, owner_.settings_.ar);
  }
  void ReceiveStarted(std::size_t) override {
    startTimestamp = static_cast<UNUM32>(owner_.times_.start);
    segmented_ = true;
    const Bytes header = HeaderOf(response);
    held_ = owner_.link_.cops.HoldTimeout(owner_.Known(header), uniqueRespId);
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
    Release();
  }
  void Release() { owner_.link_.cops.ReleaseTimeout(std::exchange(held_, PDU_HANDLE_UNDEF)); }

  Iso15765& owner_;
  IsoTpReceiver receiver_;
  bool segmented_ = false;
  UNUM32 held_ = PDU_HANDLE_UNDEF;  ///< who waits until the message is in
};

Iso15765::Iso15765(const LinkContext& link, CanBus& bus)
    : CanProtocol(link, bus, ComParam::CP_As), sender_(link.scheduler, *this) {}

Iso15765::~Iso15765() = default;

Iso15765::Settings Iso15765::Read(const ComParamSet& params) {
  Settings settings;
  settings.startIndication = params.Number(ComParam::CP_StartMsgIndEnable) != 0;
  settings.mixedFormat = params.Number(ComParam::CP_CanMixedFormat);
  settings.padding = FillerOf(params);
  settings.ar = params.Number(ComParam::CP_Ar);
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

bool Iso15765::IsMessage(const FlagBytes& flags, std::span<const UNUM8> bytes) const {
  if (Has(flags, kTxRawFrame)) return FrameOf(bytes, Has(flags, kTx29BitId)).has_value();
  return DestinationOf(bytes, flags).has_value();
}

CanProtocol::Form Iso15765::FormOf(const FlagBytes& flags) const {
  if (raw_) return {.uniqueRespId = kRawFrameRespId};
  return {.header = kIdentifierBytes + (Has(flags, kTxExtendedAddress) ? 1 : 0)};
}

void Iso15765::BeginSending(const FlagBytes& flags, const ComParamSet& params) {
  sendSettings_ = Read(params);
  raw_ = Has(flags, kTxRawFrame);
}

void Iso15765::SendMessage(const FlagBytes& flags, std::span<const UNUM8> bytes) {
  if (raw_) {
    TransmitFrame(*FrameOf(bytes, Has(flags, kTx29BitId)));
    return;
  }
  const CanAddress to = *DestinationOf(bytes, flags);
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

void Iso15765::FrameAsideLost(const CanFrame& frame) {
  for (const auto& conversation : conversations_) {
    if (HasAddress(frame, conversation->request)) conversation->FlowControlFailed();
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
  highVoltage_ = frame.highVoltage;
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
  if (!settings_.startIndication) return;
  const Bytes header = HeaderOf(from.response);
  const auto receiver = link_.cops.ReceiverFrom(Known(header), from.uniqueRespId);
  if (!receiver) return;
  ResultInfo info;
  info.rxFlags = RxFlagsOf(from.response);
  Put(info.rxFlags, kRxStartOfMessage);
  info.uniqueRespId = from.uniqueRespId;
  info.acceptanceId = receiver->acceptanceId;
  info.startTimestamp = static_cast<UNUM32>(times_.start);
  info.header = header;
  link_.events.Push(MakeResultItem(HeadOf(*receiver->cop, times_), info, {}));
}

void Iso15765::Deliver(const Conversation& from, const Bytes& message) {
  Bytes bytes = HeaderOf(from.response);
  const Form form{.header = bytes.size(), .uniqueRespId = from.uniqueRespId};
  bytes.insert(bytes.end(), message.begin(), message.end());
  const auto receiver = link_.cops.ReceiverOf(Visible(bytes, form), from.uniqueRespId);
  if (!receiver) return;
  ResultInfo info;
  info.rxFlags = RxFlagsOf(from.response);
  if (from.paddingError) Put(info.rxFlags, kRxPaddingError);
  if (highVoltage_) Put(info.rxFlags, kRxHighVoltage);
  info.startTimestamp = from.startTimestamp;
  const UNUM32 handle = receiver->cop->handle;
  const bool pending = message.size() == 3 && message[0] == 0x7F && message[2] == 0x78;
  Deliver(*receiver, info, times_, bytes, form);
  if (!pending || !link_.cops.Pending(handle)) link_.cops.Received(handle);
}

void Iso15765::DeliverFailure(const Conversation& from, IsoTpError error) {
  const T_PDU_ERR_EVT code = error == IsoTpError::kTimeoutCr ? T_PDU_ERR_EVT{PDU_ERR_EVT_RX_TIMEOUT}
                                                             : T_PDU_ERR_EVT{PDU_ERR_EVT_RX_ERROR};
  const Bytes header = HeaderOf(from.response);
  link_.cops.ReceiveFailed(Known(header), from.uniqueRespId, code, static_cast<UNUM32>(error));
}

}  // namespace virtual_vci
