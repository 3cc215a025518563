/// \file
/// What an ECU answers. Knows nothing of frames.
#ifndef VIRTUAL_VCI_VEHICLE_ECU_SERVICES_H_
#define VIRTUAL_VCI_VEHICLE_ECU_SERVICES_H_

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "virtual_vci/scenario/scenario.h"

namespace virtual_vci {

/// One request and the circumstances under which it is answered.
struct EcuRequest {
  std::span<const std::uint8_t> bytes;  ///< at least one
  bool functional;                      ///< sent to all ECUs: one that can't help is silent
  Micros begun;                         ///< when it began to come in
  Micros now;

  std::uint8_t Service() const { return bytes[0]; }
};

/// Codes of negative responses.
enum class Refusal : std::uint8_t {
  kNone = 0,
  kServiceNotSupported = 0x11,
  kSubFunctionNotSupported = 0x12,
  kWrongLength = 0x13,
  kConditionsNotCorrect = 0x22,
  kSequenceError = 0x24,
  kOutOfRange = 0x31,
  kAccessDenied = 0x33,
  kInvalidKey = 0x35,
  kTooManyAttempts = 0x36,
  kDelayNotExpired = 0x37,
  kDownloadNotAccepted = 0x70,
  kTransferSuspended = 0x71,
  kProgrammingFailure = 0x72,
  kWrongBlock = 0x73,
  kPending = 0x78,
  kNotInSession = 0x7F,
};

/// A positive response begins with the service and this.
inline constexpr std::uint8_t kPositive = 0x40;

/// What comes of a request: a response, a refusal, or silence (both empty).
struct EcuAnswer {
  Bytes response;
  Refusal refusal = Refusal::kNone;
  std::uint32_t pending = 0;  ///< how many "response pending" come first

  static EcuAnswer Refuse(Refusal refusal) { return {{}, refusal, 0}; }
};

/// A group of services. Guarded by the module's lock.
class EcuService {
 public:
  virtual ~EcuService() = default;
  /// False if the request isn't one of this group's.
  virtual bool Handle(const EcuRequest& request, EcuAnswer& answer) = 0;
};

std::unique_ptr<EcuService> MakeObdService(const ObdConfig& config,
                                           const std::vector<Signal>& signals);
std::unique_ptr<EcuService> MakeUdsService(const UdsConfig& config,
                                           const std::vector<Signal>& signals);

std::unique_ptr<EcuService> MakeUartService(const UartConfig& config,
                                            const std::vector<Signal>& signals);

/// Everything that an ECU answers: its rules, then its groups of services. Guarded by the module's
/// lock.
class EcuServices {
 public:
  /// `config` must outlive this.
  explicit EcuServices(const EcuConfig& config);
  /// The messages to send, one after the other; none for silence.
  std::vector<Bytes> Answer(const EcuRequest& request);

 private:
  bool HandleByRule(const EcuRequest& request, EcuAnswer& answer) const;

  const EcuConfig& config_;
  std::vector<std::unique_ptr<EcuService>> groups_;
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_VEHICLE_ECU_SERVICES_H_
