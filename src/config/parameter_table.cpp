#include "config/parameter_table.h"

#include <algorithm>
#include <array>

#include "passbridge/j2534.h"

namespace passbridge {

namespace {

using pdu::ComParam;

constexpr ValueRange Only(std::uint32_t value) { return {value, value}; }

constexpr ValueRange kAny{0, 0xFFFFFFFF};
constexpr ValueRange kFlag{0, 1};
constexpr ValueRange kUpToTwo{0, 2};
constexpr ValueRange kPercent{0, 100};
constexpr ValueRange kByte{0, 0xFF};
constexpr ValueRange kWord{0, 0xFFFF};
constexpr ValueRange kBitRate{5, 500000};

/// Default of parameters of which the library knows nothing but the ComParam.
constexpr std::uint32_t kUnknownValue = 0xFFFFFFFF;
/// "As the ECU says" of the ISO 15765 overrides.
constexpr std::uint32_t kNoOverride = 0xFFFF;

constexpr std::uint32_t kVpwRate = 10400;
constexpr std::uint32_t kPwmRate = 41600;
constexpr std::uint32_t kCanRate = 500000;
constexpr std::uint32_t kSciRate = 7812;

constexpr std::array<ProtocolValue, 24> kDataRates{{
    {Only(J1850VPW), kVpwRate},
    {Only(J1850PWM), kPwmRate},
    {{ISO9141, ISO14230}, kVpwRate},
    {{CAN, ISO15765}, kCanRate},
    {{SCI_A_ENGINE, SCI_B_TRANS}, kSciRate},
    {Only(J1850VPW_PS), kVpwRate},
    {Only(J1850PWM_PS), kPwmRate},
    {{ISO9141_PS, ISO14230_PS}, kVpwRate},
    {{CAN_PS, ISO15765_PS}, kCanRate},
    {Only(J2610_PS), kSciRate},
    {{SW_ISO15765_PS, SW_CAN_PS}, kCanRate},
    {Only(GM_UART_PS), 8192},
    {{FT_CAN_PS, FT_ISO15765_PS}, kCanRate},
    {{CAN_CH1, CAN_CH128}, kCanRate},
    {{J1850VPW_CH1, J1850VPW_CH128}, kVpwRate},
    {{J1850PWM_CH1, J1850PWM_CH128}, kPwmRate},
    {{ISO9141_CH1, ISO9141_CH128}, kVpwRate},
    {{ISO14230_CH1, ISO14230_CH128}, kVpwRate},
    {{ISO15765_CH1, ISO15765_CH128}, kCanRate},
    {{SW_CAN_CAN_CH1, SW_CAN_CAN_CH128}, kCanRate},
    {{SW_CAN_ISO15765_CH1, SW_CAN_ISO15765_CH128}, kCanRate},
    {{J2610_CH1, J2610_CH128}, kSciRate},
    {{FGA7274, FT_FGA7274}, kCanRate},
    {Only(UBP_PS), 9600},
}};

/// J1850 knows two speeds. The J2534-1 PWM channel tolerates 2 % around each.
constexpr std::array<ProtocolRule, 5> kDataRateRules{{
    {Only(J1850PWM), {40768, 42432}, {81634, 84966}},
    {Only(J1850VPW_PS), Only(10400), Only(41600)},
    {{J1850VPW_CH1, J1850VPW_CH128}, Only(10400), Only(41600)},
    {Only(J1850PWM_PS), Only(41600), Only(83300)},
    {{J1850PWM_CH1, J1850PWM_CH128}, Only(41600), Only(83300)},
}};

/// First pin, second pin. Pin-switched channels have none until they are told.
constexpr std::array<ProtocolValue, 16> kPins{{
    {{J1850VPW, J1850PWM}, 0x020A},
    {{ISO9141, ISO14230}, 0x070F},
    {{CAN, ISO15765}, 0x060E},
    {Only(SCI_A_ENGINE), 0x0607},
    {Only(SCI_A_TRANS), 0x0E07},
    {Only(SCI_B_ENGINE), 0x0C07},
    {Only(SCI_B_TRANS), 0x090F},
    {{CAN_CH1, CAN_CH128}, 0x060E},
    {{J1850VPW_CH1, J1850VPW_CH128}, 0x020A},
    {{J1850PWM_CH1, J1850PWM_CH128}, 0x020A},
    {{ISO9141_CH1, ISO9141_CH128}, 0x070F},
    {{ISO14230_CH1, ISO14230_CH128}, 0x070F},
    {{ISO15765_CH1, ISO15765_CH128}, 0x060E},
    {{SW_CAN_CAN_CH1, SW_CAN_CAN_CH128}, 0x060E},
    {{SW_CAN_ISO15765_CH1, SW_CAN_ISO15765_CH128}, 0x060E},
    {{J2610_CH1, J2610_CH128}, 0x0706},
}};

constexpr std::array<ProtocolValue, 1> kT3Max{{{{SCI_A_ENGINE, SCI_B_TRANS}, 0}}};

/// A time in ms that accepts every 16-bit value.
constexpr ParameterRow Time(std::uint32_t id, ComParam comParam, std::uint32_t defaultValue) {
  return {id, comParam, defaultValue, kWord, Conversion::Milliseconds};
}

/// The same in steps of 0.5 ms.
constexpr ParameterRow HalfTime(std::uint32_t id, ComParam comParam, std::uint32_t defaultValue,
                                ValueRange accepted = kWord) {
  return {id, comParam, defaultValue, accepted, Conversion::HalfMilliseconds};
}

/// A parameter that no channel holds.
constexpr ParameterRow Unheld(std::uint32_t id, ComParam comParam) {
  return {id, comParam, kUnknownValue, kAny};
}

constexpr std::array kParameters{
    ParameterRow{DATA_RATE, ComParam::CP_Baudrate, 0, kBitRate, Conversion::Unchanged, std::nullopt,
                 kDataRates, kDataRateRules},
    ParameterRow{LOOPBACK, ComParam::CP_Loopback, 0, kFlag},
    ParameterRow{NODE_ADDRESS, ComParam::CP_TesterSourceAddress, 0xFF, kByte},
    ParameterRow{NETWORK_LINE, ComParam::CP_NetworkLine, 0, kUpToTwo},
    Unheld(P1_MIN, ComParam::CP_P1Min),
    HalfTime(P1_MAX, ComParam::CP_P1Max, 40, {1, 0xFFFF}),
    Unheld(P2_MIN, ComParam::CP_P2Min),
    Unheld(P2_MAX, ComParam::CP_P2Max),
    HalfTime(P3_MIN, ComParam::CP_P3Min, 110),
    Unheld(P3_MAX, ComParam::CP_P3Max),
    HalfTime(P4_MIN, ComParam::CP_P4Min, 10),
    Unheld(P4_MAX, ComParam::CP_P4Max),
    Time(W1, ComParam::CP_W1Max, 300),
    Time(W2, ComParam::CP_W2Max, 20),
    Time(W3, ComParam::CP_W3Max, 20),
    Time(W4, ComParam::CP_W4Min, 25),
    Time(W5, ComParam::CP_TIdle, 300),
    Time(TIDLE, ComParam::CP_TIdle, 300),
    Time(TINIL, ComParam::CP_TInil, 25),
    Time(TWUP, ComParam::CP_TWup, 50),
    ParameterRow{PARITY, ComParam::CP_UartConfig, 0, kUpToTwo, Conversion::Parity},
    ParameterRow{BIT_SAMPLE_POINT, ComParam::CP_BitSamplePoint, 80, kPercent},
    ParameterRow{SYNC_JUMP_WIDTH, ComParam::CP_SyncJumpWidth, 15, kPercent},
    Time(W0, ComParam::CP_TIdle, 300),
    Time(T1_MAX, ComParam::CP_T1Max, 20),
    Time(T2_MAX, ComParam::CP_T2Max, 100),
    Time(T4_MAX, ComParam::CP_T4Max, 20),
    Time(T5_MAX, ComParam::CP_T5Max, 100),
    ParameterRow{ISO15765_BS, ComParam::CP_BlockSize, 0, kByte},
    ParameterRow{ISO15765_STMIN, ComParam::CP_StMin, 0, kByte},
    ParameterRow{DATA_BITS, ComParam::CP_UartConfig, 0, kFlag, Conversion::DataBits},
    ParameterRow{FIVE_BAUD_MOD, ComParam::CP_5BaudMode, 0, {0, 4}},
    ParameterRow{ISO15765_BS_TX, ComParam::CP_BlockSizeOverride, kNoOverride, kByte,
                 Conversion::Unchanged, kNoOverride},
    ParameterRow{ISO15765_STMIN_TX, ComParam::CP_StMinOverride, kNoOverride, kByte,
                 Conversion::SeparationTime, kNoOverride},
    ParameterRow{T3_MAX, ComParam::CP_T3Max, 50, kWord, Conversion::Milliseconds, std::nullopt,
                 kT3Max},
    ParameterRow{ISO15765_WFT_MAX, ComParam::CP_CanMaxNumWaitFrames, 0, kByte},
    Time(W4_MAX, ComParam::CP_W4Max, 50),
    Time(BR_TX_MIN, ComParam::CP_BrTxMin, 0),
    ParameterRow{CAN_MIXED_FORMAT, ComParam::CP_CanMixedFormat, 0, kUpToTwo},
    ParameterRow{J1962_PINS, std::nullopt, 0, kAny, Conversion::Unchanged, std::nullopt, kPins},
    ParameterRow{SW_CAN_HS_DATA_RATE, std::nullopt, 83333, kBitRate},
    ParameterRow{SW_CAN_SPEEDCHANGE_ENABLE, ComParam::CP_ChangeSpeedCtrl, 0, kFlag},
    ParameterRow{SW_CAN_RES_SWITCH, ComParam::CP_ChangeSpeedResCtrl, 0, kUpToTwo},
};

constexpr std::array kCommonParameters{DATA_RATE, LOOPBACK};

constexpr std::array kPwmParameters{NODE_ADDRESS, NETWORK_LINE};
constexpr std::array kIso9141Parameters{P1_MAX, P3_MIN, P4_MIN, W0,        W1,
                                        W2,     W3,     W4,     W4_MAX,    TIDLE,
                                        TINIL,  TWUP,   PARITY, DATA_BITS, FIVE_BAUD_MOD};
constexpr std::array kIso14230Parameters{P1_MAX, P3_MIN, P4_MIN, W1,        W2,
                                         W3,     W4,     W4_MAX, W5,        TIDLE,
                                         TINIL,  TWUP,   PARITY, DATA_BITS, FIVE_BAUD_MOD};
constexpr std::array kCanParameters{BIT_SAMPLE_POINT, SYNC_JUMP_WIDTH};
constexpr std::array kIso15765Parameters{BIT_SAMPLE_POINT, SYNC_JUMP_WIDTH,  ISO15765_BS,
                                         ISO15765_STMIN,   ISO15765_BS_TX,   ISO15765_STMIN_TX,
                                         ISO15765_WFT_MAX, CAN_MIXED_FORMAT, BR_TX_MIN};
constexpr std::array kSciParameters{T1_MAX, T2_MAX, T3_MAX, T4_MAX, T5_MAX};
constexpr std::array kSwIso15765Parameters{
    BIT_SAMPLE_POINT,    SYNC_JUMP_WIDTH,           ISO15765_BS,       ISO15765_STMIN,
    ISO15765_BS_TX,      ISO15765_STMIN_TX,         ISO15765_WFT_MAX,  CAN_MIXED_FORMAT,
    SW_CAN_HS_DATA_RATE, SW_CAN_SPEEDCHANGE_ENABLE, SW_CAN_RES_SWITCH, BR_TX_MIN};
constexpr std::array kSwCanParameters{BIT_SAMPLE_POINT, SYNC_JUMP_WIDTH, SW_CAN_HS_DATA_RATE,
                                      SW_CAN_SPEEDCHANGE_ENABLE, SW_CAN_RES_SWITCH};
constexpr std::array kUbpParameters{PARITY, DATA_BITS};

struct ParameterSet {
  ProtocolType type;
  std::span<const std::uint32_t> parameters;
};

constexpr std::array<ParameterSet, 13> kParameterSets{{
    {J1850PWM, kPwmParameters},
    {ISO9141, kIso9141Parameters},
    {ISO14230, kIso14230Parameters},
    {CAN, kCanParameters},
    {ISO15765, kIso15765Parameters},
    {SCI_A_ENGINE, kSciParameters},
    {SCI_A_TRANS, kSciParameters},
    {SCI_B_ENGINE, kSciParameters},
    {SCI_B_TRANS, kSciParameters},
    {SW_ISO15765_PS, kSwIso15765Parameters},
    {SW_CAN_PS, kSwCanParameters},
    {FGA7274, kIso15765Parameters},
    {UBP_PS, kUbpParameters},
}};

/// The first row that concerns the ProtocolID, or null.
template <typename Row>
const Row* RowOf(std::span<const Row> rows, std::uint32_t protocolId) {
  const auto found = std::find_if(rows.begin(), rows.end(), [protocolId](const Row& row) {
    return row.protocolIds.Contains(protocolId);
  });
  return found != rows.end() ? &*found : nullptr;
}

}  // namespace

const ParameterRow* FindParameter(std::uint32_t parameterId) {
  const auto* const found =
      std::find_if(kParameters.begin(), kParameters.end(),
                   [parameterId](const ParameterRow& row) { return row.id == parameterId; });
  return found != kParameters.end() ? found : nullptr;
}

std::uint32_t DefaultValueOf(const ParameterRow& parameter, std::uint32_t protocolId) {
  const ProtocolValue* const own = RowOf(parameter.defaults, protocolId);
  return own != nullptr ? own->value : parameter.defaultValue;
}

bool IsAccepted(const ParameterRow& parameter, std::uint32_t protocolId, std::uint32_t value) {
  const ProtocolRule* const rule = RowOf(parameter.rules, protocolId);
  if (rule != nullptr && !rule->accepted.Contains(value) && !rule->orAccepted.Contains(value)) {
    return false;
  }
  return parameter.accepted.Contains(value) || parameter.alsoAccepted == value;
}

std::span<const std::uint32_t> CommonParameters() { return kCommonParameters; }

std::span<const std::uint32_t> ParametersOf(ProtocolType type) {
  const auto* const found =
      std::find_if(kParameterSets.begin(), kParameterSets.end(),
                   [type](const ParameterSet& set) { return set.type == type; });
  return found != kParameterSets.end() ? found->parameters : std::span<const std::uint32_t>();
}

}  // namespace passbridge
