// A stress test: many threads use the library as applications may, while VCIs come and go. It ends
// clean when nothing crashed, no call came too late, every status was plausible, and nothing was
// left behind.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <exception>
#include <string>
#include <thread>
#include <vector>

#include "actors.h"
#include "loaded_libraries.h"
#include "messages.h"
#include "options.h"
#include "platform/registry.h"
#include "support.h"
#include "tests/virtual_vci/platform/threads.h"
#include "vci_actor.h"
#include "watchdog.h"
#include "world.h"

namespace passbridge::stress {
namespace {

constexpr const char* kSupportKey = "SOFTWARE\\QUARN\\QUARN_VCI\\PDU API Support";

/// Settings in which the virtual VCI is the D-PDU library.
class Settings {
 public:
  Settings() {
    auto key = platform::RegistryKey::Create(platform::RegistryRoot::Machine, kSupportKey);
    if (!key || !key->WriteText("FunctionLibrary", test::VirtualVciPath())) {
      Fail("cannot write the settings");
    }
  }
  ~Settings() { platform::DeleteRegistryTree(platform::RegistryRoot::Machine, kSupportKey); }

 private:
  platform::testing::SettingsSandbox sandbox_;
};

void CheckLedger(test::VirtualVci& vci) {
  VVCI_LEDGER ledger{};
  vci.GetLedger(&ledger);
  for (int kind = 0; kind < VVCI_ITEM_KINDS; ++kind) {
    if (ledger.HandedOut[kind] == ledger.Destroyed[kind]) continue;
    Fail("of " + std::to_string(ledger.HandedOut[kind]) + " items of kind " + std::to_string(kind) +
         " " + std::to_string(ledger.Destroyed[kind]) + " were destroyed");
  }
  if (ledger.BadDestroys != 0) Fail("what is no item was destroyed");
  if (ledger.LeftAtDestruct != 0) Fail("items were left at PDUDestruct");
}

/// A thread that was joined may count for a moment more.
void CheckThreads(std::size_t before) {
  for (int attempt = 0; attempt < 200; ++attempt) {
    if (virtual_vci_test::ThreadCount() <= before) return;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  Fail(std::to_string(virtual_vci_test::ThreadCount()) + " threads, where there were " +
       std::to_string(before));
}

/// One thread alone asks an ECU: everything must work.
void CalmSession(Caller& me, VciActor& vcis) {
  vcis.OpenAll();
  const auto must = [](const char* what, long status) {
    if (status != STATUS_NOERROR) Fail(std::string("in a calm session: ") + what);
  };
  const j2534_ulong channel = me.world.First().channels[0].id;
  PASSTHRU_MSG message = MakeMessage(CAN, kIdentifiers[0], 8);
  j2534_ulong count = 1;
  j2534_ulong periodic = 0;
  must("periodic", me.library.PassThruStartPeriodicMsg(channel, &message, &periodic, 5));
  must("write", me.library.PassThruWriteMsgs(channel, &message, &count, 2000));
  for (std::uint32_t identifier = 0; identifier != 0x7E8;) {
    count = 1;
    must("read", me.library.PassThruReadMsgs(channel, &message, &count, 5000));
    identifier = static_cast<std::uint32_t>(message.Data[2] << 8U | message.Data[3]);
  }
  must("stop periodic", me.library.PassThruStopPeriodicMsg(channel, periodic));
  vcis.CloseAll();
}

void Report(const std::deque<Caller>& callers, const Watchdog& watchdog) {
  Tally tally;
  std::uint64_t worst = 0;
  for (const Caller& caller : callers) {
    tally.Add(caller.Calls());
    worst = std::max(worst, caller.WorstDelay());
  }
  tally.Print();
  std::printf("latest call: %.1f ms after its time; heartbeats: %s\n",
              static_cast<double>(worst) / 1000, watchdog.Heartbeat().c_str());
}

void Run(const Options& options) {
  const Settings settings;
  test::Library library(test::LibraryPath());
  test::VirtualVci vci(test::VirtualVciPath());
  vci.Reset();
  vci.Configure(nullptr, options.instantClock ? VVCI_CLOCK_INSTANT : VVCI_CLOCK_REALTIME);

  World world(kActors.size() + 1);
  Watchdog watchdog(options.slack);
  std::deque<Caller> callers;
  for (const ActorRow& row : kActors) {
    callers.emplace_back(library, world, watchdog, row.name, options.seed, callers.size());
  }
  Caller& last =
      callers.emplace_back(library, world, watchdog, "VCI actor", options.seed, callers.size());
  VciActor vcis(last, vci, options.verbose);
  watchdog.Start();
  CalmSession(last, vcis);
  const std::size_t threadsBefore = virtual_vci_test::ThreadCount();

  vcis.OpenAll();
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < kActors.size(); ++i) {
    threads.emplace_back(kActors[i].actor, std::ref(callers[i]));
  }
  threads.emplace_back([&] { vcis.Run(); });
  std::this_thread::sleep_for(std::chrono::seconds(options.seconds));
  world.stop = true;
  for (std::thread& thread : threads) thread.join();
  vcis.CloseAll();

  CheckThreads(threadsBefore);
  CheckLedger(vci);
  CalmSession(last, vcis);
  CheckLedger(vci);
  watchdog.Stop();
  Report(callers, watchdog);
}

}  // namespace
}  // namespace passbridge::stress

int main(int argc, char** argv) {
  passbridge::stress::Options options;
  if (const auto exit = passbridge::stress::ReadOptions(argc, argv, options)) return *exit;
  std::printf("stress --seed %u --seconds %u\n", static_cast<unsigned>(options.seed),
              static_cast<unsigned>(options.seconds));
  std::fflush(stdout);
  try {
    passbridge::stress::Run(options);
  } catch (const std::exception& error) {
    passbridge::stress::Fail(error.what());
  }
  return EXIT_SUCCESS;
}
