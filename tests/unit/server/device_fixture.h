#ifndef PASSBRIDGE_UNIT_SERVER_DEVICE_FIXTURE_H_
#define PASSBRIDGE_UNIT_SERVER_DEVICE_FIXTURE_H_

#include <memory>
#include <string>
#include <vector>

#include "passbridge/j2534.h"
#include "scripted_channel.h"
#include "server/device.h"
#include "support/pdu_fixture.h"
#include "support/trace_observer.h"

namespace passbridge {

/// A device on module 7 whose channels are scripted.
struct DeviceFixture : test::PduFixture {
  static constexpr UNUM32 kModule = 7;
  static constexpr std::uint32_t kSerial = 4711;

  ~DeviceFixture() override {
    device.reset();
    EXPECT_EQ(script.alive, 0) << "every channel is destroyed";
  }

  Status Open() { return device->PassThruOpen(&kModule, &kSerial); }
  Status Connect(std::uint32_t protocolId = CAN) {
    std::uint32_t cell = 0;
    return device->PassThruConnect(protocolId, 0, 500000, AppValue(cell), channelId);
  }
  /// The failure reported last, the first cause being the only one that is of interest here.
  std::string Failure() {
    const std::vector<std::string> failures = trace.TakeFailures();
    return failures.empty() ? "" : failures.back();
  }

  test::TraceObserver trace;
  test::ChannelScript script;
  std::uint32_t channelId = 0;
  std::unique_ptr<CJ2534Device> device =
      std::make_unique<CJ2534Device>([this](ProtocolType type) -> OwnedChannel {
        if (type == UBP_PS) return nullptr;
        if (type == FGA7274) throw std::bad_alloc();
        return OwnedChannel(new test::ScriptedChannel(script));
      });
};

}  // namespace passbridge

#endif  // PASSBRIDGE_UNIT_SERVER_DEVICE_FIXTURE_H_
