#ifndef PASSBRIDGE_CONFIG_PARAMETER_TABLE_H_
#define PASSBRIDGE_CONFIG_PARAMETER_TABLE_H_

#include <cstdint>
#include <optional>
#include <span>

#include "j2534/protocol.h"
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

/// Both ends belong to the range.
struct ValueRange {
  std::uint32_t first;
  std::uint32_t last;

  constexpr bool Contains(std::uint32_t value) const { return first <= value && value <= last; }
};

/// A value that the channels of some ProtocolIDs have.
struct ProtocolValue {
  ValueRange protocolIds;
  std::uint32_t value;
};

/// What the channels of some ProtocolIDs accept: one of two ranges.
struct ProtocolRule {
  ValueRange protocolIds;
  ValueRange accepted;
  ValueRange orAccepted;
};

struct ParameterRow {
  std::uint32_t id;
  std::optional<pdu::ComParam> comParam;  ///< none: the D-PDU library never hears of it
  std::uint32_t defaultValue;
  ValueRange accepted;
  Conversion conversion = Conversion::Unchanged;
  std::optional<std::uint32_t> alsoAccepted = std::nullopt;  ///< one value beside the range
  std::span<const ProtocolValue> defaults = {};  ///< precede defaultValue for their ProtocolIDs
  std::span<const ProtocolRule> rules = {};      ///< hold in addition to `accepted`
};

/// The row of a parameter, or null for one that the library does not know.
const ParameterRow* FindParameter(std::uint32_t parameterId);

/// The value, in J2534 units, that a parameter has on a new channel.
std::uint32_t DefaultValueOf(const ParameterRow& parameter, std::uint32_t protocolId);

/// Whether a channel of the ProtocolID can have the value, in J2534 units.
bool IsAccepted(const ParameterRow& parameter, std::uint32_t protocolId, std::uint32_t value);

/// The parameters that every channel holds.
std::span<const std::uint32_t> CommonParameters();

/// The parameters that a channel of the type holds beside the common ones.
std::span<const std::uint32_t> ParametersOf(ProtocolType type);

}  // namespace passbridge

#endif  // PASSBRIDGE_CONFIG_PARAMETER_TABLE_H_
