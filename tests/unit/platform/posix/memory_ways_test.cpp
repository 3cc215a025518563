#include "platform/posix/memory_ways.h"

#include <gtest/gtest.h>

#include <string>

#include "support.h"

namespace passbridge::platform {
namespace {

using testing::Pages;
using testing::Protection;

// What the kernel offers decides which way is taken: here each is taken.
TEST(MemoryWays, EachThatTheKernelOffersGivesTheSameAnswer) {
  constexpr std::size_t kMany = 200;  // more than one call of process_vm_readv asks for
  Pages pages(kMany + 4);
  pages.Protect(kMany, Protection::ReadOnly);
  pages.Protect(kMany + 1, Protection::None);
  pages.Free(kMany + 3);
  const auto range = [&](std::size_t first, std::size_t count) {
    const auto begin = reinterpret_cast<std::uintptr_t>(pages.At(first, 10));
    return MemoryRange{begin, begin + count * Pages::Size() - 10};
  };
  struct Case {
    const char* what;
    MemoryRange range;
    bool readable;
    bool writable;
  };
  const Case cases[] = {
      {"writable", range(0, kMany), true, true},
      {"read-only at the end", range(0, kMany + 1), true, false},
      {"inaccessible at the end", range(0, kMany + 2), false, false},
      {"writable after inaccessible", range(kMany + 2, 1), true, true},
      {"freed at the end", range(kMany + 2, 2), false, false},
      {"freed", range(kMany + 3, 1), false, false},
  };
  for (const Case& c : cases) {
    const auto populating = AskByPopulating(c.range, MemoryUse::Read);
    EXPECT_EQ(populating.value_or(c.readable), c.readable) << c.what;
    const auto populatingForWriting = AskByPopulating(c.range, MemoryUse::Write);
    EXPECT_EQ(populatingForWriting.value_or(c.writable), c.writable) << c.what;
    EXPECT_EQ(AskByTouching(c.range, MemoryUse::Read).value_or(c.readable), c.readable) << c.what;
    EXPECT_EQ(AskByTouching(c.range, MemoryUse::Write).value_or(c.writable), c.writable) << c.what;
    EXPECT_EQ(AskByVmRead(c.range).value_or(c.readable), c.readable) << c.what;
    EXPECT_EQ(AskByPipe(c.range), c.readable) << c.what;
    EXPECT_EQ(AskByMaps(c.range, MemoryUse::Read), c.readable) << c.what;
    EXPECT_EQ(AskByMaps(c.range, MemoryUse::Write), c.writable) << c.what;
  }
}

TEST(MemoryWays, TouchingKnowsEveryByteAndAltersNone) {
  constexpr std::size_t kWritable = 3;
  Pages pages(kWritable + 2);
  const std::size_t page = Pages::Size();
  std::string content(kWritable * page, '\0');
  for (std::size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>(i * 7 + i / page);
  content.copy(pages.At(0), content.size());
  pages.Protect(kWritable, Protection::ReadOnly);
  pages.Free(kWritable + 1);
  const std::size_t readableEnd = (kWritable + 1) * page;
  for (std::size_t from = 0; from < readableEnd + page;
       from += from % page < 12 || from % page >= page - 12 ? 1 : page - 24) {
    for (const std::size_t size : {std::size_t{1}, std::size_t{3}, std::size_t{4}, std::size_t{7},
                                   std::size_t{8}, std::size_t{9}, std::size_t{16}, page - 3, page,
                                   page + 5, 2 * page, 2 * page + 4, 3 * page - 1}) {
      const auto begin = reinterpret_cast<std::uintptr_t>(pages.At(0, from));
      const MemoryRange range{begin, begin + size};
      EXPECT_EQ(AskByTouching(range, MemoryUse::Read), from + size <= readableEnd)
          << from << "+" << size;
      EXPECT_EQ(AskByTouching(range, MemoryUse::Write), from + size <= kWritable * page)
          << from << "+" << size;
    }
  }
  EXPECT_EQ(std::string(pages.At(0), content.size()), content);
  EXPECT_EQ(
      AskByTouching({reinterpret_cast<std::uintptr_t>(pages.At(0)), UINTPTR_MAX}, MemoryUse::Read),
      std::nullopt)
      << "too much for it";
}

}  // namespace
}  // namespace passbridge::platform
