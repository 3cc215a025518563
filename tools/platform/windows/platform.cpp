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

std::wstring PrivateKeyName() {
  return L"Software\\passbridge_virtual_" + std::to_wstring(GetCurrentProcessId());
}

void SetValue(HKEY root, const wchar_t* path, const wchar_t* name, DWORD type, const void* data,
              std::size_t size) {
  HKEY key = nullptr;
  LSTATUS status = RegCreateKeyExW(root, path, 0, nullptr, REG_OPTION_VOLATILE, KEY_ALL_ACCESS,
                                   nullptr, &key, nullptr);
  if (status == ERROR_SUCCESS) {
    status = RegSetValueExW(key, name, 0, type, static_cast<const BYTE*>(data),
                            static_cast<DWORD>(size));
    RegCloseKey(key);
  }
  if (status != ERROR_SUCCESS) {
    throw std::runtime_error("cannot make settings for --virtual: " +
                             SystemText(static_cast<DWORD>(status)));
  }
}

struct OrderEntry {
  const wchar_t* key;
  DWORD number;
  DWORD enabled;
};

// The only VCI on USB; the command explorer enables the strategy that asks the user. Then any
// interface.
constexpr OrderEntry kOrders[] = {
    {L"AutoConnectionOrder\\Connection00", 1, 1},   {L"AutoConnectionOrder\\Connection01", 3, 0},
    {L"InterfaceTypeOrder\\InterfaceType00", 1, 1}, {L"InterfaceTypeOrder\\InterfaceType01", 2, 1},
    {L"InterfaceTypeOrder\\InterfaceType02", 3, 1}, {L"InterfaceTypeOrder\\InterfaceType03", 4, 1},
    {L"InterfaceTypeOrder\\InterfaceType04", 5, 1},
};

// The settings below `root` that lead to the virtual VCI.
void WriteVirtualSettings(HKEY root, const std::wstring& vci) {
  const std::wstring product = L"SOFTWARE\\QUARN\\QUARN_VCI\\";
  SetValue(root, (product + L"PDU API Support").c_str(), L"FunctionLibrary", REG_SZ, vci.c_str(),
           (vci.size() + 1) * sizeof(wchar_t));
  for (const OrderEntry& each : kOrders) {
    const std::wstring key = product + each.key;
    SetValue(root, key.c_str(), L"Number", REG_DWORD, &each.number, sizeof each.number);
    SetValue(root, key.c_str(), L"Enabled", REG_DWORD, &each.enabled, sizeof each.enabled);
  }
}

void EndVirtualSettings(HKEY key) {
  RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
  RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
  RegCloseKey(key);
  RegDeleteTreeW(HKEY_CURRENT_USER, PrivateKeyName().c_str());
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

std::filesystem::path VirtualVciFileName() { return "virtual_vci.dll"; }

VirtualVciSettings::VirtualVciSettings(const std::filesystem::path& vci) {
  // A process of the same number may have left its key when it was killed.
  RegDeleteTreeW(HKEY_CURRENT_USER, PrivateKeyName().c_str());
  HKEY key = nullptr;
  LSTATUS status = RegCreateKeyExW(HKEY_CURRENT_USER, PrivateKeyName().c_str(), 0, nullptr,
                                   REG_OPTION_VOLATILE, KEY_ALL_ACCESS, nullptr, &key, nullptr);
  if (status != ERROR_SUCCESS) {
    throw std::runtime_error("cannot make settings for --virtual: " +
                             SystemText(static_cast<DWORD>(status)));
  }
  handle_ = key;
  try {
    WriteVirtualSettings(key, vci.wstring());
    for (const HKEY root : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER}) {
      status = RegOverridePredefKey(root, key);
      if (status != ERROR_SUCCESS) {
        throw std::runtime_error("cannot use settings for --virtual: " +
                                 SystemText(static_cast<DWORD>(status)));
      }
    }
  } catch (...) {
    EndVirtualSettings(key);
    throw;
  }
}

VirtualVciSettings::~VirtualVciSettings() { EndVirtualSettings(static_cast<HKEY>(handle_)); }

void EnableTerminalSequences() {
  const HANDLE console = GetStdHandle(STD_OUTPUT_HANDLE);
  DWORD mode = 0;
  if (GetConsoleMode(console, &mode) != 0) {
    SetConsoleMode(console, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
  }
}

StopSignal::StopSignal() { SetConsoleCtrlHandler(HandleControl, TRUE); }

bool StopSignal::Requested() const { return stopRequested; }

}  // namespace passbridge::tool
