#include "platform/posix/memory_ways.h"

#include <fcntl.h>
#include <linux/futex.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>

#include "platform/posix/file_descriptor.h"

#ifndef MADV_POPULATE_READ
#define MADV_POPULATE_READ 22
#define MADV_POPULATE_WRITE 23
#endif

namespace passbridge::platform {
namespace {

std::uintptr_t PageSize() {
  static const auto size = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
  return size;
}

std::uintptr_t PageStart(std::uintptr_t address) { return address & ~(PageSize() - 1); }

// The next address of the range in another page than `address`, or its end.
std::uintptr_t NextPage(std::uintptr_t address, MemoryRange range) {
  const std::uintptr_t next = PageStart(address) + PageSize();
  return next != 0 && next < range.end ? next : range.end;
}

// Reads hexadecimal digits and the character after them off the front of a line.
std::uintptr_t TakeHex(const char*& text) {
  std::uintptr_t value = 0;
  for (; *text != '\0'; ++text) {
    const char c = *text;
    if (c >= '0' && c <= '9') {
      value = value << 4 | static_cast<std::uintptr_t>(c - '0');
    } else if (c >= 'a' && c <= 'f') {
      value = value << 4 | static_cast<std::uintptr_t>(c - 'a' + 10);
    } else {
      ++text;
      break;
    }
  }
  return value;
}

// Walks the lines of /proc/self/maps, which come in the order of their addresses.
class MapsWalk {
 public:
  MapsWalk(MemoryRange range, MemoryUse use) : range_(range), use_(use) {}

  // Takes a line, "begin-end rwxp ..."; true once the answer is known.
  bool Take(const char* line) {
    const std::uintptr_t begin = TakeHex(line);
    const std::uintptr_t end = TakeHex(line);
    if (end <= range_.begin) return false;
    const std::size_t permission = use_ == MemoryUse::Read ? 0 : 1;
    if (begin > range_.begin || line[permission] == '-') return true;
    range_.begin = end;
    allowed_ = end >= range_.end;
    return allowed_;
  }

  bool Allowed() const { return allowed_; }

 private:
  MemoryRange range_;  // what is still to be found
  MemoryUse use_;
  bool allowed_ = false;
};

// A signal set and a file offset, which the calls below take and the kernel accepts at any address.
constexpr std::size_t kWordSize = 8;
static_assert(sizeof(long) == kWordSize, "sendfile's offset has other sizes elsewhere");

// Whether the word at an address is there, of a call that fails with `expected` if it is.
std::optional<bool> AnswerOf(long result, int expected) {
  if (result >= 0 || errno == expected) return true;
  return errno == EFAULT ? std::optional(false) : std::nullopt;
}

std::optional<bool> TouchWord(std::uintptr_t address, MemoryUse use) {
  if (use == MemoryUse::Read) {
    // The set of signals is read before the unknown operation is refused.
    constexpr int kNoOperation = 0x7FFFFFFF;
    return AnswerOf(::syscall(SYS_rt_sigprocmask, kNoOperation, address, nullptr, kWordSize),
                    EINVAL);
  }
  // The offset is read, and written back although the files are none.
  return AnswerOf(::syscall(SYS_sendfile, -1, -1, address, 0), EBADF);
}

// The aligned word of so many bytes in which an address lies.
std::uintptr_t WordOf(std::uintptr_t address, std::size_t size) {
  return address & ~(std::uintptr_t{size} - 1);
}

// Fewer bytes than a word, in one page: their neighbours are there, but somebody else's.
std::optional<bool> TouchLessThanAWord(std::uintptr_t address, MemoryUse use) {
  if (use == MemoryUse::Read) return TouchWord(WordOf(address, kWordSize), use);
  static std::uint32_t awaitedByNobody;
  // Nothing is or-ed into the word in one step: what others write to it meanwhile stays.
  return AnswerOf(::syscall(SYS_futex, &awaitedByNobody, FUTEX_WAKE_OP | FUTEX_PRIVATE_FLAG, 0,
                            nullptr, WordOf(address, sizeof awaitedByNobody),
                            FUTEX_OP(FUTEX_OP_OR, 0, FUTEX_OP_CMP_LT, 0)),
                  0);
}

// Touches the pages from `address` on with one call, and moves it on to the next page, or to the
// end: a word across the boundary of two pages asks about both.
std::optional<bool> TouchPages(std::uintptr_t& address, MemoryRange range, MemoryUse use) {
  const std::uintptr_t from = address;
  const std::uintptr_t boundary = NextPage(from, range);
  if (range.end - range.begin < kWordSize) {
    address = boundary;
    return TouchLessThanAWord(from, use);
  }
  address = boundary < range.end ? NextPage(boundary, range) : range.end;
  return TouchWord(std::clamp(boundary - kWordSize / 2, range.begin, range.end - kWordSize), use);
}

}  // namespace

std::optional<bool> AskByTouching(MemoryRange range, MemoryUse use) noexcept {
  constexpr std::uintptr_t kMostPages = 256;
  if (range.end - range.begin > kMostPages * PageSize()) return std::nullopt;
  for (std::uintptr_t address = range.begin; address < range.end;) {
    const auto answer = TouchPages(address, range, use);
    if (!answer.value_or(false)) return answer;
  }
  return true;
}

std::optional<bool> AskByPopulating(MemoryRange range, MemoryUse use) noexcept {
  const std::uintptr_t start = PageStart(range.begin);
  const int advice = use == MemoryUse::Read ? MADV_POPULATE_READ : MADV_POPULATE_WRITE;
  int result;
  do {
    result = ::madvise(reinterpret_cast<void*>(start), range.end - start, advice);
  } while (result != 0 && (errno == EINTR || errno == EAGAIN));
  if (result == 0) return true;
  // Anything else: an old kernel, or memory without the permission or of a device.
  // Its use is asked in another way.
  if (errno == EFAULT || errno == ENOMEM || errno == EHWPOISON) return false;
  return std::nullopt;
}

std::optional<bool> AskByVmRead(MemoryRange range) noexcept {
  constexpr std::size_t kPagesPerCall = 64;
  std::array<iovec, kPagesPerCall> probes;
  std::array<char, kPagesPerCall> bytes;
  for (std::uintptr_t address = range.begin; address < range.end;) {
    std::size_t count = 0;
    for (; count < kPagesPerCall && address < range.end; address = NextPage(address, range)) {
      probes[count++] = {reinterpret_cast<void*>(address), 1};
    }
    const iovec local{bytes.data(), count};
    const ssize_t got = ::process_vm_readv(::getpid(), &local, 1, probes.data(), count, 0);
    if (got < 0 && errno != EFAULT) return std::nullopt;
    if (got != static_cast<ssize_t>(count)) return false;
  }
  return true;
}

std::optional<bool> AskByPipe(MemoryRange range) noexcept {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) return std::nullopt;
  const FileDescriptor readEnd(ends[0]);
  const FileDescriptor writeEnd(ends[1]);
  for (std::uintptr_t a = range.begin; a < range.end; a = NextPage(a, range)) {
    if (::write(writeEnd.Number(), reinterpret_cast<const void*>(a), 1) != 1) {
      return errno == EFAULT ? std::optional(false) : std::nullopt;
    }
    char byte;
    if (::read(readEnd.Number(), &byte, 1) != 1) return std::nullopt;
  }
  return true;
}

std::optional<bool> AskByMaps(MemoryRange range, MemoryUse use) noexcept {
  const FileDescriptor maps(::open("/proc/self/maps", O_RDONLY | O_CLOEXEC));
  if (!maps) return std::nullopt;
  MapsWalk walk(range, use);
  std::array<char, 8192> text;  // longer than any line: a path has at most 4096 characters
  std::size_t filled = 0;
  for (;;) {
    const ssize_t got = ::read(maps.Number(), text.data() + filled, text.size() - 1 - filled);
    if (got <= 0) return walk.Allowed();
    filled += static_cast<std::size_t>(got);
    char* line = text.data();
    while (char* const end = static_cast<char*>(
               std::memchr(line, '\n', filled - static_cast<std::size_t>(line - text.data())))) {
      *end = '\0';
      if (walk.Take(line)) return walk.Allowed();
      line = end + 1;
    }
    filled -= static_cast<std::size_t>(line - text.data());
    std::memmove(text.data(), line, filled);
  }
}

}  // namespace passbridge::platform
