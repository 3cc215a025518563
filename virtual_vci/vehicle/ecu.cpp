#include "virtual_vci/vehicle/ecu.h"

#include <utility>

namespace virtual_vci {

Ecu::Ecu(const EcuConfig& config, Scheduler& scheduler, FloodGate& flood)
    : config_(config), scheduler_(scheduler), flood_(flood), services_(config) {}

Ecu::~Ecu() { scheduler_.Cancel(responseTimer_); }

void Ecu::SitOn(Bus& bus, const PortConfig& port) {
  ports_.push_back(bus.MakePort(port, {*this, config_.signals, scheduler_, flood_}));
}

void Ecu::SetCyclic(bool on) {
  for (const auto& port : ports_) port->SetCyclic(on);
}

void Ecu::SetFault(EcuFault fault) {
  for (const auto& port : ports_) port->SetFault(fault);
}

std::vector<HeardByte> Ecu::TakeHeard() {
  std::vector<HeardByte> heard;
  for (const auto& port : ports_) {
    const auto ofPort = port->TakeHeard();
    heard.insert(heard.end(), ofPort.begin(), ofPort.end());
  }
  return heard;
}

// A request that comes while another is at work replaces it, as a tester that asks anew expects.
void Ecu::Requested(EcuPort& port, Bytes request, bool functional, Micros begun) {
  scheduler_.Cancel(responseTimer_);
  responses_.clear();
  asked_ = &port;
  responseTimer_ = scheduler_.After(
      config_.responseTime, Pace::kProgress,
      [this, bytes = std::move(request), functional, begun] { Answer(bytes, functional, begun); });
}

void Ecu::Answer(const Bytes& request, bool functional, Micros begun) {
  for (Bytes& message : services_.Answer({request, functional, begun, scheduler_.Now()})) {
    responses_.push_back(std::move(message));
  }
  SendNextResponse();
}

void Ecu::SendNextResponse() {
  if (responses_.empty() || asked_->Busy()) return;
  Bytes message = std::move(responses_.front());
  responses_.pop_front();
  asked_->Respond(std::move(message));
}

void Ecu::Responded(EcuPort& port) {
  if (responses_.empty() || &port != asked_) return;
  scheduler_.Cancel(responseTimer_);
  responseTimer_ =
      scheduler_.After(config_.responseTime, Pace::kProgress, [this] { SendNextResponse(); });
}

}  // namespace virtual_vci
