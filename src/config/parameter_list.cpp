#include "config/parameter_list.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

#include "config/parameter_table.h"
#include "trace/methods.h"

namespace passbridge {

namespace {

/// Names of one time, in the order in which they follow the one that was set.
constexpr std::array kIdleTimes{W5, W0, TIDLE};

bool IsIdleTime(std::uint32_t parameterId) {
  return std::find(kIdleTimes.begin(), kIdleTimes.end(), parameterId) != kIdleTimes.end();
}

/// Whether the parameter replaces its share of its ComParam's value on the link.
bool NeedsCurrentValue(std::uint32_t parameterId) {
  const ParameterRow* const row = FindParameter(parameterId);
  return row != nullptr &&
         (row->conversion == Conversion::Parity || row->conversion == Conversion::DataBits);
}

Formatted WithId(const char* text, std::uint32_t parameterId) {
  return Formatted("%s (0x%08X)", text, parameterId);
}

}  // namespace

CJ2534ParameterList::CJ2534ParameterList() {
  TracePassage("CJ2534ParameterList::CJ2534ParameterList()");
}

CJ2534ParameterList::CJ2534ParameterList(ChannelLink* channel) : channel_(channel) {
  TracePassage("CJ2534ParameterList::CJ2534ParameterList(CJ2534Channel*)");
}

CJ2534ParameterList::~CJ2534ParameterList() {
  TracePassage("CJ2534ParameterList::~CJ2534ParameterList()");
}

ChannelLink& CJ2534ParameterList::Channel() const {
  if (channel_ == nullptr) throw std::logic_error("a parameter list without a channel");
  return *channel_;
}

Status CJ2534ParameterList::Initialize(ChannelLink* channel) {
  return Traced(methods::parameter_list::kInitialize, [&](Exits& exit) -> Status {
    if (channel == nullptr) {
      return exit.Fail(1, ERR_NULL_PARAMETER, "NULL pointer to CJ2534Channel.");
    }
    channel_ = channel;
    for (const ParameterRow& row : AllParameters()) {
      if (row.isHeldBy(channel->ChannelProtocolType())) AddJ2534Parameter(row.id);
    }
    return exit.Normal();
  });
}

Status CJ2534ParameterList::AddJ2534Parameter(std::uint32_t parameterId) {
  return Traced(methods::parameter_list::kAddJ2534ParameterById, [&](Exits& exit) -> Status {
    auto parameter = std::make_unique<CJ2534Parameter>(parameterId);
    if (const Status status = parameter->Initialize(Channel().ChannelProtocolId())) {
      return exit.PassOn(2, status, WithId("Error initializing J2534 Parameter.", parameterId));
    }
    if (const Status status = AddJ2534Parameter(std::move(parameter))) {
      return exit.PassOn(3, status, WithId("Error adding J2534 Parameter.", parameterId));
    }
    return exit.Normal();
  });
}

Status CJ2534ParameterList::AddJ2534Parameter(std::unique_ptr<CJ2534Parameter> parameter) {
  return Traced(methods::parameter_list::kAddJ2534Parameter, [&](Exits& exit) -> Status {
    if (parameter == nullptr) {
      return exit.Fail(1, ERR_NULL_PARAMETER, "NULL pointer to CJ2534Parameter.");
    }
    std::uint32_t parameterId = 0;
    if (const Status status = parameter->GetParameter(&parameterId)) {
      return exit.PassOn(2, status, "Error getting J2534 Parameter ID.");
    }
    parameters_.try_emplace(parameterId, std::move(parameter));
    return exit.Normal();
  });
}

Status CJ2534ParameterList::GetJ2534Parameter(std::uint32_t parameterId,
                                              CJ2534Parameter** parameter) const {
  return Traced(methods::parameter_list::kGetJ2534Parameter, [&](Exits& exit) -> Status {
    if (parameter == nullptr) {
      return exit.Fail(1, ERR_NULL_PARAMETER, "NULL Parameter pointer pointer.");
    }
    const auto found = parameters_.find(parameterId);
    if (found == parameters_.end()) {
      return exit.PassOn(2, ERR_NOT_SUPPORTED,
                         "J2534 Parameter was not in the list of J2534 Parameters.");
    }
    *parameter = found->second.get();
    return exit.Normal();
  });
}

Status CJ2534ParameterList::GetJ2534ParameterValue(std::uint32_t parameterId,
                                                   std::uint32_t* value) const {
  return Traced(methods::parameter_list::kGetJ2534ParameterValue, [&](Exits& exit) -> Status {
    if (value == nullptr) return exit.Fail(1, ERR_NULL_PARAMETER, "Null pointer to Value.");
    CJ2534Parameter* parameter = nullptr;
    if (const Status status = GetJ2534Parameter(parameterId, &parameter)) {
      return exit.PassOn(2, status, Formatted("Error getting ParameterID: 0x%08X.", parameterId));
    }
    parameter->GetValue(value);
    return exit.Normal();
  });
}

Status CJ2534ParameterList::SetIdleTimes(std::uint32_t value) {
  for (const std::uint32_t id : kIdleTimes) {
    const auto found = parameters_.find(id);
    if (found == parameters_.end()) continue;
    if (const Status status = found->second->SetValue(Channel().ChannelProtocolId(), value)) {
      return status;
    }
  }
  return STATUS_NOERROR;
}

Status CJ2534ParameterList::SetJ2534ParameterValue(std::uint32_t parameterId, std::uint32_t value) {
  return Traced(methods::parameter_list::kSetJ2534ParameterValue, [&](Exits& exit) -> Status {
    CJ2534Parameter* parameter = nullptr;
    if (const Status status = GetJ2534Parameter(parameterId, &parameter)) {
      return exit.PassOn(1, status, "Error getting pointer to CJ2534Parameter.");
    }
    Status status = parameter->SetValue(Channel().ChannelProtocolId(), value);
    if (status == STATUS_NOERROR && IsIdleTime(parameterId)) status = SetIdleTimes(value);
    if (status != STATUS_NOERROR) {
      return exit.PassOn(3, status, "Error setting J2534 Parameter value.");
    }
    return exit.Normal();
  });
}

Status CJ2534ParameterList::ClearJ2534Parameters() {
  return Traced(methods::parameter_list::kClearJ2534Parameters, [&](Exits& exit) -> Status {
    parameters_.clear();
    return exit.Normal();
  });
}

void CJ2534ParameterList::Download(std::uint32_t parameterId, const CJ2534Parameter& parameter) {
  const UNUM32 comParamId = parameter.PduComParamId();
  if (comParamId == 0) return;
  UNUM32 current = 0;
  if (NeedsCurrentValue(parameterId) && Channel().GetPDUValue(comParamId, &current)) return;
  UNUM32 value = 0;
  if (parameter.GetConvertedPDUValue(&value, current)) return;
  Channel().SetPduComParam(comParamId, &value, sizeof value);
}

Status CJ2534ParameterList::DownloadParameters() {
  return Traced(methods::parameter_list::kDownloadParameters, [&](Exits& exit) -> Status {
    for (const auto& [id, parameter] : parameters_) {
      if (parameter->Modified()) Download(id, *parameter);
    }
    return exit.Normal();
  });
}

}  // namespace passbridge
