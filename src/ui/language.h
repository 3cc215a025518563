#ifndef PASSBRIDGE_UI_LANGUAGE_H_
#define PASSBRIDGE_UI_LANGUAGE_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace passbridge {

/// A language as Windows numbers it, in the primary and the sub-language of a LANGID.
struct Language {
  std::uint16_t primary = 0;  ///< 0: none that has a number here
  std::uint16_t sub = 0;
};

/// The language of a tag such as "de", "zh-TW" or "pt-BR"; case doesn't matter. Of the
/// sub-languages only those are told apart that have texts of their own.
Language LanguageOfTag(std::string_view tag);

/// The suffix of the library or file that has a language's texts ("-de").
/// @param exists  whether there is one with a suffix
/// @return "-en" for a language that has none
std::string LanguageSuffix(Language language,
                           const std::function<bool(std::string_view suffix)>& exists);

/// Whether windows in the language are laid out from right to left.
bool IsRightToLeft(Language language);

/// A font that has the letters of a language; charset as in LOGFONT.
struct LanguageFont {
  const char* face;
  std::uint8_t charset;

  static constexpr int kHeight = 16;
  static constexpr int kWeight = 400;
  static constexpr std::uint8_t kPitchAndFamily = 49;
};

/// Nothing where the dialog keeps the font of its template.
std::optional<LanguageFont> FontOfSuffix(std::string_view suffix);

}  // namespace passbridge

#endif  // PASSBRIDGE_UI_LANGUAGE_H_
