#include "platform/debug_output.h"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

namespace passbridge::platform {
namespace {

enum class Target { Unknown, StandardError, Syslog, File, None };

// Lines may come while the process ends: what they use has no destructor.
pthread_mutex_t targetLock = PTHREAD_MUTEX_INITIALIZER;
Target target = Target::Unknown;
char targetPath[PATH_MAX];

class TargetLock {
 public:
  TargetLock() { ::pthread_mutex_lock(&targetLock); }
  ~TargetLock() { ::pthread_mutex_unlock(&targetLock); }
};

// The program may change its working folder later: a relative path becomes absolute.
Target FileTarget(const char* path) {
  std::string absolute(path);
  if (*path != '/') {
    char folder[PATH_MAX];
    if (::getcwd(folder, sizeof folder) == nullptr) return Target::None;
    absolute = std::string(folder) + "/" + path;
  }
  if (absolute.size() >= sizeof targetPath) return Target::None;
  std::memcpy(targetPath, absolute.c_str(), absolute.size() + 1);
  return Target::File;
}

Target TargetFromEnvironment() {
  const char* const name = ::secure_getenv("PASSBRIDGE_DEBUG_OUTPUT");
  if (name == nullptr || *name == '\0' || std::strcmp(name, "stderr") == 0) {
    return Target::StandardError;
  }
  return std::strcmp(name, "syslog") == 0 ? Target::Syslog : FileTarget(name);
}

// Where lines go now; `path` becomes that of a file.
Target CurrentTarget(std::string& path) {
  const TargetLock lock;
  if (target == Target::Unknown) target = TargetFromEnvironment();
  if (target == Target::File) path = targetPath;
  return target;
}

// Keeps the signal of a write to a pipe without reader from the application.
class BrokenPipeGuard {
 public:
  BrokenPipeGuard() {
    ::sigemptyset(&brokenPipe_);
    ::sigaddset(&brokenPipe_, SIGPIPE);
    sigset_t pending;
    ::sigpending(&pending);
    wasPending_ = ::sigismember(&pending, SIGPIPE) == 1;
    ::pthread_sigmask(SIG_BLOCK, &brokenPipe_, &before_);
  }
  ~BrokenPipeGuard() { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

  // Takes the signal that our write raised.
  void Swallow() {
    constexpr timespec kNoWait{};
    if (!wasPending_) ::sigtimedwait(&brokenPipe_, nullptr, &kNoWait);
  }

 private:
  sigset_t brokenPipe_;
  sigset_t before_;
  bool wasPending_;
};

void WriteWhole(int file, const std::string& text) {
  BrokenPipeGuard guard;
  ssize_t written;
  do {
    written = ::write(file, text.data(), text.size());
  } while (written < 0 && errno == EINTR);
  if (written < 0 && errno == EPIPE) guard.Swallow();
}

// Opened for each line: nothing stays open when the library goes, and files may be rotated.
void WriteToFile(const std::string& path, const std::string& text) {
  constexpr int kFlags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  const int file = ::open(path.c_str(), kFlags, S_IRUSR | S_IWUSR);
  if (file < 0) return;
  WriteWhole(file, text);
  ::close(file);
}

std::string AsUnixLine(std::string_view line) {
  std::string text;
  text.reserve(line.size() + 1);
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (line.substr(i, 2) != "\r\n") text += line[i];
  }
  if (text.empty() || text.back() != '\n') text += '\n';
  return text;
}

}  // namespace

void DebugOutput(std::string_view line) noexcept {
  const int savedErrno = errno;
  try {
    const std::string text = AsUnixLine(line);
    std::string path;
    switch (CurrentTarget(path)) {
      case Target::StandardError:
        WriteWhole(STDERR_FILENO, text);
        break;
      case Target::Syslog:
        ::syslog(LOG_USER | LOG_DEBUG, "%s", text.c_str());
        break;
      case Target::File:
        WriteToFile(path, text);
        break;
      case Target::Unknown:
      case Target::None:
        break;
    }
  } catch (...) {  // out of memory: the line is lost
  }
  errno = savedErrno;
}

void ResetDebugOutput() noexcept {
  const TargetLock lock;
  target = Target::Unknown;
}

}  // namespace passbridge::platform
