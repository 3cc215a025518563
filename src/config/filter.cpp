#include "config/filter.h"

#include <algorithm>
#include <optional>

#include "passbridge/j2534.h"
#include "platform/memory_probe.h"
#include "trace/methods.h"

namespace passbridge {

namespace {

/// What a filter needs of an application's message, read once.
struct FilterMessage {
  std::uint32_t protocolId;
  std::uint32_t txFlags;
  std::uint32_t dataSize;
  std::array<std::uint8_t, kFilterBytes> bytes;  ///< 0 beyond dataSize
};

std::optional<FilterMessage> Read(const AppMessage& message) {
  const auto* const header = static_cast<const std::uint8_t*>(message.Address());
  if (header == nullptr) return std::nullopt;
  const auto headerSize = static_cast<std::size_t>(message.Data() - header);
  if (!platform::IsReadable(header, headerSize)) return std::nullopt;
  FilterMessage copy{message.ProtocolId(), message.TxFlags(), message.DataSize(), {}};
  const std::size_t used = std::min<std::size_t>(copy.dataSize, kFilterBytes);
  if (!platform::IsReadable(message.Data(), used)) return std::nullopt;
  std::copy_n(message.Data(), used, copy.bytes.begin());
  return copy;
}

/// What an application asks for.
struct Request {
  std::uint32_t protocolId;
  ProtocolType type;
  bool noMixedFormat;
  std::optional<FilterMessage> mask;
  std::optional<FilterMessage> pattern;
  std::optional<FilterMessage> flowControl;
};

bool IsAdmitted(const FilterMessage& message, const Request& request) {
  if (message.protocolId == request.protocolId) return true;
  if (request.noMixedFormat) return false;
  return IsRawFrameOf(request.protocolId, message.protocolId) ||
         !IsRawFrameProtocol(message.protocolId);
}

/// One reason to refuse a filter. Checks run in order: each may rely on those before it.
struct Check {
  bool (*fails)(const Request& request);
  Status status;
  const char* message;
  bool updatesLastError;
};

bool MaskIsNull(const Request& request) { return !request.mask; }
bool PatternIsNull(const Request& request) { return !request.pattern; }
bool MaskIsTooBig(const Request& request) { return request.mask->dataSize > kFilterBytes; }
bool PatternFlagsDiffer(const Request& request) {
  return request.mask->txFlags != request.pattern->txFlags;
}
bool PatternSizeDiffers(const Request& request) {
  return request.mask->dataSize != request.pattern->dataSize;
}

constexpr const char* kForeignMask =
    "Mask ProtocolID differs from ProtocolID used during PassThruConnect().";
constexpr const char* kForeignPattern =
    "Pattern ProtocolID differs from ProtocolID used during PassThruConnect().";
constexpr const char* kForeignFlowControl =
    "FlowControl ProtocolID differs from ProtocolID used during PassThruConnect().";

constexpr std::array<Check, 9> kPassBlockChecks{{
    {MaskIsNull, ERR_NULL_PARAMETER, "NULL Mask Message pointer.", true},
    {PatternIsNull, ERR_NULL_PARAMETER, "NULL Pattern Message pointer.", true},
    {[](const Request& request) { return request.flowControl.has_value(); }, ERR_INVALID_MSG,
     "Valid Flow Control pointer.", true},
    {MaskIsTooBig, ERR_INVALID_MSG, "Mask Data Size is too big.", false},
    {[](const Request& request) { return IsIso15765Type(request.type) && request.noMixedFormat; },
     ERR_FAILED, "Pass and Block Filters are not used for ISO15765.", true},
    {PatternFlagsDiffer, ERR_INVALID_MSG, "Mask and Pattern TxFlags differ.", false},
    {PatternSizeDiffers, ERR_INVALID_MSG, "Mask and Pattern Data Sizes differ.", false},
    {[](const Request& request) { return !IsAdmitted(*request.mask, request); },
     ERR_MSG_PROTOCOL_ID, kForeignMask, false},
    {[](const Request& request) { return !IsAdmitted(*request.pattern, request); },
     ERR_MSG_PROTOCOL_ID, kForeignPattern, false},
}};

constexpr std::array<Check, 12> kFlowControlChecks{{
    {[](const Request& request) { return !IsIso15765Type(request.type) && request.noMixedFormat; },
     ERR_INVALID_FILTER_ID, "FlowControl Filters are only used for ISO15765.", false},
    {MaskIsNull, ERR_NULL_PARAMETER, "NULL Mask Message pointer.", true},
    {PatternIsNull, ERR_NULL_PARAMETER, "NULL Pattern Message pointer.", true},
    {[](const Request& request) { return !request.flowControl; }, ERR_NULL_PARAMETER,
     "NULL FlowControl Message pointer.", true},
    {MaskIsTooBig, ERR_INVALID_MSG, "Mask Data Size is too big.", false},
    {PatternFlagsDiffer, ERR_INVALID_MSG, "Mask and Pattern TxFlags differ.", false},
    {[](const Request& request) { return request.mask->txFlags != request.flowControl->txFlags; },
     ERR_INVALID_MSG, "Mask and FlowControl TxFlags differ.", false},
    {PatternSizeDiffers, ERR_INVALID_MSG, "Mask and Pattern Data Sizes differ.", false},
    {[](const Request& request) { return request.mask->dataSize != request.flowControl->dataSize; },
     ERR_INVALID_MSG, "Mask and FlowControl Data Sizes differ.", false},
    {[](const Request& request) { return request.mask->protocolId != request.protocolId; },
     ERR_MSG_PROTOCOL_ID, kForeignMask, false},
    {[](const Request& request) { return request.pattern->protocolId != request.protocolId; },
     ERR_MSG_PROTOCOL_ID, kForeignPattern, false},
    {[](const Request& request) { return request.flowControl->protocolId != request.protocolId; },
     ERR_MSG_PROTOCOL_ID, kForeignFlowControl, false},
}};

// Exit points of Initialize: the checks in the order of their tables.
constexpr std::uint16_t kTypePoint = 1;
constexpr std::uint16_t kPassBlockPoint = 2;
constexpr std::uint16_t kFlowControlPoint = kPassBlockPoint + kPassBlockChecks.size();
constexpr std::uint16_t kUnknownFilterPoint = kFlowControlPoint + kFlowControlChecks.size();
static_assert(kUnknownFilterPoint == 0x17);

Status RunChecks(const Exits& exit, std::span<const Check> checks, std::uint16_t firstPoint,
                 const Request& request) {
  std::uint16_t point = firstPoint;
  for (const Check& check : checks) {
    if (check.fails(request)) {
      return check.updatesLastError ? exit.Fail(point, check.status, check.message)
                                    : exit.PassOn(point, check.status, check.message);
    }
    ++point;
  }
  return STATUS_NOERROR;
}

/// A getter that fails only for a null pointer.
template <typename T>
Status Give(const Method& method, T* out, T value, const char* ifNull, std::uint16_t point = 1) {
  return Traced(method, [&](Exits& exit) -> Status {
    if (out == nullptr) return exit.Fail(point, ERR_NULL_PARAMETER, ifNull);
    *out = value;
    return exit.Normal();
  });
}

/// The same for all the bytes of a filter message.
Status GiveBytes(const Method& method, UNUM8* out, std::span<const std::uint8_t> bytes,
                 const char* ifNull) {
  return Traced(method, [&](Exits& exit) -> Status {
    if (out == nullptr) return exit.Fail(1, ERR_NULL_PARAMETER, ifNull);
    std::copy(bytes.begin(), bytes.end(), out);
    return exit.Normal();
  });
}

UNUM32 CanIdentifier(std::span<const std::uint8_t, kFilterBytes> bytes) {
  return (UNUM32{bytes[0]} << 24U) | (UNUM32{bytes[1]} << 16U) | (UNUM32{bytes[2]} << 8U) |
         bytes[3];
}

}  // namespace

CJ2534Filter::CJ2534Filter() { TracePassage("CJ2534Filter::CJ2534Filter()"); }

CJ2534Filter::~CJ2534Filter() { TracePassage("CJ2534Filter::~CJ2534Filter()"); }

Status CJ2534Filter::Initialize(std::uint32_t protocolId, std::uint32_t filterType,
                                const AppMessage& mask, const AppMessage& pattern,
                                const AppMessage& flowControl, bool noMixedFormat) {
  return Traced(methods::filter::kInitialize, [&](Exits& exit) -> Status {
    if (SetProtocolType(protocolId) != STATUS_NOERROR) {
      return exit.Fail(kTypePoint, ERR_INVALID_PROTOCOL_ID, "Error getting Protocol Type.");
    }
    if (filterType < PASS_FILTER || filterType > FLOW_CONTROL_FILTER) {
      return exit.PassOn(kUnknownFilterPoint, ERR_INVALID_FILTER_ID, "Invalid Filter Type");
    }
    const Request request{protocolId, Type(),        noMixedFormat,
                          Read(mask), Read(pattern), Read(flowControl)};
    const bool isFlowControl = filterType == FLOW_CONTROL_FILTER;
    const Status status = isFlowControl
                              ? RunChecks(exit, kFlowControlChecks, kFlowControlPoint, request)
                              : RunChecks(exit, kPassBlockChecks, kPassBlockPoint, request);
    if (status != STATUS_NOERROR) return status;
    noMixedFormat_ = noMixedFormat;
    filterType_ = filterType;
    txFlags_ = request.mask->txFlags;
    dataSize_ = request.mask->dataSize;
    mask_ = request.mask->bytes;
    pattern_ = request.pattern->bytes;
    flowControl_ = isFlowControl ? request.flowControl->bytes : Bytes{};
    return exit.Normal();
  });
}

Status CJ2534Filter::IsUnique(const CJ2534Filter& other) const {
  return Traced(methods::filter::kIsUnique, [&](Exits& exit) -> Status {
    if (!IsFlowControl() || !other.IsFlowControl()) return exit.Normal();
    if (std::ranges::equal(Pattern(), other.Pattern())) {
      return exit.Fail(1, ERR_NOT_UNIQUE, "Pattern data is not unique.");
    }
    if (std::ranges::equal(FlowControl(), other.FlowControl())) {
      return exit.Fail(2, ERR_NOT_UNIQUE, "FlowControl data is not unique.");
    }
    return exit.Normal();
  });
}

bool CJ2534Filter::Equals(const CJ2534Filter& other) const {
  return filterType_ == other.filterType_ && std::ranges::equal(Mask(), other.Mask()) &&
         std::ranges::equal(Pattern(), other.Pattern());
}

bool CJ2534Filter::IsPassOrBlock() const {
  return filterType_ == PASS_FILTER || filterType_ == BLOCK_FILTER;
}

bool CJ2534Filter::IsFlowControl() const { return filterType_ == FLOW_CONTROL_FILTER; }

Status CJ2534Filter::GetPduFilterType(T_PDU_FILTER* filterType) const {
  return Traced(methods::filter::kGetPduFilterType, [&](Exits& exit) -> Status {
    if (filterType == nullptr) {
      return exit.Fail(1, ERR_NULL_PARAMETER, "Null Filter Type pointer.");
    }
    const bool isIso15765 = IsIso15765Type(Type());
    if (isIso15765 && (!IsPassOrBlock() || noMixedFormat_)) {
      return exit.Fail(2, ERR_FAILED, "Invalid Filter Type for ISO15765 Protocol.");
    }
    if (!IsPassOrBlock()) {
      return exit.Fail(3, ERR_FAILED, "Invalid Filter Type for non-ISO15765 Protocol.");
    }
    *filterType = filterType_ == PASS_FILTER ? PDU_FLT_PASS : PDU_FLT_BLOCK;
    return exit.Normal();
  });
}

Status CJ2534Filter::GetPduFilterNumber(UNUM32* filterNumber) const {
  return Give(methods::filter::kGetPduFilterNumber, filterNumber, filterId_,
              "Null Filter Number pointer.");
}

Status CJ2534Filter::GetPduFilterCompareSize(UNUM32* compareSize) const {
  return Give(methods::filter::kGetPduFilterCompareSize, compareSize, dataSize_,
              "Null Filter Compare Size pointer.");
}

Status CJ2534Filter::GetPduFilterMask(UNUM8* mask) const {
  return GiveBytes(methods::filter::kGetPduFilterMask, mask, mask_, "Null Filter Mask pointer.");
}

Status CJ2534Filter::GetPduFilterPattern(UNUM8* pattern) const {
  return GiveBytes(methods::filter::kGetPduFilterPattern, pattern, pattern_,
                   "Null Filter Pattern pointer.");
}

Status CJ2534Filter::GetPduRespCanId(UNUM32* canId) const {
  return Give(methods::filter::kGetPduRespCanId, canId, CanIdentifier(pattern_),
              "Null Response CAN ID pointer.");
}

Status CJ2534Filter::GetPduFlowControlCanId(UNUM32* canId) const {
  return Give(methods::filter::kGetPduFlowControlCanId, canId, CanIdentifier(flowControl_),
              "Null Response CAN ID pointer.");
}

UNUM32 CJ2534Filter::CanFormat() const {
  // Bits of the D-PDU API's CAN format values.
  constexpr UNUM32 kSegmented = 0x01;
  constexpr UNUM32 k29Bits = 0x02;
  constexpr UNUM32 kFlowControlled = 0x04;
  constexpr UNUM32 kExtendedAddress = 0x08;
  constexpr UNUM32 kPadded = 0x30;

  if (!IsCanType(Type())) return 0;
  UNUM32 format = 0;
  if ((txFlags_ & ISO15765_ADDR_TYPE) != 0) format |= kExtendedAddress;
  if ((txFlags_ & CAN_29BIT_ID) != 0) format |= k29Bits;
  if ((txFlags_ & ISO15765_FRAME_PAD) != 0) format |= kPadded;
  if (IsIso15765Type(Type()) && IsFlowControl()) format |= kSegmented | kFlowControlled;
  return format;
}

Status CJ2534Filter::GetPduRespCanFormat(UNUM32* canFormat) const {
  return Give(methods::filter::kGetPduRespCanFormat, canFormat, CanFormat(),
              "Null Response CAN Format pointer.");
}

UNUM32 CJ2534Filter::ExtendedAddress(const Bytes& bytes) const {
  const bool hasAddress = (txFlags_ & ISO15765_ADDR_TYPE) != 0 && HasExtendedAddresses(Type());
  return hasAddress ? bytes[4] : 0;
}

// The two share a method number; their exits follow one another.

Status CJ2534Filter::GetPduRespCanExtAddr(UNUM32* extAddr) const {
  return Give(methods::filter::kGetPduRespCanExtAddr, extAddr, ExtendedAddress(pattern_),
              "Null Response CAN ID pointer.");
}

Status CJ2534Filter::GetPduFlowControlExtAddr(UNUM32* extAddr) const {
  return Give(methods::filter::kGetPduFlowControlExtAddr, extAddr, ExtendedAddress(flowControl_),
              "Null FlowControl CAN ID pointer.", 3);
}

}  // namespace passbridge
