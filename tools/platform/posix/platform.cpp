#include "platform/platform.h"

#include <dlfcn.h>

#include <csignal>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace passbridge::tool {
namespace {

volatile std::sig_atomic_t stopRequested = 0;

void RequestStop(int /*signal*/) { stopRequested = 1; }

}  // namespace

SharedLibrary::SharedLibrary(std::string name) : name_(std::move(name)) {
  handle_ = dlopen(name_.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle_ == nullptr) {
    throw std::runtime_error(std::string("cannot load the J2534 library: ") + dlerror());
  }
}

SharedLibrary::~SharedLibrary() {
  if (handle_ != nullptr) dlclose(handle_);
}

SharedLibrary::SharedLibrary(SharedLibrary&& other) noexcept
    : name_(std::move(other.name_)), handle_(std::exchange(other.handle_, nullptr)) {}

SharedLibrary::Function SharedLibrary::Symbol(const char* name) const {
  return reinterpret_cast<Function>(dlsym(handle_, name));
}

std::filesystem::path LibraryFileName() { return "libpassbridge.so"; }

std::filesystem::path ExecutableFolder() {
  std::error_code error;
  const auto executable = std::filesystem::read_symlink("/proc/self/exe", error);
  return error ? std::filesystem::path() : executable.parent_path();
}

StopSignal::StopSignal() {
  struct sigaction action = {};
  action.sa_handler = RequestStop;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

bool StopSignal::Requested() const { return stopRequested != 0; }

}  // namespace passbridge::tool
