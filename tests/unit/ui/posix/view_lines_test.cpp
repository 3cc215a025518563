#include "ui/posix/view_lines.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace passbridge::view {
namespace {

using ::testing::ElementsAre;
using ::testing::Optional;

TEST(ViewLines, CarryAnyText) {
  const Fields fields{"item", "", "a\nb\tc\\d\\n\r", "\xD0\x96", "end\\", ""};
  const std::string line = MakeLine({fields.begin(), fields.end()});
  EXPECT_EQ(line.find('\n'), line.size() - 1) << "one line";
  LineReader reader;
  std::vector<Fields> taken;
  for (const char c : line + "\n" + line) {  // in the smallest pieces
    ASSERT_TRUE(reader.Add({&c, 1}));
    while (const auto each = reader.Take()) taken.push_back(*each);
  }
  EXPECT_THAT(taken, ElementsAre(fields, Fields{""}, fields));
  EXPECT_THAT(SplitLine("a\\x\\"), ElementsAre("a\\x\\")) << "no escapes: they are kept";
}

TEST(ViewLines, ALineWithoutEndIsNotCollectedForEver) {
  LineReader reader;
  ASSERT_TRUE(reader.Add("one\ntwo\n" + std::string(LineReader::kLongestLine, 'x')));
  EXPECT_THAT(reader.Take(), Optional(ElementsAre("one")));
  EXPECT_FALSE(reader.Add("x"));
  LineReader other;
  const std::string lines(2 * LineReader::kLongestLine, '\n');
  EXPECT_TRUE(other.Add(lines)) << "that is many lines";
}

}  // namespace
}  // namespace passbridge::view
