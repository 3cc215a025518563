#include "platform/text.h"

#include <gtest/gtest.h>

namespace passbridge::platform {
namespace {

TEST(Text, GoesToWideAndBack) {
  const struct {
    const char* utf8;
    const wchar_t* wide;
  } cases[] = {
      {"", L""},
      {"C:\\VCI\\pdu.dll", L"C:\\VCI\\pdu.dll"},
      {"\xC3\xA9\xDF\xBF", L"\u00E9\u07FF"},
      {"\xE0\xA0\x80\xE2\x82\xAC\xEF\xBF\xBF", L"\u0800\u20AC\uFFFF"},
      {"\xF0\x90\x80\x80\xF0\x9F\x98\x80", L"\U00010000\U0001F600"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(WideFromUtf8(c.utf8), c.wide) << c.utf8;
    EXPECT_EQ(Utf8FromWide(c.wide), c.utf8) << c.utf8;
  }
}

TEST(Text, ReplacesWhatIsMalformed) {
  // A stray continuation byte, a cut sequence, an overlong one, a surrogate, one beyond Unicode.
  for (const char* const bad :
       {"\x80", "\xE2\x82", "\xC0\xAF", "\xED\xA0\x80", "\xF5\x80\x80\x80"}) {
    const std::wstring wide = WideFromUtf8(std::string("a") + bad + "z");
    ASSERT_GE(wide.size(), 3U);
    EXPECT_EQ(wide.front(), L'a');
    EXPECT_EQ(wide.back(), L'z');
    EXPECT_EQ(wide.find_first_not_of(L'\xFFFD', 1), wide.size() - 1);
  }
  EXPECT_EQ(Utf8FromWide(std::wstring(1, static_cast<wchar_t>(0xD800))), "\xEF\xBF\xBD");
}

TEST(Text, AnsiKeepsWhatTheCodePageHolds) {
  EXPECT_EQ(AnsiFromWide(L"C:\\VCI\\pdu.dll"), "C:\\VCI\\pdu.dll");
  EXPECT_EQ(WideFromAnsi("C:\\VCI\\pdu.dll"), L"C:\\VCI\\pdu.dll");
  EXPECT_EQ(Utf8FromAnsi(AnsiFromUtf8("caf\xC3\xA9")), "caf\xC3\xA9");
}

}  // namespace
}  // namespace passbridge::platform
