#ifndef PASSBRIDGE_PROTOCOLS_SINGLE_WIRE_H_
#define PASSBRIDGE_PROTOCOLS_SINGLE_WIRE_H_

#include <cstdint>

#include "passbridge/d_pdu_api.h"

namespace passbridge {

/// The pin of a bus with one wire, which an application may give in either byte of J1962_PINS; 0
/// while there is none.
constexpr PDU_PIN_DATA SingleWirePin(std::uint32_t j1962Pins) {
  const std::uint32_t first = (j1962Pins >> 8U) & 0xFFU;
  return {first != 0 ? first : j1962Pins & 0xFFU, 0};
}

}  // namespace passbridge

#endif  // PASSBRIDGE_PROTOCOLS_SINGLE_WIRE_H_
