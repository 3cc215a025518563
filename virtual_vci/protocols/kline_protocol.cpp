#include "virtual_vci/protocols/kline_protocol.h"

#include <algorithm>
#include <utility>

namespace virtual_vci {

namespace {

constexpr std::uint8_t kSyncByte = 0x55;
constexpr std::uint8_t kIso14230KeyByte = 0x8F;

// CP_InitializationSettings
constexpr UNUM32 kFiveBaudInit = 1;
constexpr UNUM32 kFastInit = 2;

constexpr UNUM32 kKLineOnly = 1;  // CP_K_L_LineInit

// CP_5BaudMode
constexpr UNUM32 kWithoutAddress = 1;
constexpr UNUM32 kWithoutTester = 2;

constexpr TxFlagBit kTxWaitP3MinOnly{2, 0x02};

}  // namespace

KLineProtocol::Settings KLineProtocol::Read(const ComParamSet& params) {
  Settings s;
  s.format = SerialFormatOf(params);
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

void KLineProtocol::SendMessage(const Bytes& message) {
  // Until P2 is over, another ECU may answer the request before.
  const Micros p3 = Has(Flags(), kTxWaitP3MinOnly)
                        ? sendSettings_.p3Min
                        : std::max(sendSettings_.p3Min, sendSettings_.p2Max);
  WhenIdle(p3, [this, message] {
    sender_.Start(message, sendSettings_.format, sendSettings_.p4Min,
                  [this](FrameTimes times) { MessageSent(times); });
  });
}

void KLineProtocol::StopSending() {
  SerialProtocol::StopSending();
  awaited_ = Awaited::kNothing;
}

void KLineProtocol::StartCommunication(const Cop& cop) {
  Begin(cop);
  receiver_.Reset();
  if (sendSettings_.initialisation == kFiveBaudInit) {
    WhenIdle(sendSettings_.tIdle, [this] { SendAddress(); });
  } else if (sendSettings_.initialisation == kFastInit) {
    WhenIdle(sendSettings_.tIdle, [this] { WakeUp(); });
  } else {
    EndInit(false);
  }
}

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
  const Cop* cop = Working();
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
  CancelPause();
  link_.cops.SendFailed(Release(), PDU_ERR_EVT_INIT_ERROR, static_cast<UNUM32>(error));
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
  const Cop* cop = Working();
  if (cop == nullptr || cop->receiveCycles == 0) return;
  ResultInfo info;
  if (!cop->expected.empty()) info.acceptanceId = cop->expected.front().acceptanceId;
  link_.events.Push(MakeResultItem(HeadOf(*cop, end), info, bytes));
}

void KLineProtocol::EndInit(bool dataSent) {
  awaited_ = Awaited::kNothing;
  CancelPause();
  link_.cops.CommunicationDone(Release(), dataSent);
}

bool KLineProtocol::TakeByte(std::uint8_t byte) {
  const bool isOfInit = awaited_ != Awaited::kNothing && awaited_ != Awaited::kResponse;
  if (isOfInit) InitByteHeard(byte);
  return isOfInit;
}

void KLineProtocol::MessageBegins(FrameTimes times) {
  if (awaited_ == Awaited::kResponse) {
    CancelPause();
  } else if (settings_.startIndication) {
    Indicate(kRxStartOfMessage, times);
  }
}

void KLineProtocol::MessageHeard(const Bytes& bytes, FrameTimes times) {
  if (awaited_ == Awaited::kResponse) {
    GiveStartResult(bytes, times.end);
    EndInit(true);
  } else {
    Deliver(bytes, times);
  }
}

}  // namespace virtual_vci
