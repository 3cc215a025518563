#include "platform/dynamic_library.h"

#include <dlfcn.h>
#include <link.h>

#include <cstdlib>
#include <memory>

#include "platform/text.h"

namespace passbridge::platform {
namespace {

void Tell(std::string* error, std::string_view text) {
  if (error != nullptr) *error = text;
}

std::string AbsolutePath(const char* path) {
  const std::unique_ptr<char, decltype(&std::free)> absolute(::realpath(path, nullptr), &std::free);
  return absolute ? std::string(absolute.get()) : std::string();
}

// The path by which the loader knows the library that holds this code; empty for the program.
std::string OwnLibrary() {
  Dl_info info{};
  link_map* map = nullptr;
  const bool found = ::dladdr1(reinterpret_cast<void*>(&OwnModulePath), &info,
                               reinterpret_cast<void**>(&map), RTLD_DL_LINKMAP) != 0;
  return found && map != nullptr && map->l_name != nullptr ? map->l_name : "";
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
  const std::string file(path);
  if (file.empty() || file.find('\0') != std::string::npos) {
    Tell(error, "The path of the library is empty or malformed.");
    return {};
  }
  void* const handle = ::dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    const char* const reason = ::dlerror();
    Tell(error, reason != nullptr ? reason : "The library cannot be loaded.");
  }
  return DynamicLibrary(handle);
}

DynamicLibrary DynamicLibrary::OpenAnsi(std::string_view path, std::string* error) {
  return Open(Utf8FromAnsi(path), error);
}

DynamicLibrary DynamicLibrary::Own() {
  const std::string path = OwnLibrary();
  return DynamicLibrary(path.empty() ? nullptr : ::dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD));
}

void* DynamicLibrary::Symbol(const char* name) const noexcept {
  return handle_ != nullptr && name != nullptr ? ::dlsym(handle_, name) : nullptr;
}

void DynamicLibrary::Close() noexcept {
  if (handle_ != nullptr) ::dlclose(std::exchange(handle_, nullptr));
}

std::string OwnModulePath() {
  const std::string path = OwnLibrary();
  return AbsolutePath(path.empty() ? "/proc/self/exe" : path.c_str());
}

}  // namespace passbridge::platform
