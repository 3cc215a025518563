#include "j2534/cj2534.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>

#include "j2534/status_text.h"
#include "platform/memory_probe.h"
#include "trace/last_error.h"
#include "trace/methods.h"

namespace passbridge {

namespace {

template <typename Probe>
Status Validate(const void* pointer, Probe probe) {
  return Traced(methods::utility::kValidatePointer, [&](Exits& exit) -> Status {
    if (pointer == nullptr) {
      return Exits::NormalAs("CJ2534::ValidatePointer() - NULL Pointer", ERR_NULL_PARAMETER);
    }
    if (!probe()) {
      return exit.PassOn(1, ERR_NULL_PARAMETER, "Exception was thrown, so the pointer's invalid.");
    }
    return exit.Normal();
  });
}

std::string LastErrorText() {
  const LastErrorRecord& record = LastErrorRecord::Instance();
  const Status status = record.LastStatus();
  if (status == ERR_FAILED) return record.Text();
  const char* const text = StatusText(status);
  if (text == nullptr) return "UNKNOWN Error Code";
  if (status == STATUS_NOERROR) return text;
  std::array<char, 128> composed{};
  std::snprintf(composed.data(), composed.size(), "(%08X:%08X) %s", record.LastLocation(),
                record.LastPduCode(), text);
  return composed.data();
}

}  // namespace

Status CJ2534::ValidatePointer(const void* pointer) {
  return Validate(pointer,
                  [pointer] { return platform::IsReadable(pointer, sizeof(std::uint32_t)); });
}

Status CJ2534::ValidatePointer(const AppValue& value, std::size_t count) {
  return Validate(value.Address(),
                  [&] { return platform::IsWritable(value.Address(), count * value.Size()); });
}

Status CJ2534::GetProtocolType(std::uint32_t protocolId, ProtocolType* protocolType) {
  return Traced(methods::utility::kGetProtocolType, [&](Exits& exit) -> Status {
    if (protocolType == nullptr) {
      return exit.PassOn(1, ERR_NULL_PARAMETER, "NULL ProtocolType Pointer.");
    }
    const std::optional<ProtocolType> known = ProtocolTypeOf(protocolId);
    *protocolType = known.value_or(protocolId);
    if (!known) return exit.PassOn(2, ERR_INVALID_PROTOCOL_ID, "Invalid ProtocolID.");
    return exit.Normal();
  });
}

Status CJ2534::GetProtocolName(std::uint32_t protocolId, char* name) {
  return Traced(methods::utility::kGetProtocolName, [&](Exits& exit) -> Status {
    if (name == nullptr) return exit.PassOn(1, ERR_NULL_PARAMETER, "NULL ProtocolName Pointer.");
    ProtocolType type = 0;
    if (const Status status = GetProtocolType(protocolId, &type)) {
      return exit.PassOn(2, status, "NULL Invalid ProtocolID.");
    }
    const char* const text = ProtocolTypeName(type);
    std::strcpy(name, text != nullptr ? text : "");
    if (text == nullptr) {
      return exit.PassOn(3, ERR_INVALID_PROTOCOL_ID, "NULL Invalid ProtocolID.");
    }
    return exit.Normal();
  });
}

Status CJ2534::SetProtocolType(std::uint32_t protocolId) {
  return Traced(methods::utility::kSetProtocolType, [&](Exits& exit) -> Status {
    ProtocolType type = 0;
    if (const Status status = GetProtocolType(protocolId, &type)) {
      return exit.PassOn(1, status, "Invalid ProtocolID.");
    }
    protocolType_ = type;
    return exit.Normal();
  });
}

Status CJ2534::PassThruGetLastError(char* errorDescription) {
  if (errorDescription == nullptr || !platform::IsReadable(errorDescription, 1)) {
    return ERR_NULL_PARAMETER;
  }
  try {
    std::string text = LastErrorText();
    text.resize(std::min(text.size(), kMaxLastErrorText));
    if (!platform::IsWritable(errorDescription, text.size() + 1)) return ERR_FAILED;
    std::memcpy(errorDescription, text.c_str(), text.size() + 1);
    return STATUS_NOERROR;
  } catch (...) {
    return ERR_FAILED;
  }
}

}  // namespace passbridge
