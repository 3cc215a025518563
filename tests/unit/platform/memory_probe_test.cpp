#include "platform/memory_probe.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "support.h"

namespace passbridge::platform {
namespace {

using testing::Pages;
using testing::Protection;

TEST(MemoryProbe, KnowsWhatEachPartOfAMappingAllows) {
  // 0 writable, 1 read-only, 2 inaccessible, 3 writable, 4 freed, 5 writable, touched by nobody
  Pages pages(6);
  pages.At(0)[0] = pages.At(3)[0] = 'x';
  pages.Protect(1, Protection::ReadOnly);
  pages.Protect(2, Protection::None);
  pages.Free(4);
  const std::size_t page = Pages::Size();

  struct Case {
    const char* what;
    void* address;
    std::size_t size;
    bool readable;
    bool writable;
  };
  const Case cases[] = {
      {"first byte", pages.At(0), 1, true, true},
      {"whole page", pages.At(0), page, true, true},
      {"last word", pages.At(0, page - 4), 4, true, true},
      {"read-only", pages.At(1), page, true, false},
      {"last writable and first read-only byte", pages.At(0, page - 1), 2, true, false},
      {"inaccessible", pages.At(2, 100), 4, false, false},
      {"runs into an inaccessible page", pages.At(1, page - 2), 4, false, false},
      {"ends before a freed page", pages.At(3, 8), page - 8, true, true},
      {"runs into a freed page", pages.At(3, page - 2), 4, false, false},
      {"freed", pages.At(4), 4, false, false},
      {"from freed into writable", pages.At(4, page - 1), 2, false, false},
      {"hole in the middle", pages.At(3), 3 * page, false, false},
      {"not touched yet", pages.At(5), page, true, true},
      {"nothing at an address", pages.At(0), 0, true, true},
      {"null", nullptr, 4, false, false},
      {"nothing at null", nullptr, 0, false, false},
      {"null page", reinterpret_cast<void*>(8), 4, false, false},
      {"wraps around", pages.At(0), SIZE_MAX, false, false},
      {"top of the address space", reinterpret_cast<void*>(UINTPTR_MAX - 8), 4, false, false},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(IsReadable(c.address, c.size), c.readable) << c.what;
    EXPECT_EQ(IsWritable(c.address, c.size), c.writable) << c.what;
  }
  EXPECT_EQ(pages.At(0)[0], 'x');
  EXPECT_EQ(pages.At(5)[0], '\0');
}

TEST(MemoryProbe, CoversHeapStackConstantsAndCode) {
  static const char kConstant[] = "constant";
  std::vector<char> heap(3 * Pages::Size(), 'h');
  char stack[64] = "stack";
  EXPECT_TRUE(IsWritable(heap.data(), heap.size()));
  EXPECT_TRUE(IsWritable(stack, sizeof stack));
  EXPECT_TRUE(IsReadable(kConstant, sizeof kConstant));
  EXPECT_FALSE(IsWritable(const_cast<char*>(kConstant), sizeof kConstant));
  EXPECT_TRUE(IsReadable(reinterpret_cast<const void*>(&IsReadable), 1));
  EXPECT_EQ(heap, std::vector<char>(heap.size(), 'h'));
  EXPECT_STREQ(stack, "stack");
}

// What one call found it need not ask again, as long as it lasts.
TEST(MemoryProbe, KeepsAnswersForAsLongAsACallLasts) {
  Pages pages(3);
  pages.Protect(1, Protection::ReadOnly);
  const std::size_t page = Pages::Size();
  {
    const MemoryAnswers call;
    EXPECT_FALSE(IsWritable(pages.At(0), page + 1));
    EXPECT_TRUE(IsWritable(pages.At(0), page));
    EXPECT_TRUE(IsReadable(pages.At(1), page));
    pages.Protect(0, Protection::None);
    pages.Protect(1, Protection::None);
    EXPECT_TRUE(IsWritable(pages.At(0, 8), page - 8));
    EXPECT_TRUE(IsReadable(pages.At(0), page)) << "what can be written can be read";
    EXPECT_TRUE(IsReadable(pages.At(1), 1));
    EXPECT_FALSE(IsWritable(pages.At(1), 1)) << "was never asked";
    EXPECT_FALSE(IsReadable(pages.At(0, 8), page)) << "goes beyond what was asked";
    {
      const MemoryAnswers inner;
      EXPECT_FALSE(IsWritable(pages.At(0), 1));
    }
    for (std::size_t i = 0; i < 8; ++i) EXPECT_TRUE(IsWritable(pages.At(2, 16 * i), 16));
    EXPECT_FALSE(IsWritable(pages.At(0), 1)) << "forgotten after so many others";
  }
  EXPECT_FALSE(IsReadable(pages.At(0), 1));
}

// The rest of the stack's mapping is asked about: it may not be there.
TEST(MemoryProbe, TrustsTheOwnStackFromTheCallerOn) {
  void* const here = __builtin_frame_address(0);  // sanitizers keep variables elsewhere
  const MemoryRange stack = OwnStack();
  const auto address = reinterpret_cast<std::uintptr_t>(here);
  EXPECT_TRUE(stack.Contains({address, address + sizeof(void*)}));
  EXPECT_FALSE(stack.Contains({stack.begin - Pages::Size(), stack.end}));
  EXPECT_FALSE(stack.Contains({stack.begin, stack.end + 1}));
  EXPECT_TRUE(SystemAllows(stack, MemoryUse::Write));
  EXPECT_FALSE(IsWritable(here, SIZE_MAX / 2));
}

}  // namespace
}  // namespace passbridge::platform
