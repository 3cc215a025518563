#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "platform/text.h"

namespace passbridge {
namespace {

constexpr COLORREF kMagenta = RGB(255, 0, 255);
constexpr COLORREF kBlack = RGB(0, 0, 0);
constexpr std::size_t kWidth = 72;
constexpr std::size_t kHeight = 112;
constexpr std::array<WORD, 10> kOverlays{41349, 41350, 41351, 41352, 41353,
                                         41354, 41355, 41356, 101,   102};

struct Pixels {
  std::size_t width = 0;
  std::size_t height = 0;
  std::vector<COLORREF> colours;  // row by row

  COLORREF At(std::size_t x, std::size_t y) const { return colours[y * width + x]; }
};

/// Takes the bitmap, which has 24 bits a pixel; no pixels if it isn't one.
Pixels PixelsOf(HANDLE bitmap) {
  DIBSECTION section{};
  if (::GetObjectW(bitmap, sizeof section, &section) != sizeof section) return {};
  Pixels pixels{static_cast<std::size_t>(section.dsBm.bmWidth),
                static_cast<std::size_t>(section.dsBm.bmHeight),
                {}};
  EXPECT_EQ(section.dsBm.bmBitsPixel, 24);
  const auto* const bytes = static_cast<const std::uint8_t*>(section.dsBm.bmBits);
  const auto rowSize = static_cast<std::size_t>(section.dsBm.bmWidthBytes);
  for (std::size_t y = pixels.height; y-- > 0;) {
    for (std::size_t x = 0; x < pixels.width; ++x) {
      const std::uint8_t* const pixel = bytes + y * rowSize + 3 * x;
      pixels.colours.push_back(RGB(pixel[2], pixel[1], pixel[0]));
    }
  }
  ::DeleteObject(bitmap);
  return pixels;
}

void ExpectSize(const Pixels& pixels) {
  ASSERT_EQ(pixels.width, kWidth);
  ASSERT_EQ(pixels.height, kHeight);
}

std::size_t Count(const Pixels& pixels, COLORREF colour) {
  return static_cast<std::size_t>(std::count(pixels.colours.begin(), pixels.colours.end(), colour));
}

/// Between magenta and another colour, as edges are that were smoothed.
bool IsTinged(COLORREF colour) {
  return colour != kMagenta &&
         std::min(GetRValue(colour), GetBValue(colour)) > GetGValue(colour) + 70;
}

std::wstring PictureLibrary() { return platform::WideFromUtf8(LIBRARIES_FOLDER "/device-res.dll"); }

HMODULE LoadPictures() {
  return ::LoadLibraryExW(PictureLibrary().c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
}

Pixels OverlayPicture(HMODULE library, WORD number) {
  return PixelsOf(
      ::LoadImageW(library, MAKEINTRESOURCEW(number), IMAGE_BITMAP, 0, 0, LR_CREATEDIBSECTION));
}

TEST(Pictures, OverlaysAreTransparentWhereTheyAreMagenta) {
  const HMODULE library = LoadPictures();
  ASSERT_NE(library, nullptr);
  std::set<std::vector<COLORREF>> different;
  for (const WORD number : kOverlays) {
    SCOPED_TRACE(number);
    const Pixels pixels = OverlayPicture(library, number);
    ExpectSize(pixels);
    EXPECT_GT(Count(pixels, kMagenta), kWidth * kHeight / 4);
    EXPECT_LT(Count(pixels, kMagenta), kWidth * kHeight * 19 / 20);
    EXPECT_TRUE(std::none_of(pixels.colours.begin(), pixels.colours.end(), IsTinged));
    different.insert(pixels.colours);
  }
  EXPECT_EQ(different.size(), 10U);
  ::FreeLibrary(library);
  // It can be loaded as a library, too: it needs nothing.
  const HMODULE mapped = ::LoadLibraryW(PictureLibrary().c_str());
  EXPECT_NE(mapped, nullptr) << ::GetLastError();
  if (mapped != nullptr) ::FreeLibrary(mapped);
}

TEST(Pictures, WifiBarsGrowWithTheQuality) {
  const HMODULE library = LoadPictures();
  ASSERT_NE(library, nullptr);
  // From quality 0 to 4; bars that are off are grey.
  constexpr std::array<WORD, 5> kByQuality{41350, 41354, 41356, 41355, 41351};
  constexpr COLORREF kOff = RGB(0xCF, 0xD8, 0xDC);
  std::size_t before = kWidth * kHeight;
  for (const WORD number : kByQuality) {
    const std::size_t off = Count(OverlayPicture(library, number), kOff);
    EXPECT_LT(off, before) << number;
    before = off;
  }
  EXPECT_EQ(before, 0U);
  ::FreeLibrary(library);
}

/// Whether each black pixel is connected with the picture's border through black ones.
bool BlackIsOutside(const Pixels& pixels) {
  std::vector<bool> seen(pixels.colours.size());
  std::vector<std::size_t> open;
  const auto visit = [&](std::size_t x, std::size_t y) {
    if (x >= pixels.width || y >= pixels.height || seen[y * pixels.width + x]) return;
    if (pixels.At(x, y) != kBlack) return;
    seen[y * pixels.width + x] = true;
    open.push_back(y * pixels.width + x);
  };
  for (std::size_t x = 0; x < pixels.width; ++x) visit(x, 0), visit(x, pixels.height - 1);
  for (std::size_t y = 0; y < pixels.height; ++y) visit(0, y), visit(pixels.width - 1, y);
  while (!open.empty()) {
    const std::size_t x = open.back() % pixels.width;
    const std::size_t y = open.back() / pixels.width;
    open.pop_back();
    visit(x - 1, y), visit(x + 1, y), visit(x, y - 1), visit(x, y + 1);
  }
  return static_cast<std::size_t>(std::count(seen.begin(), seen.end(), true)) ==
         Count(pixels, kBlack);
}

TEST(Pictures, OfTheVciIsBlackOnlyOutside) {
  const std::wstring path = platform::WideFromUtf8(LIBRARIES_FOLDER "/Bitmaps/Main.bmp");
  const Pixels pixels = PixelsOf(::LoadImageW(nullptr, path.c_str(), IMAGE_BITMAP, 0, 0,
                                              LR_LOADFROMFILE | LR_CREATEDIBSECTION));
  ExpectSize(pixels);
  EXPECT_GT(Count(pixels, kBlack), kWidth * kHeight / 4);
  EXPECT_LT(Count(pixels, kBlack), kWidth * kHeight * 3 / 4);
  EXPECT_TRUE(BlackIsOutside(pixels)) << "there would be holes in it";
  // Darkened edges, or what 16 bits of colour make black.
  const auto dark = [](COLORREF colour) {
    return colour != kBlack &&
           std::max({GetRValue(colour), GetGValue(colour), GetBValue(colour)}) < 0x30;
  };
  EXPECT_TRUE(std::none_of(pixels.colours.begin(), pixels.colours.end(), dark));
}

}  // namespace
}  // namespace passbridge
