#ifndef PASSBRIDGE_TESTS_UNIT_PLATFORM_SUPPORT_H_
#define PASSBRIDGE_TESTS_UNIT_PLATFORM_SUPPORT_H_

#include <cstddef>
#include <string>

#include "platform/process_info.h"

namespace passbridge::platform::testing {

// A place for settings that belongs to this test: a temporary folder that the environment names, or
// a key of this process. It goes with the object.
class SettingsSandbox {
 public:
  SettingsSandbox();
  ~SettingsSandbox();

  // A user key that is not there yet.
  const std::string& Key() const { return key_; }
  // Where the files are, on Linux: the parent of the folders "config", "machine" and "runtime".
  const std::string& Folder() const { return folder_; }

 private:
  std::string key_;
  std::string folder_;
};

enum class Protection { None, ReadOnly, ReadWrite };

// Pages of memory in a row, readable and writable at first.
class Pages {
 public:
  explicit Pages(std::size_t count);
  Pages(const Pages&) = delete;
  Pages& operator=(const Pages&) = delete;
  ~Pages();

  static std::size_t Size();
  std::size_t Count() const { return count_; }
  char* At(std::size_t page, std::size_t offset = 0) const {
    return begin_ + page * Size() + offset;
  }
  void Protect(std::size_t page, Protection protection);
  // Gives the page back to the system; its addresses mean nothing any more.
  void Free(std::size_t page);

 private:
  char* begin_;
  std::size_t count_;
};

// A process that does nothing until its end.
class ChildProcess {
 public:
  ChildProcess();
  ~ChildProcess() { End(); }

  ProcessId Id() const { return id_; }
  // Ends it; the system may keep its record (Linux: until the object goes).
  void Kill();

 private:
  void End();

  ProcessId id_ = 0;
  [[maybe_unused]] void* handle_ = nullptr;  // Windows'
};

}  // namespace passbridge::platform::testing

#endif  // PASSBRIDGE_TESTS_UNIT_PLATFORM_SUPPORT_H_
