#ifndef PASSBRIDGE_UNIT_CONFIG_FILTER_MESSAGES_H_
#define PASSBRIDGE_UNIT_CONFIG_FILTER_MESSAGES_H_

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

#include "config/filter.h"
#include "passbridge/j2534.h"

namespace passbridge::test {

using Data = std::vector<std::uint8_t>;

inline PassThruMsg Message(std::uint32_t protocolId, const Data& data, std::uint32_t txFlags = 0) {
  PassThruMsg message;
  message.protocolId = protocolId;
  message.txFlags = txFlags;
  message.dataSize = static_cast<std::uint32_t>(data.size());
  std::copy(data.begin(), data.end(), message.data.begin());
  return message;
}

/// What PassThruStartMsgFilter passes on. Without a flow-control message it is a null pointer.
struct FilterRequest {
  std::uint32_t protocolId;
  std::uint32_t filterType;
  PassThruMsg mask;
  PassThruMsg pattern;
  PassThruMsg flowControl{};
  bool noMixedFormat = true;
  bool hasMask = true;
  bool hasPattern = true;
  bool hasFlowControl = false;

  Status Initialize(CJ2534Filter& filter) {
    const AppMessage none;
    return filter.Initialize(protocolId, filterType, hasMask ? AppMessage(mask) : none,
                             hasPattern ? AppMessage(pattern) : none,
                             hasFlowControl ? AppMessage(flowControl) : none, noMixedFormat);
  }
};

inline FilterRequest PassOrBlock(std::uint32_t protocolId, std::uint32_t filterType,
                                 const Data& mask, const Data& pattern, std::uint32_t txFlags = 0) {
  return {protocolId, filterType, Message(protocolId, mask, txFlags),
          Message(protocolId, pattern, txFlags)};
}

/// A flow-control filter with a mask of FFs.
inline FilterRequest FlowControl(std::uint32_t protocolId, const Data& pattern,
                                 const Data& flowControl, std::uint32_t txFlags = 0) {
  FilterRequest request =
      PassOrBlock(protocolId, FLOW_CONTROL_FILTER, Data(pattern.size(), 0xFF), pattern, txFlags);
  request.flowControl = Message(protocolId, flowControl, txFlags);
  request.hasFlowControl = true;
  return request;
}

inline std::unique_ptr<CJ2534Filter> MakeFilter(FilterRequest request) {
  auto filter = std::make_unique<CJ2534Filter>();
  EXPECT_EQ(request.Initialize(*filter), STATUS_NOERROR);
  return filter;
}

}  // namespace passbridge::test

#endif  // PASSBRIDGE_UNIT_CONFIG_FILTER_MESSAGES_H_
