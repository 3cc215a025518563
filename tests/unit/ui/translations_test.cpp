#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

#include "text_files.h"
#include "ui/explorer_texts.h"
#include "ui/language.h"

namespace passbridge {
namespace {

using ::testing::ElementsAre;

const std::string& TextOf(const TextTable& texts, TextId id) {
  return texts.at(static_cast<std::uint32_t>(id));
}

/// Numbers of the table, but for the text that is not translated.
std::set<std::uint32_t> TranslatedNumbers(const TextTable& texts) {
  std::set<std::uint32_t> numbers;
  for (const auto& [number, text] : texts) numbers.insert(number);
  numbers.erase(static_cast<std::uint32_t>(TextId::SerialNumber));
  return numbers;
}

/// The bytes of the letter after "&" in lower case; empty unless there is exactly one "&".
std::string Accelerator(const std::string& text) {
  const std::size_t mark = text.find('&');
  if (mark == std::string::npos || text.find('&', mark + 1) != std::string::npos) return {};
  std::string letter = text.substr(mark + 1, 1);
  for (std::size_t i = mark + 2; i < text.size() && (text[i] & 0xC0) == 0x80; ++i)
    letter += text[i];
  if (letter[0] >= 'A' && letter[0] <= 'Z') letter[0] = static_cast<char>(letter[0] + 32);
  return letter;
}

TEST(Translations, EnglishHasEveryText) {
  EXPECT_THAT(TranslatedNumbers(OwnTexts()),
              ElementsAre(155, 156, 157, 158, 159, 160, 161, 162, 163, 164, 165, 166, 167, 168, 169,
                          170, 171, 175, 177, 178, 179, 180, 189, 190));
  EXPECT_EQ(TextOf(OwnTexts(), TextId::SerialNumber), "SN");
}

TEST(Translations, EveryLanguageHasEveryText) {
  for (const std::string_view language : test::kLanguages) {
    SCOPED_TRACE(language);
    const ParsedTexts parsed = test::ReadTexts(language);
    EXPECT_THAT(parsed.faults, ElementsAre());
    ASSERT_EQ(TranslatedNumbers(parsed.texts), TranslatedNumbers(OwnTexts()));
    EXPECT_EQ(parsed.texts.count(172), language == "en" ? 1U : 0U);
    for (const auto& [number, text] : parsed.texts) {
      EXPECT_NE(text, "") << number;
      const bool hasPlace = text.find("YYYY") != std::string::npos;
      EXPECT_EQ(hasPlace, number == static_cast<std::uint32_t>(TextId::UpdateVci)) << number;
    }
    for (const TextId same :
         {TextId::Usb, TextId::Ethernet, TextId::Bluetooth, TextId::LineBreak}) {
      EXPECT_EQ(TextOf(parsed.texts, same), TextOf(OwnTexts(), same));
    }
  }
}

TEST(Translations, AcceleratorsAreThereAndDiffer) {
  for (const std::string_view language : test::kLanguages) {
    SCOPED_TRACE(language);
    const TextTable texts = test::ReadTexts(language).texts;
    const std::string connect = Accelerator(TextOf(texts, TextId::Connect));
    const std::string help = Accelerator(TextOf(texts, TextId::Help));
    EXPECT_NE(connect, "");
    EXPECT_NE(help, "");
    EXPECT_NE(connect, help);
    for (const auto& [number, text] : texts) {
      const bool isButton = number == static_cast<std::uint32_t>(TextId::Connect) ||
                            number == static_cast<std::uint32_t>(TextId::Help);
      EXPECT_TRUE(isButton || text.find('&') == std::string::npos) << number;
    }
  }
}

TEST(Translations, EverySuffixHasItsFile) {
  std::set<std::string> suffixes;
  for (std::uint16_t primary = 0; primary < 0x80; ++primary) {
    for (std::uint16_t sub = 0; sub < 8; ++sub) {
      suffixes.insert(LanguageSuffix({primary, sub}, [](auto) { return true; }));
    }
  }
  std::set<std::string> files;
  for (const std::string_view language : test::kLanguages) {
    files.insert(std::string("-").append(language));
  }
  EXPECT_EQ(suffixes, files);
}

}  // namespace
}  // namespace passbridge
