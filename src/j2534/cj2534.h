#ifndef PASSBRIDGE_J2534_CJ2534_H_
#define PASSBRIDGE_J2534_CJ2534_H_

#include <cstdint>

#include "j2534/app_memory.h"
#include "j2534/protocol.h"
#include "trace/location.h"

namespace passbridge {

/// What the server and every channel object have in common: pointer validation, protocol
/// classification and the read-out of the last error. Nothing here updates the last error.
class CJ2534 {
 public:
  /// ERR_NULL_PARAMETER unless a 32-bit word can be read through the pointer.
  static Status ValidatePointer(const void* pointer);
  /// The same for a cell that will be written: it must be writable over its whole width.
  static Status ValidatePointer(const AppValue& value, std::size_t count = 1);

  /// Classifies a ProtocolID. An unknown one is given back as its own type, with
  /// ERR_INVALID_PROTOCOL_ID.
  static Status GetProtocolType(std::uint32_t protocolId, ProtocolType* protocolType);
  /// Writes the name, at most 12 characters and the terminator; empty where there is none.
  static Status GetProtocolName(std::uint32_t protocolId, char* name);
  /// Classifies and keeps the type; an unknown ProtocolID leaves it as it was.
  Status SetProtocolType(std::uint32_t protocolId);

  /// Writes the last error as a text of at most 79 characters and its terminator. Leaves the
  /// record as it is, and no trace line.
  static Status PassThruGetLastError(char* errorDescription);

 protected:
  CJ2534() = default;
  ~CJ2534() = default;

  ProtocolType Type() const { return protocolType_; }

 private:
  ProtocolType protocolType_ = 0;
};

}  // namespace passbridge

#endif  // PASSBRIDGE_J2534_CJ2534_H_
