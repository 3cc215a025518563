#include "virtual_vci/vehicle/ecu_services.h"

#include <algorithm>

namespace virtual_vci {

namespace {

constexpr std::uint8_t kNegativeResponse = 0x7F;

Bytes NegativeResponse(std::uint8_t service, Refusal refusal) {
  return {kNegativeResponse, service, static_cast<std::uint8_t>(refusal)};
}

/// Refusals that a request to all ECUs doesn't get.
bool SilentForAll(Refusal refusal) {
  return refusal == Refusal::kServiceNotSupported || refusal == Refusal::kSubFunctionNotSupported ||
         refusal == Refusal::kOutOfRange || refusal == Refusal::kNotInSession;
}

}  // namespace

EcuServices::EcuServices(const EcuConfig& config) : config_(config) {
  if (config.obd) groups_.push_back(MakeObdService(*config.obd, config.signals));
  if (config.uds) groups_.push_back(MakeUdsService(*config.uds, config.signals));
  if (config.uart) groups_.push_back(MakeUartService(*config.uart, config.signals));
}

bool EcuServices::HandleByRule(const EcuRequest& request, EcuAnswer& answer) const {
  for (const RuleConfig& rule : config_.rules) {
    if (!rule.request.Matches(request.bytes)) continue;
    answer.response = rule.response.Build(config_.signals, request.now, request.bytes);
    answer.pending = rule.pending;
    return true;
  }
  return false;
}

std::vector<Bytes> EcuServices::Answer(const EcuRequest& request) {
  EcuAnswer answer;
  const bool handled = HandleByRule(request, answer) ||
                       std::any_of(groups_.begin(), groups_.end(), [&](const auto& group) {
                         return group->Handle(request, answer);
                       });
  if (!handled) answer = EcuAnswer::Refuse(Refusal::kServiceNotSupported);
  std::vector<Bytes> messages(answer.pending,
                              NegativeResponse(request.Service(), Refusal::kPending));
  if (answer.refusal != Refusal::kNone) {
    if (request.functional && SilentForAll(answer.refusal)) return {};
    messages.push_back(NegativeResponse(request.Service(), answer.refusal));
  } else if (!answer.response.empty()) {
    messages.push_back(std::move(answer.response));
  }
  return messages;
}

}  // namespace virtual_vci
