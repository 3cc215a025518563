#include "platform/dynamic_library.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "platform/text.h"

namespace passbridge::platform {
namespace {

using TellText = void (*)(char* out, std::size_t size);

std::filesystem::path FromUtf8(const std::string& text) {
  return std::u8string(text.begin(), text.end());
}
std::string ToUtf8(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return {text.begin(), text.end()};
}

std::string PluginFile() { return ToUtf8(FromUtf8(OwnModulePath()).parent_path() / PLUGIN_FILE); }

std::string Told(const DynamicLibrary& library, const char* function) {
  char text[1024] = "not called";
  if (const auto tell = library.Function<TellText>(function)) tell(text, sizeof text);
  return text;
}

TEST(DynamicLibrary, FindsSymbolsUntilItIsClosed) {
  DynamicLibrary library = DynamicLibrary::Open(PluginFile());
  ASSERT_TRUE(library);
  EXPECT_NE(library.Symbol("PluginPath"), nullptr);
  EXPECT_EQ(library.Symbol("NoSuchFunction"), nullptr);
  EXPECT_EQ(library.Symbol(nullptr), nullptr);

  DynamicLibrary moved = std::move(library);
  EXPECT_TRUE(moved);
  EXPECT_NE(moved.Symbol("PluginPath"), nullptr);
  moved.Close();
  EXPECT_FALSE(moved);
  EXPECT_EQ(moved.Symbol("PluginPath"), nullptr);
  moved.Close();
}

TEST(DynamicLibrary, TellsWhyItCannotLoad) {
  const std::string notALibrary = ToUtf8(FromUtf8(OwnModulePath()).parent_path());
  const std::string paths[] = {PluginFile() + ".missing", notALibrary, "",
                               PluginFile() + std::string("\0x", 2)};
  for (const std::string& path : paths) {
    std::string error;
    EXPECT_FALSE(DynamicLibrary::Open(path, &error)) << path;
    EXPECT_FALSE(error.empty()) << path;
    EXPECT_EQ(error.find('\n'), std::string::npos) << error;
    EXPECT_FALSE(DynamicLibrary::OpenAnsi(path)) << path;
  }
}

TEST(DynamicLibrary, LoadsFromAFolderWithAnAccentedName) {
  const std::filesystem::path folder =
      std::filesystem::temp_directory_path() / FromUtf8("passbridge-test-\xC3\xA9");
  std::filesystem::create_directories(folder);
  const std::filesystem::path file = folder / PLUGIN_FILE;
  std::filesystem::copy_file(FromUtf8(PluginFile()), file,
                             std::filesystem::copy_options::overwrite_existing);
  EXPECT_TRUE(DynamicLibrary::Open(ToUtf8(file)));
  EXPECT_TRUE(DynamicLibrary::OpenAnsi(AnsiFromUtf8(ToUtf8(file))));
  std::filesystem::remove_all(folder);
}

TEST(OwnModule, IsTheLibraryThatTheCodeIsLinkedInto) {
  const DynamicLibrary library = DynamicLibrary::Open(PluginFile());
  ASSERT_TRUE(library);
  EXPECT_TRUE(
      std::filesystem::equivalent(FromUtf8(Told(library, "PluginPath")), FromUtf8(PluginFile())));
  EXPECT_THAT(OwnModulePath(), ::testing::HasSubstr("platform_test"));
  EXPECT_TRUE(FromUtf8(OwnModulePath()).is_absolute());
  EXPECT_EQ(Told(library, "PluginVersion"), PRODUCT_VERSION);
}

}  // namespace
}  // namespace passbridge::platform
