#include "ui/windows/explorer_language.h"

#include <string>
#include <string_view>

#include "platform/text.h"
#include "platform/windows/own_module.h"
#include "ui/explorer_texts.h"
#include "ui/windows/handles.h"

namespace passbridge {

namespace {

constexpr std::string_view kEnglish = "-en";

/// Nothing unless the variable names a language.
std::optional<Language> LanguageOfEnvironment() {
  wchar_t tag[64];
  const DWORD length = ::GetEnvironmentVariableW(L"PASSBRIDGE_LANGUAGE", tag, std::size(tag));
  if (length == 0 || length >= std::size(tag)) return std::nullopt;
  return LanguageOfTag(platform::Utf8FromWide({tag, length}));
}

Language LanguageOfUser() {
  if (const std::optional<Language> language = LanguageOfEnvironment()) return *language;
  const LANGID id = ::GetUserDefaultLangID();
  return {static_cast<std::uint16_t>(PRIMARYLANGID(id)), static_cast<std::uint16_t>(SUBLANGID(id))};
}

/// Beside this library, its name followed by the suffix.
std::wstring LanguageLibraryPath(std::string_view suffix) {
  std::wstring path = platform::OwnModuleWidePath();
  path.resize(path.size() - std::min(path.size(), std::wstring_view(L".dll").size()));
  path += platform::WideFromUtf8(suffix);
  path += L".dll";
  return path;
}

bool IsFile(const std::wstring& path) {
  const DWORD attributes = ::GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

Owned<HMODULE> LoadLanguage(std::string_view suffix) {
  return Owned<HMODULE>(
      ::LoadLibraryExW(LanguageLibraryPath(suffix).c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE));
}

TextTable ReadTexts(HMODULE library) {
  TextTable texts;
  for (const auto& [number, english] : OwnTexts()) {
    wchar_t text[512];
    const int length = ::LoadStringW(library, number, text, static_cast<int>(std::size(text)));
    if (length > 0) {
      texts[number] = platform::Utf8FromWide({text, static_cast<std::size_t>(length)});
    }
  }
  return texts;
}

}  // namespace

ExplorerLanguage ReadExplorerLanguage() {
  const Language user = LanguageOfUser();
  ExplorerLanguage language;
  language.isRightToLeft = IsRightToLeft(user);
  std::string suffix =
      LanguageSuffix(user, [](std::string_view each) { return IsFile(LanguageLibraryPath(each)); });
  Owned<HMODULE> library = LoadLanguage(suffix);
  if (!library) {  // it is damaged, or for another processor
    suffix = kEnglish;
    library = LoadLanguage(suffix);
  }
  language.font = FontOfSuffix(suffix);
  if (library) language.texts = ReadTexts(library.get());
  return language;
}

}  // namespace passbridge
