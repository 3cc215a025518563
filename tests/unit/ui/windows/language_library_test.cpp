#include <gtest/gtest.h>
#include <windows.h>

#include <array>
#include <string>

#include "platform/text.h"
#include "text_files.h"

namespace passbridge {
namespace {

TEST(LanguageLibrary, HasTheTextsOfItsFile) {
  for (const std::string_view language : test::kLanguages) {
    SCOPED_TRACE(language);
    const std::string path = std::string(LIBRARIES_FOLDER "/passbridge-").append(language) + ".dll";
    const HMODULE library =
        ::LoadLibraryExW(platform::WideFromUtf8(path).c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
    ASSERT_NE(library, nullptr) << path;
    for (const auto& [number, text] : test::ReadTexts(language).texts) {
      std::array<wchar_t, 256> buffer{};
      const int length = ::LoadStringW(library, number, buffer.data(), buffer.size());
      EXPECT_EQ(platform::Utf8FromWide({buffer.data(), static_cast<std::size_t>(length)}), text)
          << number;
    }
    ::FreeLibrary(library);
    // It can be loaded as a library, too: it needs nothing.
    const HMODULE mapped = ::LoadLibraryW(platform::WideFromUtf8(path).c_str());
    EXPECT_NE(mapped, nullptr) << ::GetLastError();
    if (mapped != nullptr) ::FreeLibrary(mapped);
  }
}

}  // namespace
}  // namespace passbridge
