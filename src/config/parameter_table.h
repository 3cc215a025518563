#ifndef PASSBRIDGE_CONFIG_PARAMETER_TABLE_H_
#define PASSBRIDGE_CONFIG_PARAMETER_TABLE_H_

#include <cstdint>
#include <optional>
#include <span>

#include "j2534/protocol.h"
#include "j2534/value_range.h"
#include "pdu/com_param.h"

/// What is known of each J2534 configuration parameter. Pure data: nothing here reports a failure.
namespace passbridge {

/// How a value in J2534 units becomes the value of its ComParam.
enum class Conversion : std::uint8_t {
  Unchanged,
  HalfMilliseconds,  ///< steps of 0.5 ms to microseconds
  Milliseconds,      ///< to microseconds
  SeparationTime,  ///< STmin byte of ISO 15765-2 to microseconds; 0xFFFF, "as the ECU says", stays
  Parity,          ///< replaces the parity in the link's UART configuration
  DataBits,        ///< replaces the data bits there
};

struct ParameterRow {
  std::uint32_t id;
  std::optional<pdu::ComParam> comParam;  ///< none: the D-PDU library never hears of it
  bool (*isHeldBy)(ProtocolType type);    ///< whether a channel has it in its list
  std::uint32_t defaultValue;
  ValueRange accepted;
  Conversion conversion = Conversion::Unchanged;
  std::optional<std::uint32_t> alsoAccepted = std::nullopt;  ///< one value beside the range
  /// Precedes defaultValue, which is then without meaning.
  std::uint32_t (*defaultFor)(std::uint32_t protocolId) = nullptr;
  /// Asked in addition to `accepted`.
  bool (*isAcceptedBy)(std::uint32_t protocolId, std::uint32_t value) = nullptr;
};

/// The row of a parameter, or null for one that the library does not know.
const ParameterRow* FindParameter(std::uint32_t parameterId);

/// The value, in J2534 units, that a parameter has on a new channel.
std::uint32_t DefaultValueOf(const ParameterRow& parameter, std::uint32_t protocolId);

/// Whether a channel of the ProtocolID can have the value, in J2534 units.
bool IsAccepted(const ParameterRow& parameter, std::uint32_t protocolId, std::uint32_t value);

/// All that the library knows, those that come first in a list first.
std::span<const ParameterRow> AllParameters();

}  // namespace passbridge

#endif  // PASSBRIDGE_CONFIG_PARAMETER_TABLE_H_
