#include "virtual_vci/protocols/kline_protocol.h"

#include <algorithm>
#include <utility>

namespace virtual_vci {

namespace {

constexpr std::uint8_t kSyncByte = 0x55;
constexpr std::uint8_t kIso14230KeyByte = 0x8F;
constexpr std::size_t kMaxMessage = 4129;
constexpr Micros kBreak = 25000;

// CP_InitializationSettings
constexpr UNUM32 kFiveBaudInit = 1;
constexpr UNUM32 kFastInit = 2;

constexpr UNUM32 kKLineOnly = 1;  // CP_K_L_LineInit

// CP_5BaudMode
constexpr UNUM32 kWithoutAddress = 1;
constexpr UNUM32 kWithoutTester = 2;

constexpr TxFlagBit kTxWaitP3MinOnly{2, 0x02};

/// CP_UartConfig: parity, and below 6 seven data bits, above them eight.
SerialFormat FormatOf(UNUM32 bitRate, UNUM32 uartConfig) {
  constexpr std::array kParities{Parity::kNone, Parity::kOdd, Parity::kEven};
  return {bitRate, static_cast<std::uint8_t>(uartConfig < 6 ? 7 : 8), kParities[uartConfig % 3]};
}

}  // namespace

KLineProtocol::KLineProtocol(const LinkContext& link, KLine& line)
    : link_(link),
      line_(line),
      sender_(link.scheduler, line, *this),
      receiver_(link.scheduler,
                [this](const Bytes& bytes, FrameTimes times) { MessageHeard(bytes, times); }) {}

KLineProtocol::~KLineProtocol() {
  link_.scheduler.Cancel(timer_);
  if (online_) line_.Detach(*this);
}

KLineProtocol::Settings KLineProtocol::Read(const ComParamSet& params) {
  Settings s;
  s.format = FormatOf(params.Number(ComParam::CP_Baudrate), params.Number(ComParam::CP_UartConfig));
  s.loopback = params.Number(ComParam::CP_Loopback) != 0;
  s.transmitIndication = params.Number(ComParam::CP_TransmitIndEnable) != 0;
  s.startIndication = params.Number(ComParam::CP_StartMsgIndEnable) != 0;
  s.initialisation = params.Number(ComParam::CP_InitializationSettings);
  s.fiveBaudMode = params.Number(ComParam::CP_5BaudMode);
  s.address = static_cast<std::uint8_t>(params.Number(ComParam::CP_5BaudAddressPhys));
  s.alsoOnL = params.Number(ComParam::CP_K_L_LineInit) != kKLineOnly;
  s.p1Max = params.Number(ComParam::CP_P1Max);
  s.p2Max = params.Number(ComParam::CP_P2Max);
  s.p3Min = params.Number(ComParam::CP_P3Min);
  s.p4Min = params.Number(ComParam::CP_P4Min);
  s.w1Max = params.Number(ComParam::CP_W1Max);
  s.w2Max = params.Number(ComParam::CP_W2Max);
  s.w3Max = params.Number(ComParam::CP_W3Max);
  s.w4Min = params.Number(ComParam::CP_W4Min);
  s.w4Max = params.Number(ComParam::CP_W4Max);
  s.tIdle = params.Number(ComParam::CP_TIdle);
  s.tInil = params.Number(ComParam::CP_TInil);
  s.tWup = params.Number(ComParam::CP_TWup);
  return s;
}

void KLineProtocol::GoOnline(const ComParamSet& params) {
  ParamsChanged(params);
  line_.Attach(*this);
  online_ = true;
}

void KLineProtocol::GoOffline() {
  StopSending();
  receiver_.Reset();
  link_.cops.ReleaseTimeout(std::exchange(held_, PDU_HANDLE_UNDEF));
  if (std::exchange(online_, false)) line_.Detach(*this);
}

T_PDU_ERROR KLineProtocol::Check(const Cop& cop) const {
  const auto messages = MessagesOf(cop);
  const bool good = !messages.empty() &&
                    std::all_of(messages.begin(), messages.end(),
                                [](const auto& message) { return message.size() <= kMaxMessage; });
  return good ? PDU_STATUS_NOERROR : PDU_ERR_INVALID_PARAMETERS;
}

template <typename Action>
void KLineProtocol::AfterPause(Micros pause, Action action) {
  link_.scheduler.Cancel(timer_);
  timer_ = link_.scheduler.After(pause, Pace::kProgress, action);
}

template <typename Action>
void KLineProtocol::WhenIdle(Micros idle, Action action) {
  const Micros now = link_.scheduler.Now();
  const Micros due = line_.LastUsed() == 0 ? now : line_.LastUsed() + idle;
  if (due <= now && receiver_.SoFar().empty()) {
    action();
  } else {
    // A message that is coming in ends with a pause.
    const Micros pause = due > now ? due - now : settings_.p1Max + 1;
    AfterPause(pause, [this, idle, action] { WhenIdle(idle, action); });
  }
}

void KLineProtocol::Send(const Cop& cop) {
  sending_ = cop.handle;
  sendSettings_ = Read(link_.cops.ParamsOf(cop));
  flags_ = cop.txFlags;
  messages_.clear();
  for (const auto& message : MessagesOf(cop))
    messages_.emplace_back(message.begin(), message.end());
  next_ = 0;
  SendNext();
}

void KLineProtocol::SendNext() {
  // Until P2 is over, another ECU may answer the request before.
  const Micros p3 = Has(flags_, kTxWaitP3MinOnly)
                        ? sendSettings_.p3Min
                        : std::max(sendSettings_.p3Min, sendSettings_.p2Max);
  WhenIdle(p3, [this] {
    sender_.Start(messages_[next_], sendSettings_.format, sendSettings_.p4Min,
                  [this](FrameTimes times) { MessageSent(times); });
  });
}

void KLineProtocol::MessageSent(FrameTimes times) {
  const Cop* cop = link_.cops.Find(sending_);
  if (cop == nullptr) return;
  Echo(*cop, times);
  if (++next_ < messages_.size()) {
    SendNext();
  } else {
    link_.cops.SendDone(std::exchange(sending_, PDU_HANDLE_UNDEF));
  }
}

void KLineProtocol::Echo(const Cop& cop, FrameTimes times) {
  ResultInfo info;
  info.startTimestamp = static_cast<UNUM32>(times.start);
  if (sendSettings_.transmitIndication) {
    ResultInfo done = info;
    Put(done.rxFlags, kRxTxDone);
    done.emptyHeader = true;
    done.txDoneTimestamp = static_cast<UNUM32>(times.end);
    link_.events.Push(MakeResultItem(HeadOf(cop, times.end), done, {}));
  }
  if (sendSettings_.loopback) {
    Put(info.rxFlags, kRxLoopback);
    link_.events.Push(MakeResultItem(HeadOf(cop, times.end), info, messages_[next_]));
  }
}

void KLineProtocol::StopSending() {
  link_.scheduler.Cancel(timer_);
  sender_.Cancel();
  sending_ = PDU_HANDLE_UNDEF;
  awaited_ = Awaited::kNothing;
}

void KLineProtocol::StartCommunication(const Cop& cop) {
  sending_ = cop.handle;
  sendSettings_ = Read(link_.cops.ParamsOf(cop));
  receiver_.Reset();
  if (sendSettings_.initialisation == kFiveBaudInit) {
    WhenIdle(sendSettings_.tIdle, [this] { SendAddress(); });
  } else if (sendSettings_.initialisation == kFastInit) {
    WhenIdle(sendSettings_.tIdle, [this] { WakeUp(); });
  } else {
    EndInit(false);
  }
}

void KLineProtocol::StopCommunication(const Cop& cop) { link_.cops.CommunicationDone(cop.handle); }

void KLineProtocol::SendAddress() {
  sender_.StartAddress(sendSettings_.address, sendSettings_.alsoOnL, [this](FrameTimes) {
    Await(Awaited::kSync, sendSettings_.w1Max, KLineInitError::kNoSync);
  });
}

void KLineProtocol::WakeUp() {
  line_.Pulse(this, sendSettings_.tInil, nullptr);
  AfterPause(sendSettings_.tWup, [this] { SendStartRequest(); });
}

void KLineProtocol::SendStartRequest() {
  const Cop* cop = link_.cops.Find(sending_);
  if (cop == nullptr) return;
  if (cop->data.empty()) {
    EndInit(true);
    return;
  }
  const bool awaitsResponse = cop->receiveCycles != 0;
  sender_.Start(cop->data, sendSettings_.format, sendSettings_.p4Min,
                [this, awaitsResponse](FrameTimes) {
    if (awaitsResponse) {
      Await(Awaited::kResponse, sendSettings_.p2Max, KLineInitError::kNoResponse);
    } else {
      EndInit(true);
    }
  });
}

void KLineProtocol::Await(Awaited what, Micros patience, KLineInitError failure) {
  awaited_ = what;
  // A byte is heard when it is over.
  AfterPause(patience + sendSettings_.format.ByteTime() + 1,
             [this, failure] { FailInit(failure); });
}

void KLineProtocol::FailInit(KLineInitError error) {
  awaited_ = Awaited::kNothing;
  link_.scheduler.Cancel(timer_);
  link_.cops.SendFailed(std::exchange(sending_, PDU_HANDLE_UNDEF), PDU_ERR_EVT_INIT_ERROR,
                        static_cast<UNUM32>(error));
}

void KLineProtocol::InitByteHeard(std::uint8_t byte) {
  switch (awaited_) {
    case Awaited::kSync:
      if (byte != kSyncByte) {
        FailInit(KLineInitError::kWrongSync);
      } else {
        Await(Awaited::kKey1, sendSettings_.w2Max, KLineInitError::kNoKeyBytes);
      }
      break;
    case Awaited::kKey1:
      keyBytes_[0] = byte;
      Await(Awaited::kKey2, sendSettings_.w3Max, KLineInitError::kNoKeyBytes);
      break;
    case Awaited::kKey2:
      keyBytes_[1] = byte;
      KeyBytesComplete();
      break;
    default: {
      const bool right = byte == static_cast<std::uint8_t>(~sendSettings_.address);
      if (right) {
        GiveStartResult(keyBytes_, link_.scheduler.Now());
        EndInit(true);
      } else {
        FailInit(KLineInitError::kWrongAddress);
      }
      break;
    }
  }
}

void KLineProtocol::KeyBytesComplete() {
  if (keyBytes_[0] != keyBytes_[1] && keyBytes_[1] != kIso14230KeyByte) {
    FailInit(KLineInitError::kWrongKeyBytes);
    return;
  }
  const auto goOn = [this] {
    if ((sendSettings_.fiveBaudMode & kWithoutAddress) == 0) {
      Await(Awaited::kAddress, sendSettings_.w4Max, KLineInitError::kNoAddress);
    } else {
      GiveStartResult(keyBytes_, link_.scheduler.Now());
      EndInit(true);
    }
  };
  awaited_ = Awaited::kNothing;
  if ((sendSettings_.fiveBaudMode & kWithoutTester) != 0) {
    goOn();
    return;
  }
  AfterPause(sendSettings_.w4Min, [this, goOn] {
    const auto inverted = static_cast<std::uint8_t>(~keyBytes_[1]);
    sender_.Start({inverted}, sendSettings_.format, 0, [goOn](FrameTimes) { goOn(); });
  });
}

void KLineProtocol::GiveStartResult(std::span<const std::uint8_t> bytes, Micros end) {
  const Cop* cop = link_.cops.Find(sending_);
  if (cop == nullptr || cop->receiveCycles == 0) return;
  ResultInfo info;
  if (!cop->expected.empty()) info.acceptanceId = cop->expected.front().acceptanceId;
  link_.events.Push(MakeResultItem(HeadOf(*cop, end), info, bytes));
}

void KLineProtocol::EndInit(bool dataSent) {
  awaited_ = Awaited::kNothing;
  link_.scheduler.Cancel(timer_);
  link_.cops.CommunicationDone(std::exchange(sending_, PDU_HANDLE_UNDEF), dataSent);
}

void KLineProtocol::Heard(std::uint8_t byte, const SerialFormat& format, FrameTimes times) {
  if (format != (sending_ == PDU_HANDLE_UNDEF ? settings_ : sendSettings_).format) return;
  if (awaited_ != Awaited::kNothing && awaited_ != Awaited::kResponse) {
    InitByteHeard(byte);
    return;
  }
  if (receiver_.SoFar().empty()) MessageBegins(times);
  receiver_.Take(byte, times, settings_.p1Max);
}

void KLineProtocol::MessageBegins(FrameTimes times) {
  if (awaited_ == Awaited::kResponse) {
    link_.scheduler.Cancel(timer_);
    return;
  }
  held_ = link_.cops.HoldTimeout({}, PDU_ID_UNDEF);
  const auto receiver = link_.cops.ReceiverFrom({}, PDU_ID_UNDEF);
  if (!settings_.startIndication || !receiver) return;
  ResultInfo info;
  Put(info.rxFlags, kRxStartOfMessage);
  info.emptyHeader = true;
  info.acceptanceId = receiver->acceptanceId;
  info.startTimestamp = static_cast<UNUM32>(times.start);
  link_.events.Push(MakeResultItem(HeadOf(*receiver->cop, times.end), info, {}));
}

void KLineProtocol::MessageHeard(const Bytes& bytes, FrameTimes times) {
  if (awaited_ == Awaited::kResponse) {
    GiveStartResult(bytes, times.end);
    EndInit(true);
    return;
  }
  Deliver(bytes, times);
  link_.cops.ReleaseTimeout(std::exchange(held_, PDU_HANDLE_UNDEF));
}

void KLineProtocol::Deliver(const Bytes& bytes, FrameTimes times) {
  if (!link_.filters.Passes(bytes, link_.passWithoutFilter)) return;
  const auto receiver = link_.cops.ReceiverOf(bytes, PDU_ID_UNDEF);
  if (!receiver) return;
  ResultInfo info;
  info.acceptanceId = receiver->acceptanceId;
  info.startTimestamp = static_cast<UNUM32>(times.start);
  const UNUM32 handle = receiver->cop->handle;
  link_.events.Push(MakeResultItem(HeadOf(*receiver->cop, times.end), info, bytes));
  link_.cops.Received(handle);
}

T_PDU_ERROR KLineProtocol::IoControl(IoCtl command, const PDU_DATA_ITEM*, ItemPtr&) {
  if (command != IoCtl::kSendBreak) return PDU_ERR_ID_NOT_SUPPORTED;
  line_.Pulse(this, kBreak, nullptr);
  return PDU_STATUS_NOERROR;
}

}  // namespace virtual_vci
