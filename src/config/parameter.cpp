#include "config/parameter.h"

#include <optional>

#include "config/parameter_table.h"
#include "pdu/com_param.h"
#include "trace/methods.h"

namespace passbridge {

namespace {

constexpr std::uint32_t kUnknownDefault = 0xFFFFFFFF;

/// Times of 100 to 900 us have STmin bytes of their own; all others are milliseconds.
UNUM32 SeparationTimeInMicroseconds(std::uint32_t stMin) {
  constexpr std::uint32_t kAsEcuSays = 0xFFFF;
  if (stMin == kAsEcuSays) return stMin;
  return stMin >= 0xF1 && stMin <= 0xF9 ? (stMin - 0xF0) * 100 : stMin * 1000;
}

// A UART configuration is a number: the three parities (none, odd, even) with one stop bit, these
// with two, and all that for 7, for 8 and for 9 data bits.
constexpr UNUM32 kUartConfigs = 18;
constexpr UNUM32 kParities = 3;
constexpr UNUM32 kEightDataBits = 6;

UNUM32 WithParity(UNUM32 uartConfig, std::uint32_t parity) {
  return uartConfig - uartConfig % kParities + parity;
}

UNUM32 WithDataBits(UNUM32 uartConfig, std::uint32_t dataBits) {
  return uartConfig % kEightDataBits + (dataBits == DATA_BITS_8 ? kEightDataBits : 0);
}

/// Nothing where the link's UART configuration is none of those that exist.
std::optional<UNUM32> Convert(Conversion conversion, std::uint32_t value, UNUM32 current) {
  switch (conversion) {
    case Conversion::HalfMilliseconds:
      return value * 1000 / 2;
    case Conversion::Milliseconds:
      return value * 1000;
    case Conversion::SeparationTime:
      return SeparationTimeInMicroseconds(value);
    case Conversion::Parity:
      if (current >= kUartConfigs) return std::nullopt;
      return WithParity(current, value);
    case Conversion::DataBits:
      if (current >= kUartConfigs) return std::nullopt;
      return WithDataBits(current, value);
    case Conversion::Unchanged:
      break;
  }
  return value;
}

}  // namespace

CJ2534Parameter::CJ2534Parameter() { TracePassage("CJ2534Parameter::CJ2534Parameter()"); }

CJ2534Parameter::CJ2534Parameter(std::uint32_t parameterId) : parameterId_(parameterId) {
  TracePassage("CJ2534Parameter::CJ2534Parameter(unsigned long)");
}

Status CJ2534Parameter::Initialize(std::uint32_t protocolId) {
  return Traced(methods::parameter::kInitialize, [&](Exits& exit) -> Status {
    if (const Status status = GetPduComParamId(parameterId_, &pduComParamId_)) {
      return exit.PassOn(2, status, "Error getting PDU ParamId.");
    }
    std::uint32_t value = 0;
    if (const Status status = GetDefaultValue(protocolId, parameterId_, &value)) {
      return exit.PassOn(4, status, "Error getting default value.");
    }
    value_ = value;
    modified_ = true;
    return exit.Normal();
  });
}

Status CJ2534Parameter::GetPduComParamId(std::uint32_t parameterId, UNUM32* comParamId) {
  return Traced(methods::parameter::kGetPduComParamId, [&](Exits& exit) -> Status {
    if (comParamId == nullptr) return exit.Fail(1, ERR_NULL_PARAMETER, "Invalid pointer.");
    *comParamId = 0;
    const ParameterRow* const row = FindParameter(parameterId);
    if (row == nullptr) return exit.PassOn(2, ERR_NOT_SUPPORTED, "Unsupported Parameter");
    if (row->comParam) *comParamId = pdu::ComParamId(*row->comParam);
    return exit.Normal();
  });
}

Status CJ2534Parameter::GetDefaultValue(std::uint32_t protocolId, std::uint32_t parameterId,
                                        std::uint32_t* value) {
  return Traced(methods::parameter::kGetDefaultValue, [&](Exits& exit) -> Status {
    if (value == nullptr) return exit.Fail(1, ERR_NULL_PARAMETER, "Invalid pointer.");
    const ParameterRow* const row = FindParameter(parameterId);
    *value = row != nullptr ? DefaultValueOf(*row, protocolId) : kUnknownDefault;
    if (row == nullptr) return exit.PassOn(2, ERR_NOT_SUPPORTED, "Unsupported J2534 ProtocolID.");
    return exit.Normal();
  });
}

Status CJ2534Parameter::ValidateValue(std::uint32_t protocolId, std::uint32_t parameterId,
                                      std::uint32_t value) {
  return Traced(methods::parameter::kValidateValue, [&](Exits& exit) -> Status {
    const ParameterRow* const row = FindParameter(parameterId);
    if (row == nullptr) return exit.PassOn(1, ERR_NOT_SUPPORTED, "Unsupported Parameter.");
    if (!IsAccepted(*row, protocolId, value)) {
      return exit.Fail(2, ERR_INVALID_IOCTL_VALUE, "Invalid Parameter value.");
    }
    return exit.Normal();
  });
}

Status CJ2534Parameter::SetValue(std::uint32_t protocolId, std::uint32_t value) {
  return Traced(methods::parameter::kSetValue, [&](Exits& exit) -> Status {
    if (const Status status = ValidateValue(protocolId, parameterId_, value)) {
      return exit.PassOn(1, status, "Error setting PDU ComParam value.");
    }
    if (value_.exchange(value) != value) modified_ = true;
    return exit.Normal();
  });
}

Status CJ2534Parameter::GetValue(std::uint32_t* value) const {
  return Traced(methods::parameter::kGetValue, [&](Exits& exit) -> Status {
    if (value == nullptr) return exit.Fail(1, ERR_NULL_PARAMETER, "Invalid Parameter pointer.");
    *value = value_;
    return exit.Normal();
  });
}

Status CJ2534Parameter::SetParameter(std::uint32_t parameterId) {
  return Traced(methods::parameter::kSetParameter, [&](Exits& exit) -> Status {
    parameterId_ = parameterId;
    return exit.Normal();
  });
}

Status CJ2534Parameter::GetParameter(std::uint32_t* parameterId) const {
  return Traced(methods::parameter::kGetParameter, [&](Exits& exit) -> Status {
    if (parameterId == nullptr) {
      return exit.Fail(1, ERR_NULL_PARAMETER, "Invalid Parameter pointer.");
    }
    *parameterId = parameterId_;
    return exit.Normal();
  });
}

Status CJ2534Parameter::GetConvertedPDUValue(UNUM32* pduValue, UNUM32 currentPduValue) const {
  return Traced(methods::parameter::kGetConvertedPDUValue, [&](Exits& exit) -> Status {
    if (pduValue == nullptr) {
      return exit.Fail(1, ERR_NULL_PARAMETER, "NULL pointer to PDU Value.");
    }
    const ParameterRow* const row = FindParameter(parameterId_);
    const Conversion conversion = row != nullptr ? row->conversion : Conversion::Unchanged;
    const std::optional<UNUM32> converted = Convert(conversion, value_, currentPduValue);
    if (!converted) return exit.Fail(2, ERR_FAILED, "Invalid UART configuration on the link.");
    *pduValue = *converted;
    return exit.Normal();
  });
}

}  // namespace passbridge
