// Whole sessions on a D-PDU library that fails, or has unusual habits: nothing crashes or hangs,
// and the next session works.
//
// A case that ends badly may take its process with it. So the cases run in a process of their own,
// which says which one it is at and ends at the first that fails; this program then starts another
// one for the rest.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "fault_cases.h"
#include "fault_pdu.h"
#include "fault_session.h"
#include "platform/registry.h"
#include "support.h"
#include "watchdog.h"

namespace passbridge::test {
namespace {

using namespace std::chrono_literals;

constexpr const char* kSupportKey = "SOFTWARE\\QUARN\\QUARN_VCI\\PDU API Support";
constexpr auto kSessionLimit = 90s;

struct FaultPdu {
  FaultPdu()
      : file(platform::DynamicLibrary::Open(FAULT_PDU_FILE)),
        SetQuirk(file.Function<PFN_FaultPduSetQuirk>("FaultPduSetQuirk")),
        Force(file.Function<PFN_FaultPduForce>("FaultPduForce")),
        Calls(file.Function<PFN_FaultPduCalls>("FaultPduCalls")) {}
  platform::DynamicLibrary file;
  PFN_FaultPduSetQuirk SetQuirk;
  PFN_FaultPduForce Force;
  PFN_FaultPduCalls Calls;
};

/// Runs cases in this process.
class Runner {
 public:
  /// Never destroyed: threads of the libraries may outlive everything.
  static Runner& Instance() {
    static auto* const runner = new Runner;
    return *runner;
  }

  /// The problems, one a line; empty if there are none.
  std::string Run(const FaultCase& fault);
  /// The same for a healthy session, and what it calls when.
  std::string Learn(Reached& reached);

 private:
  FaultSession MakeSession(const Library& library, bool healthy);
  std::string RunFaulty(const Library& library, const FaultCase& fault);
  std::string RunHealthy(const Library& library, Reached* reached = nullptr);
  std::string ItemProblems(bool balanced);

  FaultPdu pdu_;
  VirtualVci vci_{VIRTUAL_VCI_FILE};
  Watchdog watchdog_;
};

std::string Joined(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) text += "  " + line + "\n";
  return text;
}

FaultSession Runner::MakeSession(const Library& library, bool healthy) {
  vci_.Reset();
  vci_.Configure(nullptr, VVCI_CLOCK_INSTANT);
  watchdog_.Case(kSessionLimit);
  return {library, healthy, [this](const char* call, j2534_ulong milliseconds) {
            watchdog_.Step(call, std::chrono::milliseconds(milliseconds));
          }};
}

std::string Runner::ItemProblems(bool balanced) {
  VVCI_LEDGER ledger{};
  vci_.GetLedger(&ledger);
  std::string problems;
  if (ledger.BadDestroys != 0) problems += "  items destroyed twice, or that are none\n";
  if (balanced && ledger.LeftAtDestruct != 0) problems += "  items left for PDUDestruct\n";
  for (int kind = 0; balanced && kind < VVCI_ITEM_KINDS; ++kind) {
    if (ledger.HandedOut[kind] == ledger.Destroyed[kind]) continue;
    problems += "  items of kind " + std::to_string(kind) + " not destroyed\n";
  }
  return problems;
}

std::string Runner::RunFaulty(const Library& library, const FaultCase& fault) {
  FaultSession session = MakeSession(library, false);
  for (const Stage& stage : FaultSession::Stages()) {
    if (fault.stage == stage.name) {
      pdu_.Force(fault.function.c_str(), fault.forEver ? FAULT_PDU_FOR_EVER : 1, fault.result);
    }
    session.Run(stage);
  }
  pdu_.Force("", 0, PDU_STATUS_NOERROR);
  session.CleanUp();
  return Joined(session.Problems()) + ItemProblems(fault.function != "PDUDestroyItem");
}

std::string Runner::RunHealthy(const Library& library, Reached* reached) {
  FaultSession session = MakeSession(library, true);
  const UNUM32 constructions = pdu_.Calls("PDUConstruct");
  for (const Stage& stage : FaultSession::Stages()) {
    std::vector<UNUM32> before;
    for (const std::string& name : FunctionNames()) before.push_back(pdu_.Calls(name.c_str()));
    session.Run(stage);
    for (std::size_t i = 0; reached != nullptr && i < before.size(); ++i) {
      const std::string& name = FunctionNames()[i];
      if (pdu_.Calls(name.c_str()) != before[i]) (*reached)[stage.name].insert(name);
    }
  }
  watchdog_.Rest();
  std::string problems = Joined(session.Problems()) + ItemProblems(true);
  if (pdu_.Calls("PDUConstruct") == constructions) problems += "  PDUConstruct was not called\n";
  return problems;
}

std::string Runner::Run(const FaultCase& fault) {
  // A library of its own for each case: it has nothing loaded and nothing resolved yet.
  const Library library(PASSBRIDGE_FILE);
  if (!fault.quirk.empty()) {
    const auto& names = QuirkNames();
    pdu_.SetQuirk(
        static_cast<UNUM32>(std::find(names.begin(), names.end(), fault.quirk) - names.begin()));
    const std::string problems = RunHealthy(library);
    pdu_.SetQuirk(FAULT_PDU_PLAIN);
    return problems;
  }
  std::string problems = RunFaulty(library, fault);
  if (problems.empty()) {
    problems = RunHealthy(library);
    if (!problems.empty()) problems = "  the session after it:\n" + problems;
  }
  return problems;
}

std::string Runner::Learn(Reached& reached) {
  const Library library(PASSBRIDGE_FILE);
  const std::string problems = RunHealthy(library, &reached);
  // The event thread calls these whenever it likes.
  for (auto& [stage, functions] : reached) functions.insert({"PDUGetEventItem", "PDUDestroyItem"});
  return problems;
}

/// Runs the cases of a file from the given one to the first that fails.
int RunChild(const std::string& file, std::size_t from) {
  const std::vector<FaultCase> cases = Load(file);
  for (std::size_t i = from; i < cases.size(); ++i) {
    std::ofstream(file + ".at") << i << std::flush;
    const std::string problems = Runner::Instance().Run(cases[i]);
    if (problems.empty()) continue;
    std::printf("%s", problems.c_str());
    std::fflush(stdout);
    std::_Exit(1);  // a failed case may have left threads behind
  }
  return 0;
}

/// Settings for this process and those that it starts.
struct Settings {
  Settings() {
    auto key = platform::RegistryKey::Create(platform::RegistryRoot::Machine, kSupportKey);
    if (!key || !key->WriteText("FunctionLibrary", FAULT_PDU_FILE)) std::abort();
  }
  ~Settings() { platform::DeleteRegistryTree(platform::RegistryRoot::Machine, kSupportKey); }
  platform::testing::SettingsSandbox sandbox;
};

/// Runs cases in processes of the program, some at a time: most of the time they wait.
class Supervisor {
 public:
  Supervisor(std::string program, std::vector<FaultCase> cases)
      : program_(std::move(program)), cases_(std::move(cases)) {}

  /// The number of cases that failed.
  std::size_t Run(std::size_t jobs) {
    std::vector<std::thread> threads;
    for (std::size_t job = 0; job < jobs; ++job) {
      threads.emplace_back([this, job, jobs] {
        std::vector<FaultCase> share;
        for (std::size_t i = job; i < cases_.size(); i += jobs) share.push_back(cases_[i]);
        RunShare(share, "job" + std::to_string(job));
      });
    }
    for (std::thread& thread : threads) thread.join();
    std::printf("%zu cases, %zu failed\n", cases_.size(), failed_);
    return failed_;
  }

 private:
  void RunShare(const std::vector<FaultCase>& cases, const std::string& name) {
    const std::string file = (folder_.path / name).string();
    Save(cases, file);
    for (std::size_t at = 0; at < cases.size(); ++at) {
      std::ofstream(file + ".at") << at << std::flush;
      const std::string command = '"' + program_ + "\" --child " + file + " --from " +
                                  std::to_string(at) + " > " + file + ".out 2>&1";
      if (std::system(command.c_str()) == 0) return;
      std::ifstream(file + ".at") >> at;
      Report(cases[at], file + ".out");
    }
  }

  void Report(const FaultCase& fault, const std::string& output) {
    std::stringstream text;
    text << std::ifstream(output).rdbuf();
    const std::lock_guard lock(lock_);
    ++failed_;
    std::printf("FAILED: %s %s\n%s", program_.c_str(), OptionsOf(fault).c_str(),
                text.str().c_str());
    std::fflush(stdout);
  }

  struct Folder {
    Folder() { std::filesystem::create_directory(path); }
    ~Folder() { std::filesystem::remove_all(path); }
    const std::filesystem::path path =
        std::filesystem::temp_directory_path() /
        ("passbridge-faults-" +
         std::to_string(std::chrono::system_clock::now().time_since_epoch().count()));
  };

  const std::string program_;
  const std::vector<FaultCase> cases_;
  const Folder folder_;
  std::mutex lock_;
  std::size_t failed_ = 0;
};

}  // namespace

int Main(int count, char** arguments) {
  CLI::App app{"Sessions on a D-PDU library that fails; without an option, a sample of them"};
  bool all = false;
  FaultCase wanted;
  std::string times;
  std::string result;
  std::string file;
  std::size_t from = 0;
  std::size_t jobs = 16;
  app.add_flag("--all", all, "Every case");
  app.add_option("--function", wanted.function, "Only cases of this D-PDU function");
  app.add_option("--result", result, "Only this result");
  app.add_option("--stage", wanted.stage, "Only faults that begin in this stage");
  app.add_option("--times", times, "Only faults that happen 'once' or for 'ever'");
  app.add_option("--quirk", wanted.quirk, "Only this habit");
  app.add_option("--jobs", jobs, "So many processes at a time");
  app.add_option("--child", file)->group("");
  app.add_option("--from", from)->group("");
  CLI11_PARSE(app, count, arguments);
  if (!file.empty()) return RunChild(file, from);

  const Settings settings;
  Reached reached;
  const std::string problems = Runner::Instance().Learn(reached);
  if (!problems.empty()) {
    std::printf("a healthy session fails:\n%s", problems.c_str());
    return 1;
  }
  for (const std::string* const choice :
       {&wanted.function, &result, &wanted.stage, &times, &wanted.quirk}) {
    all = all || !choice->empty();
  }
  std::vector<FaultCase> cases = MakeCases(reached, all);
  std::erase_if(cases, [&](const FaultCase& fault) {
    const auto differs = [](const std::string& want, const std::string& is) {
      return !want.empty() && want != is;
    };
    return differs(wanted.function, fault.function) || differs(wanted.stage, fault.stage) ||
           differs(wanted.quirk, fault.quirk) || differs(times, fault.forEver ? "ever" : "once") ||
           (!result.empty() && std::stoul(result, nullptr, 0) != fault.result);
  });
  if (cases.empty()) {
    std::printf("no such case\n");
    return 2;
  }
  return Supervisor(arguments[0], std::move(cases)).Run(jobs) == 0 ? 0 : 1;
}

}  // namespace passbridge::test

int main(int count, char** arguments) { return passbridge::test::Main(count, arguments); }
