#ifndef PASSBRIDGE_PLATFORM_PROCESS_INFO_H_
#define PASSBRIDGE_PLATFORM_PROCESS_INFO_H_

#include <cstdint>
#include <optional>
#include <string>

namespace passbridge::platform {

using ProcessId = std::uint32_t;

ProcessId CurrentProcessId() noexcept;

// When the process was created, as a number that is comparable between processes of one system run
// and tells apart two processes that had the same identifier. Windows: a FILETIME (100 ns since
// 1601); Linux: clock ticks since the system started. Nothing if there is no such process or it may
// not be asked.
std::optional<std::uint64_t> ProcessCreationTime(ProcessId process);

// Whether the process runs. One that has ended does not, even while its parent has not noticed.
bool ProcessExists(ProcessId process);

// The language tag of the user's locale, such as "en-US" or "he"; empty if none is set.
std::string UserLocale();

}  // namespace passbridge::platform

#endif  // PASSBRIDGE_PLATFORM_PROCESS_INFO_H_
