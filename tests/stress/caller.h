#ifndef PASSBRIDGE_TESTS_STRESS_CALLER_H_
#define PASSBRIDGE_TESTS_STRESS_CALLER_H_

#include <array>
#include <cstdint>
#include <mutex>
#include <string>

#include "choices.h"
#include "loaded_libraries.h"
#include "operations.h"
#include "watchdog.h"
#include "world.h"

namespace passbridge::stress {

/// One thread's way to the library: makes calls by the rule of Device, under the watchdog's eyes,
/// and ends the process when a status is not plausible.
class Caller {
 public:
  Caller(test::Library& theLibrary, World& theWorld, Watchdog& watchdog, const std::string& name,
         std::uint32_t seed, std::size_t thread)
      : library(theLibrary),
        world(theWorld),
        choices(seed, static_cast<std::uint32_t>(thread)),
        watchdog_(watchdog),
        flight_(watchdog.Add(name)),
        thread_(thread) {}

  test::Library& library;
  World& world;
  Choices choices;

  /// Runs `call` (ChannelID or DeviceID -> status) beside other threads' calls. kNoChannel: the
  /// call concerns the device.
  template <typename Call>
  long Make(Operation operation, Device& device, std::size_t channel, const Call& call) {
    const std::lock_guard<std::mutex> lock(device.Calls(thread_));
    return MakeSerialised(operation, device, channel, call);
  }

  /// The same for a call that waits up to so many milliseconds, and whose channel may go meanwhile.
  template <typename Call>
  long MakeWaiting(Operation operation, Device& device, std::size_t channel, std::uint32_t timeout,
                   const Call& call) {
    std::unique_lock<std::mutex> calls(device.Calls(thread_));
    const std::lock_guard<std::mutex> waits(device.Waits(thread_));
    const Before before = Observe(device, channel);
    const j2534_ulong id = device.channels[channel].id;
    flight_.Begin(operation, device.Target(channel), timeout);
    // One of both ends the wait of a lost device: this line, or who pulled it.
    if (IsLost(device)) flight_.EndIfOn(device.Target(channel), device.Target(channel));
    calls.unlock();
    return Judge(operation, device, before, call(id));
  }

  /// The same in a Standstill of the device, or for a thread that is alone.
  template <typename Call>
  long MakeSerialised(Operation operation, Device& device, std::size_t channel, const Call& call) {
    const Before before = Observe(device, channel);
    const j2534_ulong id = channel == kNoChannel ? device.id : device.channels[channel].id;
    flight_.Begin(operation, Flight::kNoTarget, kLongest);
    return Judge(operation, device, before, call(id));
  }

  /// Whatever waits on the channel, or on the device (kNoChannel), must end now.
  void ExpectEnd(const Device& device, std::size_t channel = kNoChannel) const {
    const bool all = channel == kNoChannel;
    watchdog_.EndAllOn(device.Target(all ? 0 : channel), device.Target(channel));
  }

  static bool IsLost(const Device& device) { return device.losses % 2 != 0; }

  const Tally& Calls() const { return tally_; }
  std::uint64_t WorstDelay() const { return worstDelay_; }  // us

 private:
  /// ms that a call without time-out may take; the start of communication alone has 5 s.
  static constexpr std::uint32_t kLongest = 10000;

  struct Before {
    std::array<std::uint32_t, 2> losses;
    const Channel* channel;
    std::uint32_t endings;
    bool absent;
  };

  Before Observe(const Device& device, std::size_t channel) const;
  long Judge(Operation operation, const Device& device, const Before& before, long status);
  std::string LastError();

  Watchdog& watchdog_;
  Flight& flight_;
  std::size_t thread_;
  Tally tally_;
  std::uint64_t worstDelay_ = 0;
};

}  // namespace passbridge::stress

#endif  // PASSBRIDGE_TESTS_STRESS_CALLER_H_
