#include "ui/language.h"

#include <algorithm>
#include <array>

namespace passbridge {

namespace {

struct LanguageRow {
  std::uint16_t primary;
  std::string_view tag;
  std::string_view suffix;
};

/// Several tags may stand for one language.
constexpr LanguageRow kLanguages[] = {
    {0x01, "ar", "-ar"},    {0x02, "bg", "-bg"}, {0x04, "zh", "-zh"},    {0x05, "cs", "-cs"},
    {0x06, "da", "-da"},    {0x07, "de", "-de"}, {0x08, "el", "-el"},    {0x09, "en", "-en"},
    {0x0A, "es", "-es-mx"}, {0x0B, "fi", "-fi"}, {0x0C, "fr", "-fr"},    {0x0D, "he", ""},
    {0x0D, "iw", ""},       {0x0E, "hu", "-hu"}, {0x10, "it", "-it"},    {0x11, "ja", "-ja"},
    {0x12, "ko", "-ko"},    {0x13, "nl", "-nl"}, {0x14, "no", "-no"},    {0x14, "nb", "-no"},
    {0x14, "nn", "-no"},    {0x15, "pl", "-pl"}, {0x16, "pt", "-pt-br"}, {0x18, "ro", "-ro"},
    {0x19, "ru", "-ru"},    {0x1A, "hr", "-hr"}, {0x1A, "sr", "-hr"},    {0x1A, "bs", "-hr"},
    {0x1D, "sv", "-sv"},    {0x1E, "th", "-th"}, {0x1F, "tr", "-tr"},    {0x21, "id", "-id"},
    {0x21, "in", "-id"},    {0x24, "sl", "-sl"}};

/// A sub-language that has texts of its own, if they are installed.
struct VariantRow {
  std::uint16_t primary;
  std::uint16_t sub;
  std::string_view suffix;
};

constexpr VariantRow kVariants[] = {{0x04, 1, "-zh-tw"}, {0x0A, 1, "-es"}, {0x0C, 3, "-fr-ca"}};

struct VariantTag {
  std::string_view tag;
  Language language;
};

constexpr VariantTag kVariantTags[] = {
    {"zh-tw", {0x04, 1}}, {"zh-hant", {0x04, 1}}, {"es-es", {0x0A, 1}}, {"fr-ca", {0x0C, 3}}};

struct FontRow {
  std::string_view suffix;
  LanguageFont font;
};

constexpr FontRow kFonts[] = {
    {"-hu", {"Monotype Sans WT", 129}},    {"-tr", {"Monotype Sans WT", 162}},
    {"-th", {"Monotype Sans WT", 222}},    {"-ru", {"Monotype Sans WT", 204}},
    {"-el", {"Monotype Sans WT", 161}},    {"-ar", {"Monotype Sans WT", 178}},
    {"-ko", {"Monotype Sans WT K", 129}},  {"-zh-tw", {"Monotype Sans WT TC", 136}},
    {"-zh", {"Monotype Sans WT SC", 134}}, {"-ja", {"Monotype Sans WT J", 128}}};

constexpr std::uint16_t kArabic = 0x01;
constexpr std::uint16_t kHebrew = 0x0D;
constexpr std::string_view kFallbackSuffix = "-en";

std::string LowerCase(std::string_view text) {
  std::string result(text);
  for (char& c : result) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return result;
}

/// Whether a tag is the given one or begins with it and a "-".
bool BeginsWith(std::string_view tag, std::string_view with) {
  return tag.substr(0, with.size()) == with &&
         (tag.size() == with.size() || tag[with.size()] == '-');
}

std::string_view PreferredSuffix(Language language,
                                 const std::function<bool(std::string_view)>& exists) {
  for (const VariantRow& row : kVariants) {
    const bool fits = row.primary == language.primary && row.sub == language.sub;
    if (fits && exists(row.suffix)) return row.suffix;
  }
  for (const LanguageRow& row : kLanguages) {
    if (row.primary == language.primary) return row.suffix;
  }
  return {};
}

}  // namespace

Language LanguageOfTag(std::string_view tag) {
  const std::string lower = LowerCase(tag);
  for (const VariantTag& row : kVariantTags) {
    if (BeginsWith(lower, row.tag)) return row.language;
  }
  for (const LanguageRow& row : kLanguages) {
    if (BeginsWith(lower, row.tag)) return {row.primary, 0};
  }
  return {};
}

std::string LanguageSuffix(Language language, const std::function<bool(std::string_view)>& exists) {
  const std::string_view suffix = PreferredSuffix(language, exists);
  return std::string(!suffix.empty() && exists(suffix) ? suffix : kFallbackSuffix);
}

bool IsRightToLeft(Language language) {
  return language.primary == kArabic || language.primary == kHebrew;
}

std::optional<LanguageFont> FontOfSuffix(std::string_view suffix) {
  const auto* const row =
      std::find_if(std::begin(kFonts), std::end(kFonts),
                   [suffix](const FontRow& each) { return each.suffix == suffix; });
  if (row == std::end(kFonts)) return std::nullopt;
  return row->font;
}

}  // namespace passbridge
