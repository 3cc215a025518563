#include "frames/obd_addresses.h"

#include <stdexcept>

namespace passbridge::tool {
namespace {

constexpr std::uint32_t kAllEcus = 0x7DF;
constexpr std::uint32_t kAllEcus29 = 0x18DB33F1;
// Engines, transmissions, brakes.
constexpr std::uint32_t kUsualAddresses[] = {0x10, 0x11, 0x12, 0x13, 0x17,
                                             0x18, 0x19, 0x1A, 0x1D, 0x28};

EcuIds EcuAt29(std::uint32_t address) {
  return {{0x18DA00F1 | address << 8, true}, {0x18DAF100 | address, true}};
}

std::vector<EcuIds> EcusAt11(const CanId& target) {
  if (target.value >= 0x7E0 && target.value <= 0x7E7) return {{target, {target.value + 8, false}}};
  if (target.value != kAllEcus) {
    throw std::invalid_argument("\"" + FormatCanId(target) +
                                "\": OBD requests go to 7DF (all ECUs) or 7E0 to 7E7");
  }
  std::vector<EcuIds> ecus;
  for (std::uint32_t id = 0x7E0; id <= 0x7E7; ++id) ecus.push_back({{id, false}, {id + 8, false}});
  return ecus;
}

std::vector<EcuIds> EcusAt29(const CanId& target) {
  if ((target.value & 0xFFFF00FF) == 0x18DA00F1) return {EcuAt29(target.value >> 8 & 0xFF)};
  if (target.value != kAllEcus29) {
    throw std::invalid_argument("\"" + FormatCanId(target) +
                                "\": OBD requests go to 18DB33F1 (all ECUs) or 18DAxxF1");
  }
  std::vector<EcuIds> ecus;
  for (const std::uint32_t address : kUsualAddresses) ecus.push_back(EcuAt29(address));
  return ecus;
}

}  // namespace

std::vector<EcuIds> EcusAt(const CanId& target) {
  return target.extended ? EcusAt29(target) : EcusAt11(target);
}

}  // namespace passbridge::tool
