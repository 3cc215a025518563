#ifndef PASSBRIDGE_TESTS_STRESS_MESSAGES_H_
#define PASSBRIDGE_TESTS_STRESS_MESSAGES_H_

#include <array>
#include <cstdint>

#include "choices.h"
#include "passbridge/j2534.h"

namespace passbridge::stress {

constexpr j2534_ulong kBaudRate = 500000;

struct Identifier {
  std::uint32_t value;
  j2534_ulong txFlags;
};

/// Requests to both ECUs and to all, and what nobody hears.
constexpr std::array<Identifier, 6> kIdentifiers{{{0x7E0, 0},
                                                  {0x7E1, 0},
                                                  {0x7DF, 0},
                                                  {0x123, 0},
                                                  {0x18DA10F1, CAN_29BIT_ID},
                                                  {0x01234567, CAN_29BIT_ID}}};

/// A CAN message of 4 + `size` bytes, which ask an ECU for its speed where they are enough.
inline PASSTHRU_MSG MakeMessage(j2534_ulong protocol, const Identifier& identifier,
                                std::uint32_t size) {
  constexpr std::array<unsigned char, 8> kRequest{2, 1, 0x0D};
  PASSTHRU_MSG message{};
  message.ProtocolID = protocol;
  message.TxFlags = identifier.txFlags;
  message.DataSize = 4 + size;
  for (unsigned i = 0; i < 4; ++i) {
    message.Data[i] = static_cast<unsigned char>(identifier.value >> (24 - 8 * i));
  }
  for (unsigned i = 0; i < size; ++i) message.Data[4 + i] = kRequest[i];
  return message;
}

inline PASSTHRU_MSG ChooseMessage(Choices& choices, j2534_ulong protocol) {
  const Identifier& identifier = kIdentifiers[choices.Below(kIdentifiers.size())];
  PASSTHRU_MSG message = MakeMessage(protocol, identifier, choices.Below(9));
  if (choices.OneIn(4)) message.TxFlags |= ISO15765_FRAME_PAD;
  return message;
}

}  // namespace passbridge::stress

#endif  // PASSBRIDGE_TESTS_STRESS_MESSAGES_H_
