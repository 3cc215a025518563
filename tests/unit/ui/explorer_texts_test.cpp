#include "ui/explorer_texts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace passbridge {
namespace {

using ::testing::ElementsAre;
using ::testing::Pair;
using ::testing::UnorderedElementsAre;

TEST(TextFile, IsParsed) {
  const ParsedTexts parsed = ParseTexts(
      "\xEF\xBB\xBF# comment = none\r\n"
      "1=plain\r\n"
      "\r\n"
      " 2 =  a = b \\\\ c\t\r\n"
      "3 = ,\\s\n"
      "4 = \\n\n"
      "5 =\n"
      "6 = \xC3\xA4");
  EXPECT_THAT(parsed.texts,
              UnorderedElementsAre(Pair(1, "plain"), Pair(2, "a = b \\ c"), Pair(3, ", "),
                                   Pair(4, "\n"), Pair(5, ""), Pair(6, "\xC3\xA4")));
  EXPECT_THAT(parsed.faults, ElementsAre());
}

TEST(TextFile, FaultsCostOneLineEach) {
  const ParsedTexts parsed = ParseTexts(
      "1 = one\n"
      "text\n"
      "= text\n"
      "-3 = text\n"
      "99999999999 = text\n"
      "4 = \\x\n"
      "5 = \\\n"
      "6 = \xC3(\n"
      "1 = again\n"
      "7 = seven");
  EXPECT_THAT(parsed.texts, UnorderedElementsAre(Pair(1, "one"), Pair(7, "seven")));
  EXPECT_THAT(parsed.faults,
              ElementsAre("line 2: no '=' after a number", "line 3: no number before '='",
                          "line 4: no number before '='", "line 5: no number before '='",
                          "line 6: after a backslash comes s, n or a backslash",
                          "line 7: after a backslash comes s, n or a backslash",
                          "line 8: not UTF-8", "line 9: the number is there twice"));
}

TEST(ExplorerTexts, AreEnglishUnlessThereIsATranslation) {
  const ExplorerTexts texts({{156, "Abbrechen"}, {172, "Nr."}, {999, "?"}}, "YYYY 2");
  EXPECT_EQ(texts[TextId::Cancel], "Abbrechen");
  EXPECT_EQ(texts[TextId::Connect], "&Connect");
  EXPECT_EQ(texts[TextId::SerialNumber], "SN");
  EXPECT_EQ(texts[TextId::Interfaces], "Interface(s): ");
  EXPECT_EQ(texts[TextId::LineBreak], "\n");
  EXPECT_EQ(texts[TextId::UpdateVci], "Update YYYY 2 S/W");
  EXPECT_EQ(texts[TextId{999}], "");
  EXPECT_EQ(ExplorerTexts()[TextId::UpdateVci], "Update VCI S/W");
}

}  // namespace
}  // namespace passbridge
