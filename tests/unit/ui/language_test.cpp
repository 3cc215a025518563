#include "ui/language.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace passbridge {
namespace {

std::string SuffixWith(Language language, const std::set<std::string, std::less<>>& files) {
  return LanguageSuffix(language, [&](std::string_view suffix) { return files.contains(suffix); });
}

TEST(Language, ASuffixNeedsItsFile) {
  const std::set<std::string, std::less<>> all{"-de",    "-en",    "-es", "-es-mx", "-fr",
                                               "-fr-ca", "-pt-br", "-zh", "-zh-tw"};
  const struct {
    Language language;
    std::set<std::string, std::less<>> files;
    const char* suffix;
  } cases[] = {
      {{0x07, 1}, all, "-de"},     {{0x07, 2}, all, "-de"},
      {{0x07, 1}, {"-fr"}, "-en"}, {{0x04, 1}, all, "-zh-tw"},
      {{0x04, 1}, {"-zh"}, "-zh"}, {{0x04, 2}, all, "-zh"},
      {{0x0A, 1}, all, "-es"},     {{0x0A, 1}, {"-es-mx"}, "-es-mx"},
      {{0x0A, 3}, all, "-es-mx"},  {{0x0A, 3}, {"-es"}, "-en"},
      {{0x0C, 3}, all, "-fr-ca"},  {{0x0C, 3}, {"-fr"}, "-fr"},
      {{0x0C, 1}, all, "-fr"},     {{0x16, 2}, all, "-pt-br"},
      {{0x0D, 1}, all, "-en"},  // Hebrew has no texts
      {{0x00, 0}, all, "-en"},     {{0x7F, 1}, all, "-en"},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(SuffixWith(each.language, each.files), each.suffix) << each.language.primary;
  }
}

TEST(Language, TagsMeanLanguages) {
  const struct {
    const char* tag;
    const char* suffix;
    bool rightToLeft;
  } cases[] = {{"de", "-de", false},       {"DE-at", "-de", false},
               {"zh-TW", "-zh-tw", false}, {"zh-Hant-HK", "-zh-tw", false},
               {"zh-CN", "-zh", false},    {"zh-twx", "-zh", false},
               {"es-ES", "-es", false},    {"es-AR", "-es-mx", false},
               {"fr-CA", "-fr-ca", false}, {"fr-CH", "-fr", false},
               {"nb-NO", "-no", false},    {"ar-EG", "-ar", true},
               {"he-IL", "-en", true},     {"", "-en", false},
               {"den", "-en", false}};
  for (const auto& each : cases) {
    const Language language = LanguageOfTag(each.tag);
    EXPECT_EQ(LanguageSuffix(language, [](auto) { return true; }), each.suffix) << each.tag;
    EXPECT_EQ(IsRightToLeft(language), each.rightToLeft) << each.tag;
  }
}

TEST(Language, SomeHaveAFontOfTheirOwn) {
  const auto text = [](const char* suffix) {
    const auto font = FontOfSuffix(suffix);
    return font ? font->face + std::string(" ") + std::to_string(font->charset) : "none";
  };
  EXPECT_EQ(text("-zh-tw"), "Monotype Sans WT TC 136");
  EXPECT_EQ(text("-zh"), "Monotype Sans WT SC 134");
  EXPECT_EQ(text("-ko"), "Monotype Sans WT K 129");
  EXPECT_EQ(text("-th"), "Monotype Sans WT 222");
  EXPECT_EQ(text("-en"), "none");
}

}  // namespace
}  // namespace passbridge
