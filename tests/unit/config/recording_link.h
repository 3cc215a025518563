#ifndef PASSBRIDGE_UNIT_CONFIG_RECORDING_LINK_H_
#define PASSBRIDGE_UNIT_CONFIG_RECORDING_LINK_H_

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "config/channel_link.h"
#include "support/pdu_fixture.h"
#include "support/trace_observer.h"
#include "trace/location.h"

namespace passbridge::test {

/// The link of a channel, which remembers what the lists do to it. ComParams keep what was written.
class RecordingLink : public ChannelLink {
 public:
  using Write = std::pair<UNUM32, UNUM32>;  // ComParam identifier and value

  RecordingLink(std::uint32_t channelProtocolId, ProtocolType channelProtocolType)
      : protocolId(channelProtocolId), protocolType(channelProtocolType) {}
  virtual ~RecordingLink() = default;

  std::uint32_t ChannelProtocolId() const override { return protocolId; }
  ProtocolType ChannelProtocolType() const override { return protocolType; }
  UNUM32 ModuleHandle() const override { return 7; }
  UNUM32 CllHandle() const override { return 9; }
  bool IsVehicleConnected() const override { return connected; }
  Status GetPDUValue(UNUM32 comParamId, UNUM32* value) override {
    *value = values[comParamId];
    return getStatus;
  }
  Status SetPduComParam(UNUM32 comParamId, const void* value, std::uint32_t size) override {
    EXPECT_EQ(size, 4u);
    std::memcpy(&values[comParamId], value, 4);
    writes.emplace_back(comParamId, values[comParamId]);
    return setStatus;
  }
  Status CommitComParams() override {
    ++commits;
    return commitStatus;
  }
  std::vector<std::uint8_t> FunctionalAddresses() const override { return functionalAddresses; }

  std::uint32_t protocolId;
  ProtocolType protocolType;
  bool connected = true;
  Status getStatus = 0;
  Status setStatus = 0;
  Status commitStatus = 0;
  std::map<UNUM32, UNUM32> values;
  std::vector<Write> writes;
  int commits = 0;
  std::vector<std::uint8_t> functionalAddresses;
};

}  // namespace passbridge::test

#endif  // PASSBRIDGE_UNIT_CONFIG_RECORDING_LINK_H_
