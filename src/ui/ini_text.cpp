#include "ui/ini_text.h"

#include <iniparser.h>

#include <memory>

#include "platform/text_stream.h"

namespace passbridge {

namespace {

struct FreeDictionary {
  void operator()(dictionary* ini) const { ::iniparser_freedict(ini); }
};
using Dictionary = std::unique_ptr<dictionary, FreeDictionary>;

/// In place of standard error, which is the application's.
int SayNothing(const char* /*format*/, ...) { return 0; }  // NOLINT(*-dcl50-cpp): iniparser's type

Dictionary Parse(std::string_view ini) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (ini.substr(0, kByteOrderMark.size()) == kByteOrderMark) {
    ini.remove_prefix(kByteOrderMark.size());
  }
  const platform::TextStream stream(ini);
  if (stream.Get() == nullptr) return nullptr;
  ::iniparser_set_error_callback(&SayNothing);
  return Dictionary(::iniparser_load_file(stream.Get(), "product configuration"));
}

}  // namespace

std::optional<std::string> IniValue(std::string_view ini, const std::string& key) {
  const Dictionary parsed = Parse(ini);
  const char* const value =
      parsed != nullptr ? ::iniparser_getstring(parsed.get(), key.c_str(), nullptr) : nullptr;
  return value != nullptr ? std::optional<std::string>(value) : std::nullopt;
}

}  // namespace passbridge
