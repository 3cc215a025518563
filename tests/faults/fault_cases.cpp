#include "fault_cases.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <fstream>

#include "passbridge/d_pdu_functions.h"

namespace passbridge::test {

namespace {

/// Every result code that the library knows (E_PDU_ERROR).
constexpr auto kResults = std::to_array<T_PDU_ERROR>(
    {0x00, 0x01, 0x10, 0x11, 0x20, 0x21, 0x30, 0x31, 0x32, 0x40, 0x41,
     0x50, 0x60, 0x61, 0x62, 0x63, 0x64, 0x70, 0x71, 0x80, 0x81, 0x82,
     0x83, 0x84, 0x90, 0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6, PDU_ERR_DEVICE_IN_USE});

const char* TimesOf(const FaultCase& fault) { return fault.forEver ? "ever" : "once"; }

/// The same result for the same case on every machine, and all of them about equally often.
T_PDU_ERROR SampleResult(const FaultCase& fault) {
  std::uint32_t hash = 2166136261;
  for (const char c : fault.function + fault.stage + TimesOf(fault)) {
    hash = (hash ^ static_cast<unsigned char>(c)) * 16777619;
  }
  return kResults[hash % kResults.size()];
}

}  // namespace

std::string OptionsOf(const FaultCase& fault) {
  if (!fault.quirk.empty()) return "--quirk " + fault.quirk;
  std::array<char, 16> result{};
  std::snprintf(result.data(), result.size(), "0x%02X", fault.result);
  return "--function " + fault.function + " --result " + result.data() + " --stage " + fault.stage +
         " --times " + TimesOf(fault);
}

#define FAULTS_NAME(name, required) #name,

const std::vector<std::string>& FunctionNames() {
  static const std::vector<std::string> names{PASSBRIDGE_PDU_FUNCTIONS(FAULTS_NAME)};
  return names;
}

const std::vector<std::string>& QuirkNames() {
  static const std::vector<std::string> names{"plain",   "handles", "garbage", "synchronous",
                                              "waiting", "late",    "slow"};
  return names;
}

std::vector<FaultCase> MakeCases(const Reached& reached, bool all) {
  std::vector<FaultCase> cases;
  for (const bool forEver : {true, false}) {  // the slow ones first
    for (const auto& [stage, functions] : reached) {
      for (const std::string& function : functions) {
        FaultCase fault{function, PDU_STATUS_NOERROR, stage, forEver, ""};
        for (const T_PDU_ERROR result : kResults) {
          if (!all && result != SampleResult(fault)) continue;
          cases.push_back(fault);
          cases.back().result = result;
        }
      }
    }
  }
  for (const std::string& quirk : QuirkNames()) cases.push_back({"", 0, "", false, quirk});
  return cases;
}

void Save(const std::vector<FaultCase>& cases, const std::string& file) {
  std::ofstream out(file);
  const auto word = [](const std::string& text) { return text.empty() ? "-" : text; };
  for (const FaultCase& fault : cases) {
    out << word(fault.function) << ' ' << fault.result << ' ' << word(fault.stage) << ' '
        << fault.forEver << ' ' << word(fault.quirk) << '\n';
  }
}

std::vector<FaultCase> Load(const std::string& file) {
  std::ifstream in(file);
  std::vector<FaultCase> cases;
  for (FaultCase fault;
       in >> fault.function >> fault.result >> fault.stage >> fault.forEver >> fault.quirk;) {
    for (std::string* const word : {&fault.function, &fault.stage, &fault.quirk}) {
      if (*word == "-") word->clear();
    }
    cases.push_back(fault);
  }
  return cases;
}

}  // namespace passbridge::test
