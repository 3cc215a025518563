#include "fault_cases.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <fstream>

#include "pdu/function_list.h"

namespace passbridge::test {

namespace {

constexpr auto kResults = std::to_array<T_PDU_ERROR>({PDU_STATUS_NOERROR,
                                                      PDU_ERR_FCT_FAILED,
                                                      PDU_ERR_DEVICE_NOT_CONNECTED,
                                                      PDU_ERR_COMM_PC_TO_VCI_FAILED,
                                                      PDU_ERR_PDUAPI_NOT_CONSTRUCTED,
                                                      PDU_ERR_SHARING_VIOLATION,
                                                      PDU_ERR_RESOURCE_BUSY,
                                                      PDU_ERR_RESOURCE_TABLE_CHANGED,
                                                      PDU_ERR_RESOURCE_ERROR,
                                                      PDU_ERR_CLL_NOT_CONNECTED,
                                                      PDU_ERR_CLL_NOT_STARTED,
                                                      PDU_ERR_INVALID_PARAMETERS,
                                                      PDU_ERR_INVALID_HANDLE,
                                                      PDU_ERR_VALUE_NOT_SUPPORTED,
                                                      PDU_ERR_ID_NOT_SUPPORTED,
                                                      PDU_ERR_COMPARAM_NOT_SUPPORTED,
                                                      PDU_ERR_COMPARAM_LOCKED,
                                                      PDU_ERR_TX_QUEUE_FULL,
                                                      PDU_ERR_EVENT_QUEUE_EMPTY,
                                                      PDU_ERR_VOLTAGE_NOT_SUPPORTED,
                                                      PDU_ERR_MUX_RSC_NOT_SUPPORTED,
                                                      PDU_ERR_CABLE_UNKNOWN,
                                                      PDU_ERR_NO_CABLE_DETECTED,
                                                      PDU_ERR_CLL_CONNECTED,
                                                      PDU_ERR_TEMPPARAM_NOT_ALLOWED,
                                                      PDU_ERR_RSC_LOCKED,
                                                      PDU_ERR_RSC_LOCKED_BY_OTHER_CLL,
                                                      PDU_ERR_RSC_NOT_LOCKED,
                                                      PDU_ERR_MODULE_NOT_CONNECTED,
                                                      PDU_ERR_API_SW_OUT_OF_DATE,
                                                      PDU_ERR_MODULE_FW_OUT_OF_DATE,
                                                      PDU_ERR_PIN_NOT_CONNECTED,
                                                      PDU_ERR_DEVICE_IN_USE});

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
  return "--function " + fault.function + " --result " + result.data() + " --stage " +
         fault.stage + " --times " + TimesOf(fault);
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
  for (const bool forEver : {false, true}) {
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
