#ifndef PASSBRIDGE_TESTS_UNIT_UI_TEXT_FILES_H_
#define PASSBRIDGE_TESTS_UNIT_UI_TEXT_FILES_H_

#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include "ui/text_file.h"

namespace passbridge::test {

inline constexpr std::string_view kLanguages[] = {
    "ar", "bg",    "cs", "da", "de", "el", "en", "es", "es-mx", "fi",
    "fr", "fr-ca", "hr", "hu", "id", "it", "ja", "ko", "nl",    "no",
    "pl", "pt-br", "ro", "ru", "sl", "sv", "th", "tr", "zh",    "zh-tw"};

/// The texts of a language as the repository has them.
inline ParsedTexts ReadTexts(std::string_view language) {
  std::ifstream file(std::string(TEXTS_FOLDER "/").append(language).append(".txt"),
                     std::ios::binary);
  return ParseTexts(std::string(std::istreambuf_iterator<char>(file), {}));
}

}  // namespace passbridge::test

#endif  // PASSBRIDGE_TESTS_UNIT_UI_TEXT_FILES_H_
