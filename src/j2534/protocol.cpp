#include "j2534/protocol.h"

#include <algorithm>
#include <array>

#include "j2534/value_range.h"
#include "passbridge/j2534.h"

namespace passbridge {

namespace {

constexpr std::uint32_t kIso9141FlagBits = ISO9141_NO_CHECKSUM | ISO9141_K_LINE_ONLY;

constexpr AdmittedFlags kCanFlags{CAN_29BIT_ID | CAN_ID_BOTH, 3,
                                  "A non-CAN Connection Flag(s) was set."};
constexpr AdmittedFlags kIso15765Flags{CAN_29BIT_ID | CAN_ID_BOTH, 4,
                                       "A non-ISO15765 Connection Flag(s) was set."};
// 0x1 has no name.
constexpr AdmittedFlags kIso14230Flags{0x1 | kIso9141FlagBits, 5,
                                       "A non-ISO14230 Connection Flag(s) was set."};
constexpr AdmittedFlags kIso9141Flags{kIso9141FlagBits, 6,
                                      "A non-ISO9141 Connection Flag(s) was set."};
constexpr AdmittedFlags kNoFlags{0, 7, "The ProtocolID does not support Connection Flag(s)."};

enum class CanUse : std::uint8_t { None, Raw, Iso15765 };

constexpr const char* kRawCan = "ISO_11898_RAW";
constexpr const char* kOnIso15765 = "SAE_J2190_on_ISO_15765_2";
constexpr const char* kSci = "SAE_J2610_on_SAE_J2610_SCI";
constexpr const char* kHighSpeedCan = "ISO_11898_2_DWCAN";
constexpr const char* kFaultTolerantCan = "ISO_11898_3_DWFTCAN";
constexpr const char* kSingleWireCan = "SAE_J2411_SWCAN";
constexpr const char* kSciUart = "SAE_J2610_UART";

constexpr std::uint32_t kCanRate = 500000;
constexpr std::uint32_t kKLineRate = 10400;
constexpr std::uint32_t kSciRate = 7812;

/// What is known of a ProtocolType.
struct TypeRow {
  ProtocolType type = 0;
  const char* name = nullptr;
  const char* pduProtocol = nullptr;
  const char* pduBusType = nullptr;
  std::uint32_t dataRate = 0;
  const AdmittedFlags* flags = &kNoFlags;
  CanUse can = CanUse::None;
  bool hasExtendedAddresses = false;
  bool startsCommunication = true;
};

constexpr TypeRow SciRow(ProtocolType type, const char* name) {
  return {type, name, kSci, kSciUart, kSciRate};
}

constexpr TypeRow CanRow(ProtocolType type, const char* name, const char* pduBusType, CanUse can,
                         bool hasExtendedAddresses) {
  const bool isRaw = can == CanUse::Raw;
  return {type,
          name,
          isRaw ? kRawCan : kOnIso15765,
          pduBusType,
          kCanRate,
          isRaw ? &kCanFlags : &kIso15765Flags,
          can,
          hasExtendedAddresses};
}

/// A protocol whose communication is started by an ioctl, or not at all.
constexpr TypeRow UnstartedRow(ProtocolType type, const char* name, const char* pduProtocol,
                               const char* pduBusType, std::uint32_t dataRate,
                               const AdmittedFlags& flags) {
  return {type, name, pduProtocol, pduBusType, dataRate, &flags, CanUse::None, false, false};
}

constexpr std::array kTypes{
    TypeRow{J1850VPW, "J1850VPW", "SAE_J2190_on_SAE_J1850_VPW", "SAE_J1850_VPW", 10400},
    TypeRow{J1850PWM, "J1850PWM", "SAE_J2190_on_SAE_J1850_PWM", "SAE_J1850_PWM", 41600},
    UnstartedRow(ISO9141, "ISO9141", "SAE_J2190_on_ISO_9141", "ISO_9141_2_UART", kKLineRate,
                 kIso9141Flags),
    UnstartedRow(ISO14230, "ISO14230", "SAE_J2190_on_ISO_14230_2", "ISO_14230_1_UART", kKLineRate,
                 kIso14230Flags),
    CanRow(CAN, "CAN", kHighSpeedCan, CanUse::Raw, true),
    CanRow(ISO15765, "ISO15765", kHighSpeedCan, CanUse::Iso15765, true),
    SciRow(SCI_A_ENGINE, "SCI_A_ENGINE"),
    SciRow(SCI_A_TRANS, "SCI_A_TRANS"),
    SciRow(SCI_B_ENGINE, "SCI_B_ENGINE"),
    SciRow(SCI_B_TRANS, "SCI_B_TRANS"),
    CanRow(SW_ISO15765_PS, nullptr, kSingleWireCan, CanUse::Iso15765, true),
    CanRow(SW_CAN_PS, nullptr, kSingleWireCan, CanUse::Raw, false),
    UnstartedRow(GM_UART_PS, "GM_UART_PS", "XDE_5024_on_XDE_5024_UART", "SAE_J2740_UART", 8192,
                 kNoFlags),
    CanRow(FGA7274, "FGA7274", kHighSpeedCan, CanUse::Iso15765, true),
    UnstartedRow(UBP_PS, "UBP_PS", "UBP_on_UBP_UART", "UBP_UART", 9600, kIso14230Flags),
};

constexpr TypeRow kUnknownType{};

constexpr const TypeRow& Facts(ProtocolType type) {
  for (const TypeRow& row : kTypes) {
    if (row.type == type) return row;
  }
  return kUnknownType;
}

constexpr ValueRange Only(std::uint32_t value) { return {value, value}; }

/// Two speeds of a bus.
using DataRates = std::array<ValueRange, 2>;
constexpr DataRates kVpwRates{Only(10400), Only(41600)};
constexpr DataRates kPwmRates{Only(41600), Only(83300)};
/// The J2534-1 channel tolerates 2 % around each.
constexpr DataRates kPwmRatesWithTolerance{{{40768, 42432}, {81634, 84966}}};

constexpr std::uint32_t kSetLater = 0;  // the pins of a pin-switched channel
constexpr std::uint32_t kJ1850Pins = 0x020A;
constexpr std::uint32_t kKLinePins = 0x070F;
constexpr std::uint32_t kCanPins = 0x060E;

/// What is known of some ProtocolIDs beside what their type has in common.
struct ProtocolRow {
  ValueRange ids;
  ProtocolType type;
  std::uint32_t pins;
  Sending sending = Sending::OneByOne;
  std::uint32_t rawFrames = 0;  // on the first of `ids`; a range keeps its order
  const DataRates* dataRates = nullptr;
  const char* pduBusType = nullptr;  // if it is not that of the type
  bool canBeOpened = true;
};

/// Channels on further connectors are known and not carried out.
constexpr ProtocolRow AdditionalRow(std::uint32_t first, std::uint32_t last, ProtocolType type,
                                    std::uint32_t pins, std::uint32_t rawFrames = 0,
                                    const DataRates* dataRates = nullptr) {
  return {{first, last}, type, pins, Sending::OneByOne, rawFrames, dataRates, nullptr, false};
}

constexpr std::array kProtocols{
    ProtocolRow{Only(J1850VPW), J1850VPW, kJ1850Pins},
    ProtocolRow{.ids = Only(J1850PWM),
                .type = J1850PWM,
                .pins = kJ1850Pins,
                .sending = Sending::Packed,
                .dataRates = &kPwmRatesWithTolerance},
    ProtocolRow{Only(ISO9141), ISO9141, kKLinePins},
    ProtocolRow{Only(ISO14230), ISO14230, kKLinePins},
    ProtocolRow{Only(CAN), CAN, kCanPins, Sending::Packed},
    ProtocolRow{Only(ISO15765), ISO15765, kCanPins, Sending::Batched, CAN},
    ProtocolRow{Only(SCI_A_ENGINE), SCI_A_ENGINE, 0x0607},
    ProtocolRow{Only(SCI_A_TRANS), SCI_A_TRANS, 0x0E07},
    ProtocolRow{Only(SCI_B_ENGINE), SCI_B_ENGINE, 0x0C07},
    ProtocolRow{Only(SCI_B_TRANS), SCI_B_TRANS, 0x090F},
    ProtocolRow{
        .ids = Only(J1850VPW_PS), .type = J1850VPW, .pins = kSetLater, .dataRates = &kVpwRates},
    ProtocolRow{.ids = Only(J1850PWM_PS),
                .type = J1850PWM,
                .pins = kSetLater,
                .sending = Sending::Packed,
                .dataRates = &kPwmRates,
                .canBeOpened = false},
    ProtocolRow{Only(ISO9141_PS), ISO9141, kSetLater},
    ProtocolRow{Only(ISO14230_PS), ISO14230, kSetLater},
    ProtocolRow{Only(CAN_PS), CAN, kSetLater, Sending::Packed},
    ProtocolRow{Only(ISO15765_PS), ISO15765, kSetLater, Sending::Batched, CAN_PS},
    ProtocolRow{Only(J2610_PS), SCI_A_ENGINE, kSetLater},
    ProtocolRow{.ids = Only(SW_ISO15765_PS),
                .type = SW_ISO15765_PS,
                .pins = kSetLater,
                .rawFrames = SW_CAN_PS},
    ProtocolRow{Only(SW_CAN_PS), SW_CAN_PS, kSetLater},
    ProtocolRow{Only(GM_UART_PS), GM_UART_PS, kSetLater},
    ProtocolRow{
        .ids = Only(FT_CAN_PS), .type = CAN, .pins = kSetLater, .pduBusType = kFaultTolerantCan},
    ProtocolRow{.ids = Only(FT_ISO15765_PS),
                .type = ISO15765,
                .pins = kSetLater,
                .rawFrames = FT_CAN_PS,
                .pduBusType = kFaultTolerantCan},
    AdditionalRow(CAN_CH1, CAN_CH128, CAN, kCanPins),
    AdditionalRow(J1850VPW_CH1, J1850VPW_CH128, J1850VPW, kJ1850Pins, 0, &kVpwRates),
    AdditionalRow(J1850PWM_CH1, J1850PWM_CH128, J1850PWM, kJ1850Pins, 0, &kPwmRates),
    AdditionalRow(ISO9141_CH1, ISO9141_CH128, ISO9141, kKLinePins),
    AdditionalRow(ISO14230_CH1, ISO14230_CH128, ISO14230, kKLinePins),
    AdditionalRow(ISO15765_CH1, ISO15765_CH128, ISO15765, kCanPins, CAN_CH1),
    AdditionalRow(SW_CAN_CAN_CH1, SW_CAN_CAN_CH128, SW_CAN_PS, kCanPins),
    AdditionalRow(SW_CAN_ISO15765_CH1, SW_CAN_ISO15765_CH128, ISO15765, kCanPins, SW_CAN_CAN_CH1),
    AdditionalRow(J2610_CH1, J2610_CH128, SCI_A_ENGINE, 0x0706),
    ProtocolRow{.ids = Only(FGA7274), .type = FGA7274, .pins = kSetLater, .rawFrames = CAN_PS},
    ProtocolRow{.ids = Only(FT_FGA7274),
                .type = FGA7274,
                .pins = kSetLater,
                .rawFrames = FT_CAN_PS,
                .pduBusType = kFaultTolerantCan},
    ProtocolRow{Only(UBP_PS), UBP_PS, kSetLater},
};

/// J2534-2 has these, too; the library knows no more of them.
constexpr ValueRange kAnalogueInputs{0xC000, 0xC01F};
constexpr std::array kNotSupported{ValueRange{UART_ECHO_BYTE_PS, HONDA_DIAGH_PS}, kAnalogueInputs};

constexpr bool RowsAreApartAndOfKnownTypes() {
  for (std::size_t i = 0; i < kProtocols.size(); ++i) {
    if (Facts(kProtocols[i].type).type == 0) return false;
    if (i > 0 && kProtocols[i].ids.first <= kProtocols[i - 1].ids.last) return false;
  }
  return true;
}
static_assert(RowsAreApartAndOfKnownTypes());

const ProtocolRow* FindProtocol(std::uint32_t protocolId) {
  const auto* const found =
      std::find_if(kProtocols.begin(), kProtocols.end(),
                   [protocolId](const ProtocolRow& row) { return row.ids.Contains(protocolId); });
  return found != kProtocols.end() ? found : nullptr;
}

const TypeRow& FactsOfId(std::uint32_t protocolId) {
  const ProtocolRow* const row = FindProtocol(protocolId);
  return row != nullptr ? Facts(row->type) : kUnknownType;
}

}  // namespace

std::optional<ProtocolType> ProtocolTypeOf(std::uint32_t protocolId) {
  const ProtocolRow* const row = FindProtocol(protocolId);
  return row != nullptr ? std::optional(row->type) : std::nullopt;
}

Status OpeningStatus(std::uint32_t protocolId) {
  if (const ProtocolRow* const row = FindProtocol(protocolId)) {
    return row->canBeOpened ? STATUS_NOERROR : ERR_NOT_SUPPORTED;
  }
  const bool isKnown =
      std::any_of(kNotSupported.begin(), kNotSupported.end(),
                  [protocolId](const ValueRange& ids) { return ids.Contains(protocolId); });
  return isKnown ? ERR_NOT_SUPPORTED : ERR_INVALID_PROTOCOL_ID;
}

bool IsPinSwitched(std::uint32_t protocolId) {
  const ProtocolRow* const row = FindProtocol(protocolId);
  return row != nullptr && row->pins == kSetLater;
}

std::uint32_t DefaultPins(std::uint32_t protocolId) {
  const ProtocolRow* const row = FindProtocol(protocolId);
  return row != nullptr ? row->pins : 0;
}

std::uint32_t DefaultDataRate(std::uint32_t protocolId) { return FactsOfId(protocolId).dataRate; }

bool AdmitsDataRate(std::uint32_t protocolId, std::uint32_t dataRate) {
  const ProtocolRow* const row = FindProtocol(protocolId);
  if (row == nullptr || row->dataRates == nullptr) return true;
  return std::any_of(row->dataRates->begin(), row->dataRates->end(),
                     [dataRate](const ValueRange& speed) { return speed.Contains(dataRate); });
}

Sending SendingOf(std::uint32_t protocolId) {
  const ProtocolRow* const row = FindProtocol(protocolId);
  return row != nullptr ? row->sending : Sending::OneByOne;
}

std::uint32_t RawFrameProtocol(std::uint32_t channelProtocolId) {
  const ProtocolRow* const row = FindProtocol(channelProtocolId);
  if (row == nullptr || row->rawFrames == 0) return channelProtocolId;
  return row->rawFrames + (channelProtocolId - row->ids.first);
}

bool IsRawFrameOf(std::uint32_t channelProtocolId, std::uint32_t messageProtocolId) {
  return messageProtocolId != channelProtocolId &&
         messageProtocolId == RawFrameProtocol(channelProtocolId);
}

bool IsRawFrameProtocol(std::uint32_t protocolId) {
  return std::any_of(kProtocols.begin(), kProtocols.end(), [protocolId](const ProtocolRow& row) {
    return row.ids.first == row.ids.last && row.rawFrames != 0 && row.rawFrames == protocolId;
  });
}

const char* PduProtocolName(std::uint32_t protocolId) { return FactsOfId(protocolId).pduProtocol; }

const char* PduBusTypeName(std::uint32_t protocolId) {
  const ProtocolRow* const row = FindProtocol(protocolId);
  if (row != nullptr && row->pduBusType != nullptr) return row->pduBusType;
  return FactsOfId(protocolId).pduBusType;
}

const char* ProtocolTypeName(ProtocolType type) { return Facts(type).name; }

bool IsCanType(ProtocolType type) { return Facts(type).can != CanUse::None; }

bool IsIso15765Type(ProtocolType type) { return Facts(type).can == CanUse::Iso15765; }

bool HasExtendedAddresses(ProtocolType type) { return Facts(type).hasExtendedAddresses; }

bool StartsCommunication(ProtocolType type) { return Facts(type).startsCommunication; }

const AdmittedFlags& AdmittedFlagsOf(ProtocolType type) { return *Facts(type).flags; }

}  // namespace passbridge
