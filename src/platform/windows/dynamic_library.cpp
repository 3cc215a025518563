#include "platform/dynamic_library.h"

#include <windows.h>

#include <iterator>

#include "platform/text.h"
#include "platform/windows/own_module.h"

namespace passbridge::platform {
namespace {

// The system's text for an error code, without its line end.
std::string SystemText(DWORD code) {
  wchar_t text[512];
  const DWORD length =
      ::FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code, 0,
                       text, static_cast<DWORD>(std::size(text)), nullptr);
  std::wstring_view line(text, length);
  line = line.substr(0, line.find_first_of(L"\r\n"));
  return line.empty() ? "Error " + std::to_string(code) : Utf8FromWide(line);
}

HMODULE LoadWide(const std::wstring& path, std::string* error) {
  if (path.empty() || path.find(L'\0') != std::wstring::npos) {
    if (error != nullptr) *error = "The path of the library is empty or malformed.";
    return nullptr;
  }
  const HMODULE module = ::LoadLibraryW(path.c_str());
  if (module == nullptr && error != nullptr) {
    const DWORD code = ::GetLastError();
    *error = Utf8FromWide(path) + ": " + SystemText(code);
  }
  return module;
}

}  // namespace

DynamicLibrary& DynamicLibrary::operator=(DynamicLibrary&& other) noexcept {
  if (this != &other) {
    Close();
    handle_ = std::exchange(other.handle_, nullptr);
  }
  return *this;
}

DynamicLibrary DynamicLibrary::Open(std::string_view path, std::string* error) {
  return DynamicLibrary(LoadWide(WideFromUtf8(path), error));
}

DynamicLibrary DynamicLibrary::OpenAnsi(std::string_view path, std::string* error) {
  return DynamicLibrary(LoadWide(WideFromAnsi(path), error));
}

DynamicLibrary DynamicLibrary::Own() {
  HMODULE module = nullptr;
  constexpr DWORD kFlags = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS;
  if (!::GetModuleHandleExW(kFlags, reinterpret_cast<LPCWSTR>(&OwnModulePath), &module)) return {};
  return DynamicLibrary(module);
}

void* DynamicLibrary::Symbol(const char* name) const noexcept {
  if (handle_ == nullptr || name == nullptr) return nullptr;
  return reinterpret_cast<void*>(::GetProcAddress(static_cast<HMODULE>(handle_), name));
}

void DynamicLibrary::Close() noexcept {
  if (handle_ != nullptr) ::FreeLibrary(static_cast<HMODULE>(std::exchange(handle_, nullptr)));
}

void* OwnModule() {
  HMODULE module = nullptr;
  constexpr DWORD kFlags =
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
  ::GetModuleHandleExW(kFlags, reinterpret_cast<LPCWSTR>(&OwnModule), &module);
  return module;
}

std::wstring OwnModuleWidePath() {
  const auto module = static_cast<HMODULE>(OwnModule());
  if (module == nullptr) return {};
  constexpr std::size_t kLongestPath = 32768;
  for (std::size_t size = MAX_PATH; size <= 2 * kLongestPath; size *= 2) {
    std::wstring path(size, L'\0');
    const DWORD length = ::GetModuleFileNameW(module, path.data(), static_cast<DWORD>(size));
    if (length < size) {
      path.resize(length);
      return path;
    }
  }
  return {};
}

std::string OwnModulePath() { return Utf8FromWide(OwnModuleWidePath()); }

}  // namespace passbridge::platform
