// What the tool needs of the operating system.
#ifndef PASSBRIDGE_TOOLS_PLATFORM_PLATFORM_H_
#define PASSBRIDGE_TOOLS_PLATFORM_PLATFORM_H_

#include <filesystem>
#include <string>

namespace passbridge::tool {

// A shared library, loaded as long as the object lives.
class SharedLibrary {
 public:
  using Function = void (*)();

  // A bare file name goes through the loader's search path. Throws std::runtime_error with the
  // loader's text.
  explicit SharedLibrary(std::string name);
  ~SharedLibrary();
  SharedLibrary(SharedLibrary&& other) noexcept;
  SharedLibrary& operator=(SharedLibrary&&) = delete;

  const std::string& Name() const { return name_; }
  // Null if the library doesn't export it.
  Function Symbol(const char* name) const;

 private:
  std::string name_;
  void* handle_ = nullptr;
};

// File name of the Passbridge library.
std::filesystem::path LibraryFileName();

std::filesystem::path VirtualVciFileName();

// Settings of this process alone: the virtual VCI is the D-PDU library, and the only VCI on USB is
// the one that is opened. The strategy that asks the user is there, but disabled. For J2534
// libraries loaded during the object's life; what these write ends with it. Throws
// std::runtime_error with a text for the user. Linux: a folder of settings that belongs to the
// tool, which the environment then names. Windows: a volatile key, which stands for the predefined
// ones.
class VirtualVciSettings {
 public:
  explicit VirtualVciSettings(const std::filesystem::path& vci);
  ~VirtualVciSettings();
  VirtualVciSettings(const VirtualVciSettings&) = delete;
  VirtualVciSettings& operator=(const VirtualVciSettings&) = delete;

 private:
  void* handle_ = nullptr;  // Linux: the loaded VCI; Windows: the key
};

// Folder of the running program; empty if the system doesn't tell.
std::filesystem::path ExecutableFolder();

// Has the console understand escape sequences that move the cursor.
void EnableTerminalSequences();

// Turns the user's wish to end the program (Ctrl-C, SIGTERM) into a question, from the first
// object on and until the program ends.
class StopSignal {
 public:
  StopSignal();
  bool Requested() const;
};

}  // namespace passbridge::tool

#endif  // PASSBRIDGE_TOOLS_PLATFORM_PLATFORM_H_
