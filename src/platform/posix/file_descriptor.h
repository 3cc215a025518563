#ifndef PASSBRIDGE_PLATFORM_POSIX_FILE_DESCRIPTOR_H_
#define PASSBRIDGE_PLATFORM_POSIX_FILE_DESCRIPTOR_H_

#include <fcntl.h>
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

// The same file with a number that is none of the three standard ones, which an application may
// have closed: what anybody writes to standard error does not belong into it. Not inherited.
inline int AboveStandard(int file) {
  if (file < 0 || file > STDERR_FILENO) return file;
  const int above = ::fcntl(file, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  ::close(file);
  return above;
}

}  // namespace passbridge::platform

#endif  // PASSBRIDGE_PLATFORM_POSIX_FILE_DESCRIPTOR_H_
