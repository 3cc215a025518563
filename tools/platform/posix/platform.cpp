#include "platform/platform.h"

#include <dlfcn.h>

#include <csignal>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace passbridge::tool {
namespace {

volatile std::sig_atomic_t stopRequested = 0;

constexpr const char* kVirtualSettings = "virtual_settings";

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

std::filesystem::path VirtualVciFileName() { return "libvirtual_vci.so"; }

namespace {

// Programs that are started look for the screen in the user's folder, which is about to be another,
// unless its name says where it is.
void KeepWaylandDisplay() {
  const char* const folder = getenv("XDG_RUNTIME_DIR");
  const char* const display = getenv("WAYLAND_DISPLAY");
  if (folder == nullptr || display == nullptr || *display == '\0' || *display == '/') return;
  setenv("WAYLAND_DISPLAY", (std::filesystem::path(folder) / display).c_str(), 1);
}

}  // namespace

// The settings name the VCI by its file name alone, so that they serve wherever the tool lies: the
// loader finds a library of that name loaded already.
VirtualVciSettings::VirtualVciSettings(const std::filesystem::path& vci) {
  namespace fs = std::filesystem;
  const fs::path folder = ExecutableFolder();
  fs::path settings = folder / kVirtualSettings;
  if (!fs::is_directory(settings)) {
    settings = folder.parent_path() / "share" / "passbridge" / kVirtualSettings;
  }
  if (!fs::is_directory(settings)) {
    throw std::runtime_error("the settings for --virtual are not beside the tool: there is no " +
                             settings.string());
  }
  handle_ = dlopen(vci.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle_ == nullptr) {
    throw std::runtime_error(std::string("cannot load the virtual VCI: ") + dlerror());
  }
  KeepWaylandDisplay();
  setenv("XDG_CONFIG_DIRS", settings.c_str(), 1);
  // Nobody can make a folder there, so the user's settings are empty and nothing is remembered.
  for (const char* variable : {"XDG_CONFIG_HOME", "XDG_RUNTIME_DIR"}) {
    setenv(variable, "/proc/self", 1);
  }
}

VirtualVciSettings::~VirtualVciSettings() {
  if (handle_ != nullptr) dlclose(handle_);
}

void EnableTerminalSequences() {}

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
