// Emission-related services of an ECU.
#include <algorithm>
#include <string>

#include "virtual_vci/vehicle/ecu_services.h"

namespace virtual_vci {

namespace {

constexpr std::size_t kMaxPids = 6;
constexpr std::size_t kCalibrationLength = 16;
constexpr std::size_t kNameLength = 20;

void AppendText(Bytes& bytes, const std::string& text, std::size_t length) {
  for (std::size_t i = 0; i < length; ++i)
    bytes.push_back(i < text.size() ? static_cast<std::uint8_t>(text[i]) : std::uint8_t{0});
}

/// Four bytes that say which of the 32 numbers behind `base` exist, and whether any higher one
/// does.
Bytes SupportMask(std::uint8_t base, const std::vector<std::uint8_t>& numbers) {
  std::uint32_t mask = 0;
  for (const std::uint8_t number : numbers) {
    if (number > base && number <= base + 32) mask |= 1u << (32 - (number - base));
    if (number > base + 32) mask |= 1;
  }
  return {static_cast<std::uint8_t>(mask >> 24), static_cast<std::uint8_t>(mask >> 16),
          static_cast<std::uint8_t>(mask >> 8), static_cast<std::uint8_t>(mask)};
}

class ObdService : public EcuService {
 public:
  ObdService(const ObdConfig& config, const std::vector<Signal>& signals)
      : config_(config), signals_(signals), faults_(config.faults) {
    for (const ObdConfig::Pid& pid : config.pids) pids_.push_back(pid.number);
  }

  bool Handle(const EcuRequest& request, EcuAnswer& answer) override {
    switch (request.Service()) {
      case 0x01:
        answer = CurrentData(request);
        return true;
      case 0x03:
      case 0x0A:
        answer.response = Faults(request.Service(), faults_);
        return true;
      case 0x04:
        faults_.clear();
        answer.response = {kPositive + 0x04};
        return true;
      case 0x07:
        answer.response = Faults(request.Service(), {});
        return true;
      case 0x09:
        answer = VehicleInformation(request);
        return true;
      default:
        return false;
    }
  }

 private:
  bool AppendPid(Bytes& response, std::uint8_t number, Micros now) const {
    if (number % 0x20 == 0) {
      const bool any = number == 0 || std::any_of(pids_.begin(), pids_.end(),
                                                  [&](auto pid) { return pid > number; });
      if (!any) return false;
      const Bytes mask = SupportMask(number, pids_);
      response.push_back(number);
      response.insert(response.end(), mask.begin(), mask.end());
      return true;
    }
    for (const ObdConfig::Pid& pid : config_.pids) {
      if (pid.number != number) continue;
      const Bytes data = pid.data.Build(signals_, now, {});
      response.push_back(number);
      response.insert(response.end(), data.begin(), data.end());
      return true;
    }
    return false;
  }

  EcuAnswer CurrentData(const EcuRequest& request) const {
    const auto wanted = request.bytes.subspan(1);
    if (wanted.empty() || wanted.size() > kMaxPids) return EcuAnswer::Refuse(Refusal::kWrongLength);
    EcuAnswer answer;
    answer.response = {kPositive + 0x01};
    bool any = false;
    for (const std::uint8_t pid : wanted) any |= AppendPid(answer.response, pid, request.now);
    return any ? answer : EcuAnswer::Refuse(Refusal::kSubFunctionNotSupported);
  }

  static Bytes Faults(std::uint8_t service, const std::vector<std::uint16_t>& faults) {
    Bytes response{static_cast<std::uint8_t>(kPositive + service),
                   static_cast<std::uint8_t>(faults.size())};
    for (const std::uint16_t fault : faults) {
      response.push_back(static_cast<std::uint8_t>(fault >> 8));
      response.push_back(static_cast<std::uint8_t>(fault));
    }
    return response;
  }

  EcuAnswer VehicleInformation(const EcuRequest& request) const {
    if (request.bytes.size() != 2) return EcuAnswer::Refuse(Refusal::kWrongLength);
    EcuAnswer answer;
    const std::uint8_t type = request.bytes[1];
    answer.response = {kPositive + 0x09, type};
    if (type == 0x00) {
      const Bytes mask = SupportMask(0, {0x02, 0x04, 0x0A});
      answer.response.insert(answer.response.end(), mask.begin(), mask.end());
      return answer;
    }
    answer.response.push_back(1);  // number of data items
    if (type == 0x02) {
      AppendText(answer.response, config_.vin, config_.vin.size());
    } else if (type == 0x04) {
      AppendText(answer.response, config_.calibration, kCalibrationLength);
    } else if (type == 0x0A) {
      AppendText(answer.response, config_.name, kNameLength);
    } else {
      return EcuAnswer::Refuse(Refusal::kSubFunctionNotSupported);
    }
    return answer;
  }

  const ObdConfig& config_;
  const std::vector<Signal>& signals_;
  std::vector<std::uint8_t> pids_;
  std::vector<std::uint16_t> faults_;
};

}  // namespace

std::unique_ptr<EcuService> MakeObdService(const ObdConfig& config,
                                           const std::vector<Signal>& signals) {
  return std::make_unique<ObdService>(config, signals);
}

}  // namespace virtual_vci
