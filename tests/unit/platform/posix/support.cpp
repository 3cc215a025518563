#include "support.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

namespace passbridge::platform::testing {

SettingsSandbox::SettingsSandbox() : key_("SOFTWARE\\Maker\\Product") {
  std::string folder = "/tmp/passbridge-test-XXXXXX";
  if (::mkdtemp(folder.data()) == nullptr) std::abort();
  folder_ = folder;
  ::mkdir((folder_ + "/runtime").c_str(), 0700);
  ::setenv("XDG_CONFIG_HOME", (folder_ + "/config").c_str(), 1);
  ::setenv("XDG_CONFIG_DIRS", (folder_ + "/machine").c_str(), 1);
  ::setenv("XDG_RUNTIME_DIR", (folder_ + "/runtime").c_str(), 1);
}

SettingsSandbox::~SettingsSandbox() {
  for (const char* const name : {"XDG_CONFIG_HOME", "XDG_CONFIG_DIRS", "XDG_RUNTIME_DIR"}) {
    ::unsetenv(name);
  }
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

std::size_t Pages::Size() { return static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)); }

Pages::Pages(std::size_t count) : count_(count) {
  void* const memory =
      ::mmap(nullptr, count * Size(), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) std::abort();
  begin_ = static_cast<char*>(memory);
}

Pages::~Pages() { ::munmap(begin_, count_ * Size()); }

void Pages::Protect(std::size_t page, Protection protection) {
  const int flags = protection == Protection::None       ? PROT_NONE
                    : protection == Protection::ReadOnly ? PROT_READ
                                                         : PROT_READ | PROT_WRITE;
  ASSERT_EQ(::mprotect(At(page), Size(), flags), 0);
}

void Pages::Free(std::size_t page) { ASSERT_EQ(::munmap(At(page), Size()), 0); }

ChildProcess::ChildProcess() {
  const pid_t child = ::fork();
  if (child == 0) {
    for (;;) ::pause();
  }
  id_ = static_cast<ProcessId>(child);
}

void ChildProcess::Kill() {
  ::kill(static_cast<pid_t>(id_), SIGKILL);
  siginfo_t info;
  ::waitid(P_PID, id_, &info, WEXITED | WNOWAIT);
}

void ChildProcess::End() {
  ::kill(static_cast<pid_t>(id_), SIGKILL);
  ::waitpid(static_cast<pid_t>(id_), nullptr, 0);
}

}  // namespace passbridge::platform::testing
