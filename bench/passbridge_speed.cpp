// What the library costs beside the D-PDU library: the same work in a loop straight on the D-PDU
// API and through the exported functions, in turn, with the virtual VCI in the instant clock.
//
//   passbridge_speed [--rounds N] [--scale FACTOR] [--only TEXT]
//   passbridge_speed --profile bare|bridged [--rounds N] [--scale FACTOR] [--only TEXT]
//   passbridge_speed --memory bare|bridged
//
// Prints a table in Markdown: processor time of the whole process, pinned to one processor, where
// it doesn't say otherwise; medians. --scale: how much work each round has. --only: rows whose
// name has the text. --profile: the work of one side only, for a profiler to look at. --memory:
// what channels and queued messages take, of one side, for each side needs a process of its own.
// PASSBRIDGE_TEST_LIBRARY and PASSBRIDGE_TEST_VCI name the libraries.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <string>
#include <thread>

#include "bench/platform/process.h"
#include "bench/speed_side.h"
#include "j2534/settings.h"
#include "platform/registry.h"
#include "support.h"
#include "tests/integration/loaded_libraries.h"

namespace bench {

void Fail(const std::string& what, long result) {
  std::fprintf(stderr, "%s: 0x%lX\n", what.c_str(), static_cast<unsigned long>(result));
  std::exit(1);
}

namespace {

using virtual_vci_test::PduLibrary;

struct Options {
  int rounds = 7;
  double scale = 1;
  std::string only;
  std::string profile;
  std::string memory;
};

Options ReadOptions(int count, char** arguments) {
  Options options;
  for (int i = 1; i < count; ++i) {
    const std::string name = arguments[i];
    const char* const value = i + 1 < count ? arguments[++i] : "";
    if (name == "--rounds") {
      options.rounds = std::max(1, std::atoi(value));
    } else if (name == "--scale") {
      options.scale = std::atof(value);
    } else if (name == "--only") {
      options.only = value;
    } else if (name == "--profile") {
      options.profile = value;
    } else if (name == "--memory") {
      options.memory = value;
    } else {
      std::fprintf(stderr,
                   "usage: passbridge_speed [--rounds N] [--scale FACTOR] [--only TEXT] "
                   "[--profile|--memory bare|bridged]\n");
      std::exit(2);
    }
  }
  return options;
}

/// The settings, the scenarios and the D-PDU library of a run.
class Setting {
 public:
  Setting() {
    namespace support = passbridge::settings::pdu_api_support;
    using passbridge::platform::RegistryKey;
    using passbridge::platform::RegistryRoot;
    auto key =
        RegistryKey::Create(RegistryRoot::Machine, passbridge::settings::PathOf(support::kKey));
    if (!library_.Loaded() || !key ||
        !key->WriteText(support::kFunctionLibrary, passbridge::test::VirtualVciPath())) {
      Fail("PASSBRIDGE_TEST_VCI names no library", 0);
    }
    for (const bool packed : {false, true}) WriteScenario(packed);
  }
  ~Setting() {
    for (const bool packed : {false, true}) std::remove(ScenarioFile(packed));
    passbridge::platform::DeleteRegistryTree(
        passbridge::platform::RegistryRoot::Machine,
        passbridge::settings::PathOf(passbridge::settings::pdu_api_support::kKey));
  }
  Setting(const Setting&) = delete;
  Setting& operator=(const Setting&) = delete;

  PduLibrary& Pdu() { return library_; }

  /// Both sides construct the same.
  void Prepare(const Plan& plan) {
    library_.VirtualVciConfigure(ScenarioFile(plan.packed), VVCI_CLOCK_INSTANT);
  }

  /// Puts frames on the bus, as a further ECU.
  void SendFrames(std::uint32_t count) {
    constexpr UNUM8 kData[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    for (std::uint32_t i = 0; i < count; ++i) {
      library_.VirtualVciSendFrame(kModule, 6, 14, 0x123, kData, sizeof kData);
    }
  }

  /// Moves the clock, so that so many of the ECU's frames are due.
  void LetCyclicFramesGo(std::uint32_t count) {
    library_.VirtualVciSetCyclic(kModule, 1);
    library_.VirtualVciAdvance(kModule, count * 1000000);
  }
  /// None comes by itself.
  void StopCyclicFrames() { library_.VirtualVciSetCyclic(kModule, 0); }

 private:
  static const char* ScenarioFile(bool packed) {
    return packed ? "passbridge_speed_packed.json" : "passbridge_speed_single.json";
  }

  /// An ECU that answers briefly, at length and not at all.
  static void WriteScenario(bool packed) {
    std::string longAnswer = "62 00 01";
    for (int i = 3; i < 4095; ++i) longAnswer += " A5";
    std::ofstream(ScenarioFile(packed))
        << R"({"vcis":[{"serial":1,"interfaces":[{"type":"USB"}],"packedReception":)"
        << (packed ? "true" : "false") << R"(}],"buses":[{"pins":[6,14]}],)"
        << R"("ecus":[{"request":"0x7E0","response":"0x7E8","responseTime":0,)"
        << R"("cyclic":[{"id":"0x123","data":"01 02 03 04 05 06 07 08","period":1000}],"rules":[)"
        << R"({"request":"3E 00","response":"7E 00"},{"request":"36 *","response":""},)"
        << R"({"request":"22 00 01","response":")" << longAnswer << R"("}]}]})";
  }

  passbridge::platform::testing::SettingsSandbox sandbox_;
  PduLibrary library_{passbridge::test::VirtualVciPath()};
};

const Message kAsk{0, 0, 7, 0xE0, 0x02, 0x3E, 0x00};
const Message kAskOnIso15765{0, 0, 7, 0xE0, 0x22, 0x00, 0x01};
const Message kPlainFrame{0, 0, 1, 0x23, 1, 2, 3, 4, 5, 6, 7, 8};
constexpr std::uint32_t kBurst = 1000;  // frames

Message LongMessage() {
  Message message{0, 0, 7, 0xE0, 0x36};
  message.resize(4 + 4095, 0xA5);
  return message;
}

/// What a round does, `times` over, and for how many frames that counts.
struct Work {
  std::function<void(Side& side, const Plan& plan, std::uint32_t times)> run;
  std::uint32_t times;
  std::uint32_t framesEach = 1;
  bool isSession = false;  ///< it begins and ends the session itself
};

enum class Measure { Processor, Time };

struct Row {
  std::string name;
  Plan plan;
  Work work;
  double wanted = 0;  ///< ratio; 0 for none
  Measure measure = Measure::Processor;
  std::uint32_t queued = 0;  ///< messages that lie in the buffer all the time
};

/// Every channel reads bursts of cyclic frames.
Work ReceiveFrames(Setting& setting, std::uint32_t perRead, std::uint32_t times,
                   unsigned channels = 1) {
  return {[&setting, perRead](Side& side, const Plan& plan, std::uint32_t count) {
    for (std::uint32_t i = 0; i < count; ++i) {
      setting.LetCyclicFramesGo(kBurst);
      for (unsigned c = 0; c < plan.channels; ++c) side.Receive(c, kBurst, perRead);
    }
          },
          times, kBurst * channels};
}

Work SendFrames(std::uint32_t perWrite, const Message& message, std::uint32_t times) {
  return {[perWrite, message](Side& side, const Plan&, std::uint32_t count) {
    for (std::uint32_t i = 0; i < count; ++i) side.Send(message, perWrite, true);
          },
          times, perWrite};
}

Work Ask(const Message& request, std::uint32_t times) {
  return {[request](Side& side, const Plan&, std::uint32_t count) {
    for (std::uint32_t i = 0; i < count; ++i) {
      side.Send(request, 1, false);
      side.Receive(0, 1, 1);
    }
          },
          times};
}

Work ReceiveWhileQueued(Setting& setting, std::uint32_t times) {
  return {[&setting](Side& side, const Plan&, std::uint32_t count) {
    for (std::uint32_t i = 0; i < count; ++i) {
      setting.SendFrames(1);
      side.Receive(0, 1, 1);
    }
          },
          times};
}

Work ConnectAndDisconnect(std::uint32_t times) {
  return {[](Side& side, const Plan&, std::uint32_t count) {
    for (std::uint32_t i = 0; i < count; ++i) side.ConnectAndDisconnect();
          },
          times};
}

Work OpenToFirstFrame(std::uint32_t times) {
  return {[](Side& side, const Plan& plan, std::uint32_t count) {
    for (std::uint32_t i = 0; i < count; ++i) {
      side.Begin(plan);
      side.Send(kAsk, 1, false);
      side.Receive(0, 1, 1);
      side.End();
    }
          },
          times, 1, true};
}

std::vector<Row> MakeRows(Setting& setting) {
  const Plan single;
  const Plan local{.local = true};
  const Plan packed{.packed = true};
  const Plan iso15765{.iso15765 = true};
  std::vector<Row> rows{
      {"receive, items of one frame, one message a read, on the stack", local,
       ReceiveFrames(setting, 1, 100), 2.0},
      {"receive, items of one frame, one message a read, on the heap", single,
       ReceiveFrames(setting, 1, 100), 2.0},
      {"receive, items of one frame, 100 messages a read", single, ReceiveFrames(setting, 100, 200),
       1.3},
      {"receive, packed items, 100 messages a read", packed, ReceiveFrames(setting, 100, 200), 1.3},
      {"send 100 frames in one write, waiting for them", single, SendFrames(100, kPlainFrame, 1000),
       1.3},
      {"send one frame, waiting for it", single, SendFrames(1, kPlainFrame, 8000), 1.3},
      {"request and answer", single, Ask(kAsk, 8000), 1.3},
      {"send one frame, waiting for it: time, not pinned", single, SendFrames(1, kPlainFrame, 8000),
       1.1, Measure::Time},
      {"request and answer: time, not pinned", single, Ask(kAsk, 8000), 1.1, Measure::Time},
      {"ISO 15765: send 4,095 bytes, waiting", iso15765, SendFrames(1, LongMessage(), 400)},
      {"ISO 15765: request, answer of 4,095 bytes", iso15765, Ask(kAskOnIso15765, 400)},
      {"connect and disconnect", single, ConnectAndDisconnect(300)},
      {"open to first frame, and close", single, OpenToFirstFrame(40)},
      {"receive, trace on", {.trace = true}, ReceiveFrames(setting, 100, 4)},
  };
  for (const unsigned channels : {1U, 8U, 64U}) {
    rows.push_back({"receive on " + std::to_string(channels) + " channels",
                    {.channels = channels},
                    ReceiveFrames(setting, 100, std::max(2U, 100 / channels), channels)});
  }
  for (const unsigned filters : {1U, 16U, 65U}) {
    rows.push_back({"receive with " + std::to_string(filters) + " filters",
                    {.filters = filters},
                    ReceiveFrames(setting, 100, 100)});
  }
  for (const std::uint32_t queued : {0U, 100U, 1000U, 9999U}) {
    Row row{"receive behind " + std::to_string(queued) + " queued messages", single,
            ReceiveWhileQueued(setting, 8000)};
    row.queued = queued;
    rows.push_back(row);
  }
  return rows;
}

/// Has so many frames wait: in the bridged side's buffer, in the VCI's queue of the other.
void QueueFrames(Setting& setting, std::uint32_t count) {
  constexpr std::uint32_t kAtOnce = 200;  // the bus doesn't try older ones for ever
  for (std::uint32_t sent = 0; sent < count; sent += kAtOnce) {
    setting.SendFrames(std::min(kAtOnce, count - sent));
    std::this_thread::sleep_for(std::chrono::milliseconds(3));
  }
}

double Now(Measure measure) {
  if (measure == Measure::Processor) return ProcessorSeconds();
  const std::chrono::duration<double> time = std::chrono::steady_clock::now().time_since_epoch();
  return time.count();
}

/// Seconds a frame.
double RunOnce(Setting& setting, Side& side, const Row& row, double scale) {
  const auto times = std::max(1U, static_cast<std::uint32_t>(row.work.times * scale));
  setting.Prepare(row.plan);
  PinToOneProcessor(row.measure == Measure::Processor);
  if (!row.work.isSession) {
    side.Begin(row.plan);
    setting.StopCyclicFrames();
    if (row.queued > 0) QueueFrames(setting, row.queued);
    row.work.run(side, row.plan, std::max(1U, times / 20));  // warm up
  }
  const double begin = Now(row.measure);
  row.work.run(side, row.plan, times);
  const double end = Now(row.measure);
  if (!row.work.isSession) side.End();
  return (end - begin) / times / row.work.framesEach;
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

std::string AsTime(double seconds) {
  char text[32];
  if (seconds < 10e-6) {
    std::snprintf(text, sizeof text, "%.0f ns", seconds * 1e9);
  } else if (seconds < 10e-3) {
    std::snprintf(text, sizeof text, "%.1f µs", seconds * 1e6);
  } else {
    std::snprintf(text, sizeof text, "%.1f ms", seconds * 1e3);
  }
  return text;
}

void Run(Setting& setting, const Options& options) {
  const auto bare = MakeBareSide(setting.Pdu());
  const auto bridged = MakeBridgedSide();
  std::printf("| work, per frame | bare | Passbridge | ratio | wanted at most |\n");
  std::printf("|---|---|---|---|---|\n");
  for (const Row& row : MakeRows(setting)) {
    if (row.name.find(options.only) == std::string::npos) continue;
    std::vector<double> bareTimes;
    std::vector<double> bridgedTimes;
    std::vector<double> ratios;
    for (int round = 0; round < options.rounds; ++round) {
      bareTimes.push_back(RunOnce(setting, *bare, row, options.scale));
      bridgedTimes.push_back(RunOnce(setting, *bridged, row, options.scale));
      ratios.push_back(bridgedTimes.back() / bareTimes.back());
    }
    char wanted[16] = "";
    if (row.wanted > 0) std::snprintf(wanted, sizeof wanted, "%.1f", row.wanted);
    std::printf("| %s | %s | %s | %.2f | %s |\n", row.name.c_str(),
                AsTime(Median(bareTimes)).c_str(), AsTime(Median(bridgedTimes)).c_str(),
                Median(ratios), wanted);
    std::fflush(stdout);
  }
}

void Profile(Setting& setting, const Options& options, Side& side) {
  for (const Row& row : MakeRows(setting)) {
    if (row.name.find(options.only) == std::string::npos) continue;
    std::vector<double> times;
    for (int round = 0; round < options.rounds; ++round) {
      times.push_back(RunOnce(setting, side, row, options.scale));
    }
    std::printf("%s: %s\n", row.name.c_str(), AsTime(Median(times)).c_str());
  }
}

std::unique_ptr<Side> MakeSide(Setting& setting, const std::string& name) {
  return name == "bare" ? MakeBareSide(setting.Pdu()) : MakeBridgedSide();
}

/// Resident memory of further channels, and of messages that wait in the first one.
void MeasureMemory(Setting& setting, Side& side) {
  constexpr std::uint32_t kChannels = 64;
  constexpr std::uint32_t kQueued = 10000;
  Plan plan;
  setting.Prepare(plan);
  side.Begin(plan);
  side.Send(kAsk, 1, false);
  side.Receive(0, 1, 1);
  const std::size_t before = ResidentBytes();
  QueueFrames(setting, kQueued);
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  const std::size_t queued = ResidentBytes() - before;
  side.Receive(0, kQueued, 1);
  side.End();

  const auto sessionOf = [&](unsigned channels) {
    plan.channels = channels;
    side.Begin(plan);
    const std::size_t bytes = ResidentBytes();
    side.End();
    return bytes;
  };
  sessionOf(1);
  const std::size_t one = sessionOf(1);
  std::printf("%zu bytes a channel, %zu bytes for %u queued messages\n",
              (sessionOf(1 + kChannels) - one) / kChannels, queued, kQueued);
}

int Main(int count, char** arguments) {
  const Options options = ReadOptions(count, arguments);
  Setting setting;
  if (!options.profile.empty()) {
    Profile(setting, options, *MakeSide(setting, options.profile));
    return 0;
  }
  if (options.memory.empty()) {
    Run(setting, options);
    return 0;
  }
  const auto side = MakeSide(setting, options.memory);
  MeasureMemory(setting, *side);
  return 0;
}

}  // namespace

}  // namespace bench

int main(int count, char** arguments) { return bench::Main(count, arguments); }
