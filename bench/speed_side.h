/// \file
/// The two sides that are compared: a loop straight on the D-PDU API, and the exported functions.
#ifndef BENCH_SPEED_SIDE_H_
#define BENCH_SPEED_SIDE_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "passbridge/j2534.h"
#include "tests/virtual_vci/pdu_library.h"

namespace bench {

inline constexpr UNUM32 kModule = 0x1001;  ///< the virtual VCI's first
inline constexpr std::uint32_t kRequestId = 0x7E0;
inline constexpr std::uint32_t kResponseId = 0x7E8;

/// What a session is opened for.
struct Plan {
  bool iso15765 = false;  ///< else raw CAN
  bool packed = false;    ///< whether the VCI packs frames that wait
  unsigned channels = 1;  ///< all of the same bus
  unsigned filters = 1;   ///< on each; the first lets everything pass (ISO 15765: has one always)
  bool trace = false;     ///< of the bridged side
  bool local = false;     ///< whether it reads single messages into a local variable
};

/// A message: identifier, most significant byte first, and data.
using Message = std::vector<std::uint8_t>;

/// One side. Channels count from 0; every failure ends the program.
class Side {
 public:
  virtual ~Side() = default;

  /// Opens the VCI, connects the channels.
  virtual void Begin(const Plan& plan) = 0;
  virtual void End() = 0;
  /// Connects one channel more, and disconnects it.
  virtual void ConnectAndDisconnect() = 0;

  /// Reads so many messages that are no indications; the bridged side takes up to `perRead` in a
  /// call.
  virtual void Receive(unsigned channel, std::uint32_t count, std::uint32_t perRead) = 0;
  /// Sends `count` times the same, as one ComPrimitive or one call.
  virtual void Send(const Message& message, std::uint32_t count, bool wait) = 0;
};

/// Ends the program with a text.
[[noreturn]] void Fail(const std::string& what, long result);

std::unique_ptr<Side> MakeBareSide(virtual_vci_test::PduLibrary& library);
/// Settings must name the D-PDU library.
std::unique_ptr<Side> MakeBridgedSide();

}  // namespace bench

#endif  // BENCH_SPEED_SIDE_H_
