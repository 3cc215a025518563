#include "platform/platform.h"

#include <windows.h>

#include <array>
#include <atomic>
#include <stdexcept>
#include <utility>

namespace passbridge::tool {
namespace {

std::atomic<bool> stopRequested{false};

BOOL WINAPI HandleControl(DWORD event) {
  if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) return FALSE;
  stopRequested = true;
  return TRUE;
}

std::string SystemText(DWORD error) {
  std::array<char, 512> buffer{};
  const DWORD size =
      FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error, 0,
                     buffer.data(), static_cast<DWORD>(buffer.size()), nullptr);
  std::string text(buffer.data(), size);
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
  return text + " (" + std::to_string(error) + ")";
}

}  // namespace

SharedLibrary::SharedLibrary(std::string name) : name_(std::move(name)) {
  // With a path, what the library itself needs is looked for beside it.
  const bool isPath = std::filesystem::path(name_).is_absolute();
  handle_ = LoadLibraryExA(name_.c_str(), nullptr, isPath ? LOAD_WITH_ALTERED_SEARCH_PATH : 0);
  if (handle_ == nullptr) {
    throw std::runtime_error("cannot load the J2534 library: " + name_ + ": " +
                             SystemText(GetLastError()));
  }
}

SharedLibrary::~SharedLibrary() {
  if (handle_ != nullptr) FreeLibrary(static_cast<HMODULE>(handle_));
}

SharedLibrary::SharedLibrary(SharedLibrary&& other) noexcept
    : name_(std::move(other.name_)), handle_(std::exchange(other.handle_, nullptr)) {}

SharedLibrary::Function SharedLibrary::Symbol(const char* name) const {
  return reinterpret_cast<Function>(GetProcAddress(static_cast<HMODULE>(handle_), name));
}

std::filesystem::path LibraryFileName() { return "passbridge.dll"; }

std::filesystem::path ExecutableFolder() {
  std::array<wchar_t, 32768> buffer{};
  const DWORD size = GetModuleFileNameW(nullptr, buffer.data(), static_cast<DWORD>(buffer.size()));
  return std::filesystem::path(std::wstring(buffer.data(), size)).parent_path();
}

StopSignal::StopSignal() { SetConsoleCtrlHandler(HandleControl, TRUE); }

bool StopSignal::Requested() const { return stopRequested; }

}  // namespace passbridge::tool
