#ifndef PASSBRIDGE_TESTS_FAULTS_FAULT_CASES_H_
#define PASSBRIDGE_TESTS_FAULTS_FAULT_CASES_H_

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "passbridge/d_pdu_api.h"

namespace passbridge::test {

/// One fault: this function gives this result from the begin of this stage on, once or for ever.
/// Or, without a function, one habit of the D-PDU library during a healthy session.
struct FaultCase {
  std::string function;
  T_PDU_ERROR result = PDU_STATUS_NOERROR;
  std::string stage;
  bool forEver = false;
  std::string quirk;
};

/// The options of the program that choose it.
std::string OptionsOf(const FaultCase& fault);

/// The names of the D-PDU functions, and of the habits in the order of their values.
const std::vector<std::string>& FunctionNames();
const std::vector<std::string>& QuirkNames();

/// The functions that a healthy session calls in each stage.
using Reached = std::map<std::string, std::set<std::string>>;

/// Every result at every stage that reaches the function, once and for ever; or a sample: of the
/// results one for each function, stage and duration. Then each habit.
std::vector<FaultCase> MakeCases(const Reached& reached, bool all);

/// A list of cases as a file, for the processes that run them.
void Save(const std::vector<FaultCase>& cases, const std::string& file);
std::vector<FaultCase> Load(const std::string& file);

}  // namespace passbridge::test

#endif  // PASSBRIDGE_TESTS_FAULTS_FAULT_CASES_H_
