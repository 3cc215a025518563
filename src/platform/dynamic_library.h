#ifndef PASSBRIDGE_PLATFORM_DYNAMIC_LIBRARY_H_
#define PASSBRIDGE_PLATFORM_DYNAMIC_LIBRARY_H_

#include <string>
#include <string_view>
#include <utility>

namespace passbridge::platform {

// A library loaded at run time; owns one reference to it. An object is used by one thread at a
// time, but for Symbol, which any number may call at once.
class DynamicLibrary {
 public:
  // No library.
  DynamicLibrary() = default;
  DynamicLibrary(DynamicLibrary&& other) noexcept
      : handle_(std::exchange(other.handle_, nullptr)) {}
  // Closes the library held so far.
  DynamicLibrary& operator=(DynamicLibrary&& other) noexcept;
  ~DynamicLibrary() { Close(); }

  // Loads the library at `path` (UTF-8; OpenAnsi: in the process's ANSI code page). On failure the
  // result is false in a condition, and `error`, if given, tells why in one line. A path that is
  // empty or holds a zero byte fails. Runs the library's initialisers.
  static DynamicLibrary Open(std::string_view path, std::string* error = nullptr);
  static DynamicLibrary OpenAnsi(std::string_view path, std::string* error = nullptr);

  // A reference of its own to the library that holds this code, which then stays loaded whatever
  // the application does; none where the code is part of the program.
  static DynamicLibrary Own();

  explicit operator bool() const { return handle_ != nullptr; }

  // The address of an exported symbol; null if there is none or no library is held.
  void* Symbol(const char* name) const noexcept;

  // The same as a function pointer: library.Function<decltype(&PDUConstruct)>("PDUConstruct").
  template <typename FunctionPointer>
  FunctionPointer Function(const char* name) const noexcept {
    return reinterpret_cast<FunctionPointer>(Symbol(name));
  }

  // Lets go of the library; its addresses must not be used any more. Without one it does nothing.
  void Close() noexcept;

 private:
  explicit DynamicLibrary(void* handle) : handle_(handle) {}

  void* handle_ = nullptr;
};

// The absolute path (UTF-8) of the file that holds this code: the shared library it is linked into,
// else the program. Empty if the system does not tell.
std::string OwnModulePath();

}  // namespace passbridge::platform

#endif  // PASSBRIDGE_PLATFORM_DYNAMIC_LIBRARY_H_
