#include "config/parameter_table.h"

#include <algorithm>
#include <array>

#include "passbridge/j2534.h"

namespace passbridge {

namespace {

using pdu::ComParam;

constexpr ValueRange kAny{0, 0xFFFFFFFF};
constexpr ValueRange kFlag{0, 1};
constexpr ValueRange kUpToTwo{0, 2};
constexpr ValueRange kPercent{0, 100};
constexpr ValueRange kByte{0, 0xFF};
constexpr ValueRange kWord{0, 0xFFFF};
constexpr ValueRange kBitRate{5, 500000};

/// Default of parameters of which the library knows nothing but the ComParam.
constexpr std::uint32_t kUnknownValue = 0xFFFFFFFF;
/// Default of parameters whose defaultFor says it.
constexpr std::uint32_t kByProtocol = 0;
/// "As the ECU says" of the ISO 15765 overrides.
constexpr std::uint32_t kNoOverride = 0xFFFF;

/// Whether a type is one of those named.
template <ProtocolType... Types>
bool OneOf(ProtocolType type) {
  return ((type == Types) || ...);
}

bool Every(ProtocolType /*type*/) { return true; }

using Holders = bool (*)(ProtocolType type);
constexpr Holders kNobody = OneOf<>;
constexpr Holders kPwm = OneOf<J1850PWM>;
constexpr Holders kIso9141 = OneOf<ISO9141>;
constexpr Holders kIso14230 = OneOf<ISO14230>;
constexpr Holders kKLine = OneOf<ISO9141, ISO14230>;
constexpr Holders kUart = OneOf<ISO9141, ISO14230, UBP_PS>;
constexpr Holders kSci = OneOf<SCI_A_ENGINE, SCI_A_TRANS, SCI_B_ENGINE, SCI_B_TRANS>;
constexpr Holders kSingleWireCan = OneOf<SW_CAN_PS, SW_ISO15765_PS>;

std::uint32_t DefaultT3Max(std::uint32_t protocolId) {
  return protocolId >= SCI_A_ENGINE && protocolId <= SCI_B_TRANS ? 0 : 50;
}

/// A time in ms that accepts every 16-bit value.
constexpr ParameterRow Time(std::uint32_t id, ComParam comParam, Holders isHeldBy,
                            std::uint32_t defaultValue) {
  return {id, comParam, isHeldBy, defaultValue, kWord, Conversion::Milliseconds};
}

/// The same in steps of 0.5 ms.
constexpr ParameterRow HalfTime(std::uint32_t id, ComParam comParam, Holders isHeldBy,
                                std::uint32_t defaultValue, ValueRange accepted = kWord) {
  return {id, comParam, isHeldBy, defaultValue, accepted, Conversion::HalfMilliseconds};
}

/// A parameter that no channel holds.
constexpr ParameterRow Unheld(std::uint32_t id, ComParam comParam) {
  return {id, comParam, kNobody, kUnknownValue, kAny};
}

constexpr std::array kParameters{
    ParameterRow{DATA_RATE, ComParam::CP_Baudrate, Every, kByProtocol, kBitRate,
                 Conversion::Unchanged, std::nullopt, DefaultDataRate, AdmitsDataRate},
    ParameterRow{LOOPBACK, ComParam::CP_Loopback, Every, 0, kFlag},
    ParameterRow{NODE_ADDRESS, ComParam::CP_TesterSourceAddress, kPwm, 0xFF, kByte},
    ParameterRow{NETWORK_LINE, ComParam::CP_NetworkLine, kPwm, 0, kUpToTwo},
    Unheld(P1_MIN, ComParam::CP_P1Min),
    HalfTime(P1_MAX, ComParam::CP_P1Max, kKLine, 40, {1, 0xFFFF}),
    Unheld(P2_MIN, ComParam::CP_P2Min),
    Unheld(P2_MAX, ComParam::CP_P2Max),
    HalfTime(P3_MIN, ComParam::CP_P3Min, kKLine, 110),
    Unheld(P3_MAX, ComParam::CP_P3Max),
    HalfTime(P4_MIN, ComParam::CP_P4Min, kKLine, 10),
    Unheld(P4_MAX, ComParam::CP_P4Max),
    Time(W1, ComParam::CP_W1Max, kKLine, 300),
    Time(W2, ComParam::CP_W2Max, kKLine, 20),
    Time(W3, ComParam::CP_W3Max, kKLine, 20),
    Time(W4, ComParam::CP_W4Min, kKLine, 25),
    Time(W5, ComParam::CP_TIdle, kIso14230, 300),
    Time(TIDLE, ComParam::CP_TIdle, kKLine, 300),
    Time(TINIL, ComParam::CP_TInil, kKLine, 25),
    Time(TWUP, ComParam::CP_TWup, kKLine, 50),
    ParameterRow{PARITY, ComParam::CP_UartConfig, kUart, 0, kUpToTwo, Conversion::Parity},
    ParameterRow{BIT_SAMPLE_POINT, ComParam::CP_BitSamplePoint, IsCanType, 80, kPercent},
    ParameterRow{SYNC_JUMP_WIDTH, ComParam::CP_SyncJumpWidth, IsCanType, 15, kPercent},
    Time(W0, ComParam::CP_TIdle, kIso9141, 300),
    Time(T1_MAX, ComParam::CP_T1Max, kSci, 20),
    Time(T2_MAX, ComParam::CP_T2Max, kSci, 100),
    Time(T4_MAX, ComParam::CP_T4Max, kSci, 20),
    Time(T5_MAX, ComParam::CP_T5Max, kSci, 100),
    ParameterRow{ISO15765_BS, ComParam::CP_BlockSize, IsIso15765Type, 0, kByte},
    ParameterRow{ISO15765_STMIN, ComParam::CP_StMin, IsIso15765Type, 0, kByte},
    ParameterRow{DATA_BITS, ComParam::CP_UartConfig, kUart, 0, kFlag, Conversion::DataBits},
    ParameterRow{FIVE_BAUD_MOD, ComParam::CP_5BaudMode, kKLine, 0, {0, 4}},
    ParameterRow{ISO15765_BS_TX, ComParam::CP_BlockSizeOverride, IsIso15765Type, kNoOverride, kByte,
                 Conversion::Unchanged, kNoOverride},
    ParameterRow{ISO15765_STMIN_TX, ComParam::CP_StMinOverride, IsIso15765Type, kNoOverride, kByte,
                 Conversion::SeparationTime, kNoOverride},
    ParameterRow{T3_MAX, ComParam::CP_T3Max, kSci, kByProtocol, kWord, Conversion::Milliseconds,
                 std::nullopt, DefaultT3Max},
    ParameterRow{ISO15765_WFT_MAX, ComParam::CP_CanMaxNumWaitFrames, IsIso15765Type, 0, kByte},
    Time(W4_MAX, ComParam::CP_W4Max, kKLine, 50),
    Time(BR_TX_MIN, ComParam::CP_BrTxMin, IsIso15765Type, 0),
    ParameterRow{CAN_MIXED_FORMAT, ComParam::CP_CanMixedFormat, IsIso15765Type, 0, kUpToTwo},
    ParameterRow{J1962_PINS, std::nullopt, kNobody, kByProtocol, kAny, Conversion::Unchanged,
                 std::nullopt, DefaultPins},
    ParameterRow{SW_CAN_HS_DATA_RATE, std::nullopt, kSingleWireCan, 83333, kBitRate},
    ParameterRow{SW_CAN_SPEEDCHANGE_ENABLE, ComParam::CP_ChangeSpeedCtrl, kSingleWireCan, 0, kFlag},
    ParameterRow{SW_CAN_RES_SWITCH, ComParam::CP_ChangeSpeedResCtrl, kSingleWireCan, 0, kUpToTwo},
};

}  // namespace

const ParameterRow* FindParameter(std::uint32_t parameterId) {
  const auto* const found =
      std::find_if(kParameters.begin(), kParameters.end(),
                   [parameterId](const ParameterRow& row) { return row.id == parameterId; });
  return found != kParameters.end() ? found : nullptr;
}

std::uint32_t DefaultValueOf(const ParameterRow& parameter, std::uint32_t protocolId) {
  return parameter.defaultFor != nullptr ? parameter.defaultFor(protocolId)
                                         : parameter.defaultValue;
}

bool IsAccepted(const ParameterRow& parameter, std::uint32_t protocolId, std::uint32_t value) {
  if (parameter.isAcceptedBy != nullptr && !parameter.isAcceptedBy(protocolId, value)) return false;
  return parameter.accepted.Contains(value) || parameter.alsoAccepted == value;
}

std::span<const ParameterRow> AllParameters() { return kParameters; }

}  // namespace passbridge
