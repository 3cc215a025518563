#include "support.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <cstdlib>

#include "platform/registry.h"

namespace passbridge::platform::testing {

SettingsSandbox::SettingsSandbox()
    : key_("SOFTWARE\\PassbridgeTest\\" + std::to_string(::GetCurrentProcessId())) {
  // The parent is made first: a volatile key would make it volatile, too.
  RegistryKey::Create(RegistryRoot::User, "SOFTWARE\\PassbridgeTest");
}

SettingsSandbox::~SettingsSandbox() { DeleteRegistryTree(RegistryRoot::User, key_); }

std::size_t Pages::Size() {
  SYSTEM_INFO info;
  ::GetSystemInfo(&info);
  return info.dwPageSize;
}

Pages::Pages(std::size_t count) : count_(count) {
  begin_ = static_cast<char*>(
      ::VirtualAlloc(nullptr, count * Size(), MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
  if (begin_ == nullptr) std::abort();
}

Pages::~Pages() { ::VirtualFree(begin_, 0, MEM_RELEASE); }

void Pages::Protect(std::size_t page, Protection protection) {
  const DWORD flags = protection == Protection::None       ? PAGE_NOACCESS
                      : protection == Protection::ReadOnly ? PAGE_READONLY
                                                           : PAGE_READWRITE;
  DWORD before = 0;
  ASSERT_TRUE(::VirtualProtect(At(page), Size(), flags, &before));
}

void Pages::Free(std::size_t page) { ASSERT_TRUE(::VirtualFree(At(page), Size(), MEM_DECOMMIT)); }

ChildProcess::ChildProcess() {
  wchar_t program[MAX_PATH];
  ::GetModuleFileNameW(nullptr, program, MAX_PATH);
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process{};
  if (!::CreateProcessW(program, nullptr, nullptr, nullptr, FALSE, CREATE_SUSPENDED, nullptr,
                        nullptr, &startup, &process)) {
    std::abort();
  }
  ::CloseHandle(process.hThread);
  handle_ = process.hProcess;
  id_ = process.dwProcessId;
}

void ChildProcess::Kill() {
  ::TerminateProcess(handle_, 0);
  ::WaitForSingleObject(handle_, INFINITE);
}

void ChildProcess::End() {
  Kill();
  ::CloseHandle(handle_);
}

}  // namespace passbridge::platform::testing
