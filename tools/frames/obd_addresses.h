// Who answers whom on CAN (ISO 15765-4).
#ifndef PASSBRIDGE_TOOLS_FRAMES_OBD_ADDRESSES_H_
#define PASSBRIDGE_TOOLS_FRAMES_OBD_ADDRESSES_H_

#include <vector>

#include "frames/can_frame.h"

namespace passbridge::tool {

struct EcuIds {
  CanId request;
  CanId answer;
};

// The ECUs that a request to `target` reaches: one, or those that a functional request may. Of
// 29-bit ones these are the addresses that usual ECUs have, as many as a J2534 channel holds
// filters for. Throws std::invalid_argument with a text for the user if `target` is no identifier
// for requests.
std::vector<EcuIds> EcusAt(const CanId& target);

}  // namespace passbridge::tool

#endif  // PASSBRIDGE_TOOLS_FRAMES_OBD_ADDRESSES_H_
