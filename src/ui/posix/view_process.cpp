#include "ui/posix/view_process.h"

#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>
#include <vector>

namespace passbridge {

namespace {

using platform::FileDescriptor;

/// Of what waits to be sent: many lists of many VCIs.
constexpr std::size_t kMostUnsent = std::size_t{4} << 20U;

/// What an application may set that has libraries of its own, which are not the program's.
constexpr std::array<std::string_view, 4> kOwnLibraries{
    "LD_LIBRARY_PATH=", "LD_PRELOAD=", "QT_PLUGIN_PATH=", "QT_QPA_PLATFORM_PLUGIN_PATH="};

std::vector<char*> ChildEnvironment() {
  std::vector<char*> variables;
  for (char** variable = environ; variable != nullptr && *variable != nullptr; ++variable) {
    const std::string_view text(*variable);
    const bool isOwn =
        std::any_of(kOwnLibraries.begin(), kOwnLibraries.end(),
                    [text](std::string_view name) { return text.starts_with(name); });
    if (!isOwn) variables.push_back(*variable);
  }
  variables.push_back(nullptr);
  return variables;
}

class SpawnActions {
 public:
  explicit SpawnActions(int socket) {
    ::posix_spawn_file_actions_init(&actions_);
    ::posix_spawn_file_actions_adddup2(&actions_, socket, STDIN_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions_, socket, STDOUT_FILENO);
    ::posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1);
  }
  SpawnActions(const SpawnActions&) = delete;
  SpawnActions& operator=(const SpawnActions&) = delete;
  ~SpawnActions() { ::posix_spawn_file_actions_destroy(&actions_); }

  const posix_spawn_file_actions_t* Get() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_{};
};

class SpawnAttributes {
 public:
  SpawnAttributes() {
    sigset_t signals;
    ::posix_spawnattr_init(&attributes_);
    ::posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    ::sigemptyset(&signals);
    ::posix_spawnattr_setsigmask(&attributes_, &signals);
    ::sigfillset(&signals);
    ::posix_spawnattr_setsigdefault(&attributes_, &signals);
  }
  SpawnAttributes(const SpawnAttributes&) = delete;
  SpawnAttributes& operator=(const SpawnAttributes&) = delete;
  ~SpawnAttributes() { ::posix_spawnattr_destroy(&attributes_); }

  const posix_spawnattr_t* Get() const { return &attributes_; }

 private:
  posix_spawnattr_t attributes_{};
};

bool WouldBlock() { return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR; }

}  // namespace

std::unique_ptr<ViewProcess> ViewProcess::Start(const std::string& program) {
  std::array<int, 2> ends{-1, -1};
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) return nullptr;
  std::unique_ptr<ViewProcess> process;
  const FileDescriptor theirs(platform::AboveStandard(ends[1]));
  FileDescriptor ours(platform::AboveStandard(ends[0]));
  if (!ours || !theirs) return nullptr;
  std::string name(program);
  const std::array<char*, 2> arguments{name.data(), nullptr};
  std::vector<char*> environment = ChildEnvironment();
  process.reset(new ViewProcess(ours.Release()));
  const int result =
      ::posix_spawn(&process->id_, program.c_str(), SpawnActions(theirs.Number()).Get(),
                    SpawnAttributes().Get(), arguments.data(), environment.data());
  if (result != 0) process->id_ = 0;
  return result == 0 ? std::move(process) : nullptr;
}

/// It has nothing to lose. The application may have waited for it already, as for any child: then
/// the number may be another process's by now.
ViewProcess::~ViewProcess() {
  if (id_ == 0 || ::waitpid(id_, nullptr, WNOHANG) != 0) return;
  ::kill(id_, SIGKILL);
  while (::waitpid(id_, nullptr, 0) < 0 && errno == EINTR) {
  }
}

bool ViewProcess::Flush() {
  if (unsent_.empty()) return true;
  const ssize_t sent =
      ::send(Socket(), unsent_.data(), unsent_.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
  if (sent < 0) return WouldBlock() && unsent_.size() <= kMostUnsent;
  unsent_.erase(0, static_cast<std::size_t>(sent));
  return unsent_.size() <= kMostUnsent;
}

bool ViewProcess::Receive() {
  std::array<char, 4096> bytes{};
  const ssize_t received = ::recv(Socket(), bytes.data(), bytes.size(), MSG_DONTWAIT);
  if (received < 0) return WouldBlock();
  if (received == 0) return false;
  return lines_.Add({bytes.data(), static_cast<std::size_t>(received)});
}

}  // namespace passbridge
