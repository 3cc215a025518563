#include "ui/posix/view_files.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string_view>
#include <system_error>

#include "platform/dynamic_library.h"
#include "platform/process_info.h"
#include "ui/product_config.h"
#include "ui/text_file.h"

namespace passbridge {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kLongestTextFile = std::size_t{1} << 20U;

/// Nothing if it is not set, or may not be heeded.
std::optional<std::string> Variable(const char* name) {
  const char* const value = ::secure_getenv(name);
  return value != nullptr ? std::optional<std::string>(value) : std::nullopt;
}

bool IsSet(const char* name) { return !Variable(name).value_or("").empty(); }

/// Beside the library, as in a build, else where the installation has it.
fs::path Installed(const char* beside, const char* fromLibrary) {
  const fs::path folder = fs::path(platform::OwnModulePath()).parent_path();
  std::error_code none;
  return fs::exists(folder / beside, none) ? folder / beside : folder / fromLibrary;
}

fs::path TextFile(std::string_view suffix) {
  static constexpr const char* kExtension = ".txt";
  const std::optional<std::string> folder = Variable("PASSBRIDGE_TEXTS");
  return (folder ? fs::path(*folder) : Installed("texts", PASSBRIDGE_TEXTS_FROM_LIBRARY)) /
         std::string(suffix.substr(1)).append(kExtension);
}

bool IsFile(const fs::path& path) {
  std::error_code none;
  return fs::is_regular_file(path, none);  // reading a pipe might never end
}

TextTable ReadTextFile(const fs::path& path) {
  if (!IsFile(path)) return {};
  std::ifstream file(path, std::ios::binary);
  std::string bytes(kLongestTextFile, '\0');
  file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  bytes.resize(static_cast<std::size_t>(file.gcount()));
  return ParseTexts(bytes).texts;
}

}  // namespace

std::string FindViewProgram() {
  if (!IsSet("DISPLAY") && !IsSet("WAYLAND_DISPLAY")) return {};
  const std::optional<std::string> named = Variable("PASSBRIDGE_DEVICE_EXPLORER");
  const fs::path program =
      named ? fs::path(*named)
            : Installed("passbridge-device-explorer", PASSBRIDGE_EXPLORER_FROM_LIBRARY);
  return ::access(program.c_str(), X_OK) == 0 ? program.string() : std::string();
}

ViewLanguage ReadViewLanguage() {
  const std::optional<std::string> named = Variable("PASSBRIDGE_LANGUAGE");
  const Language language =
      LanguageOfTag(named && !named->empty() ? *named : platform::UserLocale());
  const std::string suffix =
      LanguageSuffix(language, [](std::string_view each) { return IsFile(TextFile(each)); });
  return {ExplorerTexts(ReadTextFile(TextFile(suffix)), DeviceLabel()), IsRightToLeft(language),
          FontOfSuffix(suffix)};
}

}  // namespace passbridge
