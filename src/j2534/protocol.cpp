#include "j2534/protocol.h"

#include <algorithm>
#include <array>

#include "passbridge/j2534.h"

namespace passbridge {

namespace {

constexpr ProtocolRange Single(std::uint32_t protocolId, ProtocolType type) {
  return {protocolId, protocolId, type};
}

constexpr std::array kProtocols{
    Single(J1850VPW, J1850VPW),
    Single(J1850PWM, J1850PWM),
    Single(ISO9141, ISO9141),
    Single(ISO14230, ISO14230),
    Single(CAN, CAN),
    Single(ISO15765, ISO15765),
    Single(SCI_A_ENGINE, SCI_A_ENGINE),
    Single(SCI_A_TRANS, SCI_A_TRANS),
    Single(SCI_B_ENGINE, SCI_B_ENGINE),
    Single(SCI_B_TRANS, SCI_B_TRANS),
    Single(J1850VPW_PS, J1850VPW),
    Single(J1850PWM_PS, J1850PWM),
    Single(ISO9141_PS, ISO9141),
    Single(ISO14230_PS, ISO14230),
    Single(CAN_PS, CAN),
    Single(ISO15765_PS, ISO15765),
    Single(J2610_PS, SCI_A_ENGINE),
    Single(SW_ISO15765_PS, SW_ISO15765_PS),
    Single(SW_CAN_PS, SW_CAN_PS),
    Single(GM_UART_PS, GM_UART_PS),
    Single(FT_CAN_PS, CAN),
    Single(FT_ISO15765_PS, ISO15765),
    ProtocolRange{CAN_CH1, CAN_CH128, CAN},
    ProtocolRange{J1850VPW_CH1, J1850VPW_CH128, J1850VPW},
    ProtocolRange{J1850PWM_CH1, J1850PWM_CH128, J1850PWM},
    ProtocolRange{ISO9141_CH1, ISO9141_CH128, ISO9141},
    ProtocolRange{ISO14230_CH1, ISO14230_CH128, ISO14230},
    ProtocolRange{ISO15765_CH1, ISO15765_CH128, ISO15765},
    ProtocolRange{SW_CAN_CAN_CH1, SW_CAN_CAN_CH128, SW_CAN_PS},
    ProtocolRange{SW_CAN_ISO15765_CH1, SW_CAN_ISO15765_CH128, ISO15765},
    ProtocolRange{J2610_CH1, J2610_CH128, SCI_A_ENGINE},
    Single(FGA7274, FGA7274),
    Single(FT_FGA7274, FGA7274),
    Single(UBP_PS, UBP_PS),
};

/// The raw CAN frames on the ISO 15765 channels `first` to `last`.
struct RawFrames {
  std::uint32_t first;
  std::uint32_t last;
  std::uint32_t raw;  // of `first`; a range keeps its order

  constexpr bool Concern(std::uint32_t protocolId) const {
    return first <= protocolId && protocolId <= last;
  }
};

constexpr std::array<RawFrames, 8> kRawFrames{{
    {ISO15765, ISO15765, CAN},
    {ISO15765_PS, ISO15765_PS, CAN_PS},
    {SW_ISO15765_PS, SW_ISO15765_PS, SW_CAN_PS},
    {FT_ISO15765_PS, FT_ISO15765_PS, FT_CAN_PS},
    {FGA7274, FGA7274, CAN_PS},
    {FT_FGA7274, FT_FGA7274, FT_CAN_PS},
    {ISO15765_CH1, ISO15765_CH128, CAN_CH1},
    {SW_CAN_ISO15765_CH1, SW_CAN_ISO15765_CH128, SW_CAN_CAN_CH1},
}};

struct TypeName {
  ProtocolType type;
  const char* name;
};

constexpr std::array<TypeName, 13> kTypeNames{{
    {J1850VPW, "J1850VPW"},
    {J1850PWM, "J1850PWM"},
    {ISO9141, "ISO9141"},
    {ISO14230, "ISO14230"},
    {CAN, "CAN"},
    {ISO15765, "ISO15765"},
    {SCI_A_ENGINE, "SCI_A_ENGINE"},
    {SCI_A_TRANS, "SCI_A_TRANS"},
    {SCI_B_ENGINE, "SCI_B_ENGINE"},
    {SCI_B_TRANS, "SCI_B_TRANS"},
    {GM_UART_PS, "GM_UART_PS"},
    {FGA7274, "FGA7274"},
    {UBP_PS, "UBP_PS"},
}};

}  // namespace

const ProtocolRange* FindProtocol(std::uint32_t protocolId) {
  const auto* const found =
      std::find_if(kProtocols.begin(), kProtocols.end(), [protocolId](const ProtocolRange& range) {
        return range.first <= protocolId && protocolId <= range.last;
      });
  return found != kProtocols.end() ? found : nullptr;
}

const char* ProtocolTypeName(ProtocolType type) {
  const auto* const found = std::find_if(kTypeNames.begin(), kTypeNames.end(),
                                         [type](const TypeName& row) { return row.type == type; });
  return found != kTypeNames.end() ? found->name : nullptr;
}

bool IsIso15765Type(ProtocolType type) {
  return type == ISO15765 || type == SW_ISO15765_PS || type == FGA7274;
}

std::uint32_t RawFrameProtocol(std::uint32_t channelProtocolId) {
  const auto* const row = std::find_if(
      kRawFrames.begin(), kRawFrames.end(),
      [channelProtocolId](const RawFrames& r) { return r.Concern(channelProtocolId); });
  return row != kRawFrames.end() ? row->raw + (channelProtocolId - row->first) : channelProtocolId;
}

bool IsRawFrameOf(std::uint32_t channelProtocolId, std::uint32_t messageProtocolId) {
  return messageProtocolId != channelProtocolId &&
         messageProtocolId == RawFrameProtocol(channelProtocolId);
}

bool IsRawFrameProtocol(std::uint32_t protocolId) {
  return std::any_of(kRawFrames.begin(), kRawFrames.end(), [protocolId](const RawFrames& row) {
    return row.first == row.last && row.raw == protocolId;
  });
}

bool IsPinSwitched(std::uint32_t protocolId) {
  return (protocolId >= J1850VPW_PS && protocolId <= HONDA_DIAGH_PS) || protocolId == FT_CAN_PS ||
         protocolId == FT_ISO15765_PS || (protocolId >= FGA7274 && protocolId <= UBP_PS);
}

}  // namespace passbridge
