#include "platform/process_info.h"

#include <windows.h>

#include <memory>

#include "platform/text.h"

namespace passbridge::platform {
namespace {

struct CloseProcess {
  void operator()(void* process) const { ::CloseHandle(process); }
};

std::unique_ptr<void, CloseProcess> OpenProcessFor(DWORD access, ProcessId process) {
  return std::unique_ptr<void, CloseProcess>(::OpenProcess(access, FALSE, process));
}

}  // namespace

ProcessId CurrentProcessId() noexcept { return ::GetCurrentProcessId(); }

std::optional<std::uint64_t> ProcessCreationTime(ProcessId process) {
  const auto handle = OpenProcessFor(PROCESS_QUERY_LIMITED_INFORMATION, process);
  FILETIME creation;
  FILETIME exit;
  FILETIME kernel;
  FILETIME user;
  if (!handle || !::GetProcessTimes(handle.get(), &creation, &exit, &kernel, &user)) {
    return std::nullopt;
  }
  return static_cast<std::uint64_t>(creation.dwHighDateTime) << 32 | creation.dwLowDateTime;
}

bool ProcessExists(ProcessId process) {
  const auto handle = OpenProcessFor(SYNCHRONIZE, process);
  // One that we may not open exists.
  if (!handle) return ::GetLastError() == ERROR_ACCESS_DENIED;
  return ::WaitForSingleObject(handle.get(), 0) == WAIT_TIMEOUT;
}

std::string UserLocale() {
  wchar_t name[LOCALE_NAME_MAX_LENGTH];
  const int length = ::LCIDToLocaleName(::GetUserDefaultLCID(), name, LOCALE_NAME_MAX_LENGTH, 0);
  return length > 0 ? Utf8FromWide(std::wstring_view(name, static_cast<std::size_t>(length) - 1))
                    : std::string();
}

}  // namespace passbridge::platform
