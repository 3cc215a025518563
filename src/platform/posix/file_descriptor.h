#ifndef PASSBRIDGE_PLATFORM_POSIX_FILE_DESCRIPTOR_H_
#define PASSBRIDGE_PLATFORM_POSIX_FILE_DESCRIPTOR_H_

#include <unistd.h>

#include <utility>

namespace passbridge::platform {

// Owns a file descriptor, or the negative number of a failed call.
class FileDescriptor {
 public:
  explicit FileDescriptor(int number) : number_(number) {}
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor() {
    if (number_ >= 0) ::close(number_);
  }

  explicit operator bool() const { return number_ >= 0; }
  int Number() const { return number_; }
  // Lets go of it, for another owner.
  int Release() { return std::exchange(number_, -1); }

 private:
  int number_;
};

}  // namespace passbridge::platform

#endif  // PASSBRIDGE_PLATFORM_POSIX_FILE_DESCRIPTOR_H_
