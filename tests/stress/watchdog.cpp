#include "watchdog.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>

#include "platform/clock.h"

namespace passbridge::stress {

namespace {

constexpr std::uint32_t kBeat = 5;  // ms
const std::uint64_t kProgramStart = platform::MonotonicMicroseconds();
constexpr auto kRelaxed = std::memory_order_relaxed;

}  // namespace

void Fail(const std::string& message) {
  static std::atomic<bool> failed{false};
  if (failed.exchange(true)) {
    for (;;) std::this_thread::sleep_for(std::chrono::seconds(1));
  }
  const auto elapsed = static_cast<double>(platform::MonotonicMicroseconds() - kProgramStart) / 1e6;
  std::fprintf(stderr, "stress FAILED after %.1f s: %s\n", elapsed, message.c_str());
  std::fflush(stdout);
  std::_Exit(EXIT_FAILURE);
}

void Flight::Begin(Operation operation, std::uint32_t target, std::uint32_t timeout) {
  operation_.store(operation, kRelaxed);
  target_.store(target, kRelaxed);
  serial_.fetch_add(1, kRelaxed);
  // Ordered against what the caller reads next: whether its device has been lost meanwhile.
  deadline_.store(platform::MonotonicMicroseconds() + std::uint64_t{1000} * timeout);
}

std::uint64_t Flight::End() {
  const std::uint64_t deadline = deadline_.exchange(0, kRelaxed);
  const std::uint64_t now = platform::MonotonicMicroseconds();
  return now > deadline ? now - deadline : 0;
}

void Flight::EndIfOn(std::uint32_t firstTarget, std::uint32_t lastTarget) {
  // The deadline tells whether it is still the same call.
  std::uint64_t deadline = deadline_.load();
  const std::uint32_t target = target_.load(kRelaxed);
  const std::uint64_t now = platform::MonotonicMicroseconds();
  if (deadline > now && firstTarget <= target && target <= lastTarget) {
    deadline_.compare_exchange_strong(deadline, now);
  }
}

Flight& Watchdog::Add(const std::string& thread) {
  flights_.push_back(std::make_unique<Flight>(thread));
  return *flights_.back();
}

void Watchdog::Start() {
  thread_ = std::thread([this] { Run(); });
}

void Watchdog::Stop() {
  stop_ = true;
  thread_.join();
}

void Watchdog::EndAllOn(std::uint32_t firstTarget, std::uint32_t lastTarget) {
  for (const auto& flight : flights_) flight->EndIfOn(firstTarget, lastTarget);
}

std::string Watchdog::Heartbeat() const {
  return std::to_string(beats_) + " of " + std::to_string(duration_ / (1000 * kBeat));
}

void Watchdog::Run() {
  const std::uint64_t start = platform::MonotonicMicroseconds();
  for (; !stop_; ++beats_) {
    std::this_thread::sleep_for(std::chrono::milliseconds(kBeat));
    const std::uint64_t now = platform::MonotonicMicroseconds();
    for (const auto& flight : flights_) Look(*flight, now);
    duration_ = now - start;
  }
}

void Watchdog::Look(Flight& flight, std::uint64_t now) const {
  const std::uint32_t serial = flight.serial_.load(kRelaxed);
  const std::uint64_t deadline = flight.deadline_.load(kRelaxed);
  if (deadline == 0 || now < deadline || serial != flight.seenSerial_) {
    flight.seenSerial_ = serial;
    flight.overdueBeats_ = 0;
    return;
  }
  if (++flight.overdueBeats_ * kBeat <= slack_) return;
  Fail(flight.thread_ + " is still in " + NameOf(flight.operation_.load(kRelaxed)) + ", " +
       std::to_string((now - deadline) / 1000) + " ms after it was to end");
}

}  // namespace passbridge::stress
