#ifndef PASSBRIDGE_TESTS_STRESS_WORLD_H_
#define PASSBRIDGE_TESTS_STRESS_WORLD_H_

#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <vector>

#include "passbridge/j2534.h"

namespace passbridge::stress {

/// A channel as the application knows it. What is no atomic changes in a Standstill only.
struct Channel {
  j2534_ulong protocol = 0;
  j2534_ulong pins = 0;  ///< of a pin-switched channel
  j2534_ulong id = 0;    ///< the last one, also when it is not connected any more
  bool connected = false;
  std::atomic<std::uint32_t> endings{0};  ///< how often it was disconnected or closed
};

constexpr std::size_t kChannels = 3;
constexpr std::size_t kNoChannel = kChannels;

/// A device. Its rule is the library's: open, close, connect and disconnect run beside no other
/// call on the same device, but for reads and writes that wait. Each thread has locks of its own,
/// so that the rule synchronises no two threads that only make calls.
class Device {
 public:
  /// @param threads  how many make calls
  Device(std::uint32_t number, std::uint32_t serial, const char* name, std::size_t threads);

  std::uint32_t Target(std::size_t channel) const {
    return static_cast<std::uint32_t>(number_ * (kChannels + 1) + channel);
  }
  std::uint32_t Number() const { return number_; }
  std::uint32_t Serial() const { return serial_; }
  /// Of PassThruOpen, which does not write to it.
  void* Name() const { return const_cast<char*>(name_); }

  /// Counts up when the VCI is pulled, and when the device has been opened anew.
  std::atomic<std::uint32_t> losses{0};

  // These change in a Standstill only.
  j2534_ulong id = 0;
  bool open = false;
  std::array<Channel, kChannels> channels;

  /// Held by a thread during a call, or until a call that waits has begun.
  std::mutex& Calls(std::size_t thread) { return calls_[thread]; }
  /// Held by a thread during a call that waits; taken before Calls is given back.
  std::mutex& Waits(std::size_t thread) { return waits_[thread]; }

 private:
  friend class Standstill;

  std::uint32_t number_;
  std::uint32_t serial_;
  const char* name_;
  std::vector<std::mutex> calls_;
  std::vector<std::mutex> waits_;
  std::mutex standstill_;
};

/// No other call on the device while this lives, but for those that wait.
class Standstill {
 public:
  explicit Standstill(Device& device);

  /// Waits until those have ended, too.
  void AwaitWaiting();

 private:
  Device& device_;
  std::vector<std::unique_lock<std::mutex>> locks_;
};

/// The two VCIs that come and go.
class World {
 public:
  explicit World(std::size_t threads);

  Device& First() { return first_; }
  Device& Second() { return second_; }
  Device& At(std::uint32_t number) { return number == 0 ? first_ : second_; }

  std::atomic<bool> stop{false};

 private:
  Device first_;
  Device second_;
};

}  // namespace passbridge::stress

#endif  // PASSBRIDGE_TESTS_STRESS_WORLD_H_
