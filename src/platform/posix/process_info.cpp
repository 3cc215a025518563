#include "platform/process_info.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>

namespace passbridge::platform {
namespace {

struct ProcessStatus {
  char state;
  std::uint64_t startTime;
};

// Reads /proc/<pid>/stat: "pid (name) state ..."; the name may hold anything, so fields are counted
// from its closing parenthesis. The start time is field 22.
std::optional<ProcessStatus> ReadStatus(ProcessId process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/stat");
  const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  const std::size_t nameEnd = text.rfind(')');
  if (nameEnd == std::string::npos) return std::nullopt;
  std::istringstream fields(text.substr(nameEnd + 1));
  ProcessStatus status{};
  fields >> status.state;
  std::string skipped;
  for (int field = 4; field < 22; ++field) fields >> skipped;
  fields >> status.startTime;
  if (!fields) return std::nullopt;
  return status;
}

}  // namespace

ProcessId CurrentProcessId() noexcept { return static_cast<ProcessId>(::getpid()); }

std::optional<std::uint64_t> ProcessCreationTime(ProcessId process) {
  const auto status = ReadStatus(process);
  if (!status) return std::nullopt;
  return status->startTime;
}

bool ProcessExists(ProcessId process) {
  const auto status = ReadStatus(process);
  return status && status->state != 'Z' && status->state != 'X';
}

std::string UserLocale() {
  for (const char* const variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* const value = std::getenv(variable);
    if (value == nullptr || *value == '\0') continue;
    // language[_TERRITORY][.codeset][@modifier]
    std::string tag(value);
    tag.resize(std::min(tag.find_first_of(".@"), tag.size()));
    if (tag == "C" || tag == "POSIX") return {};
    if (const std::size_t mark = tag.find('_'); mark != std::string::npos) tag[mark] = '-';
    return tag;
  }
  return {};
}

}  // namespace passbridge::platform
