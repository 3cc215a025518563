#include "ui/windows/explorer_images.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "j2534/settings.h"
#include "platform/registry.h"
#include "platform/text.h"
#include "platform/windows/own_module.h"
#include "ui/windows/window_dpi.h"

namespace passbridge {

namespace {

constexpr COLORREF kBlack = RGB(0, 0, 0);
constexpr COLORREF kMagenta = RGB(255, 0, 255);
constexpr COLORREF kWhite = RGB(255, 255, 255);

struct OverlayPicture {
  int overlay;
  WORD resource;
};

/// In the order in which they are loaded.
constexpr OverlayPicture kOverlays[] = {{2, 41352}, {1, 41349}, {3, 41353}, {4, 41351}, {5, 41355},
                                        {6, 41356}, {7, 41354}, {8, 41350}, {9, 101},   {10, 102}};

std::wstring OwnFolder() {
  const std::wstring path = platform::OwnModuleWidePath();
  const std::size_t end = path.find_last_of(L"\\/");
  return end != std::wstring::npos ? path.substr(0, end) : std::wstring(L".");
}

/// A file below a folder that the settings name.
std::wstring InstalledFile(const char* folderSetting, std::wstring_view file) {
  const std::optional<platform::RegistryKey> key = platform::RegistryKey::Open(
      platform::RegistryRoot::Machine, settings::kProductPath, platform::RegistryAccess::Read);
  const std::optional<std::string> folder =
      key ? key->ReadText(folderSetting) : std::optional<std::string>();
  std::wstring path = folder ? platform::WideFromUtf8(*folder) : OwnFolder();
  path += L'\\';
  path += file;
  return path;
}

Owned<HBITMAP> LoadBitmapFile(const std::wstring& path) {
  constexpr UINT kFlags = LR_LOADFROMFILE | LR_CREATEDIBSECTION;
  return Owned<HBITMAP>(
      static_cast<HBITMAP>(::LoadImageW(nullptr, path.c_str(), IMAGE_BITMAP, 0, 0, kFlags)));
}

Owned<HBITMAP> LoadBitmapResource(HMODULE library, WORD number) {
  return Owned<HBITMAP>(static_cast<HBITMAP>(
      ::LoadImageW(library, MAKEINTRESOURCEW(number), IMAGE_BITMAP, 0, 0, LR_CREATEDIBSECTION)));
}

BITMAPINFO TrueColour(int width, int height) {
  BITMAPINFO info{};
  info.bmiHeader.biSize = sizeof info.bmiHeader;
  info.bmiHeader.biWidth = width;
  info.bmiHeader.biHeight = -height;  // the first row first
  info.bmiHeader.biPlanes = 1;
  info.bmiHeader.biBitCount = 32;
  info.bmiHeader.biCompression = BI_RGB;
  return info;
}

struct Pixels {
  std::size_t width = 0;
  std::size_t height = 0;
  std::vector<std::uint32_t> colours;  ///< row by row; empty if they could not be had
};

Pixels PixelsOf(HBITMAP bitmap) {
  BITMAP size{};
  if (::GetObjectW(bitmap, sizeof size, &size) == 0 || size.bmWidth <= 0 || size.bmHeight <= 0) {
    return {};
  }
  Pixels pixels{
      static_cast<std::size_t>(size.bmWidth), static_cast<std::size_t>(size.bmHeight), {}};
  pixels.colours.resize(pixels.width * pixels.height);
  BITMAPINFO info = TrueColour(size.bmWidth, size.bmHeight);
  const HDC dc = ::GetDC(nullptr);
  const int rows = ::GetDIBits(dc, bitmap, 0, static_cast<UINT>(size.bmHeight),
                               pixels.colours.data(), &info, DIB_RGB_COLORS);
  ::ReleaseDC(nullptr, dc);
  return rows == size.bmHeight ? pixels : Pixels{};
}

/// The picture in another size. Each pixel is one of the picture's, for mixtures would neither be
/// sharp nor the colour that is transparent.
Owned<HBITMAP> Resized(HBITMAP bitmap, SIZE size, bool mirrored) {
  const Pixels from = PixelsOf(bitmap);
  const BITMAPINFO info = TrueColour(size.cx, size.cy);
  void* bits = nullptr;
  Owned<HBITMAP> result(::CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, &bits, nullptr, 0));
  if (!result || from.colours.empty()) return {};
  const auto width = static_cast<std::size_t>(size.cx);
  const auto height = static_cast<std::size_t>(size.cy);
  auto* to = static_cast<std::uint32_t*>(bits);
  for (std::size_t y = 0; y < height; ++y) {
    const std::size_t row = y * from.height / height * from.width;
    for (std::size_t x = 0; x < width; ++x) {
      const std::size_t column = (mirrored ? width - 1 - x : x) * from.width / width;
      *to++ = from.colours[row + column];
    }
  }
  return result;
}

class ImageMaker {
 public:
  ImageMaker(int dpi, bool mirrored)
      : size_{Scaled(kImageSize.cx, dpi), Scaled(kImageSize.cy, dpi)}, mirrored_(mirrored) {}

  Owned<HIMAGELIST> Make() {
    images_.reset(::ImageList_Create(size_.cx, size_.cy, ILC_COLOR16 | ILC_MASK,
                                     1 + static_cast<int>(std::size(kOverlays)), 1));
    if (!images_) return {};
    ::ImageList_SetBkColor(images_.get(), kWhite);
    const std::wstring main =
        InstalledFile(settings::installation::kProductFolder, L"Bitmaps\\Main.bmp");
    if (Add(LoadBitmapFile(main), kBlack) >= 0) AddOverlays();
    return std::move(images_);
  }

 private:
  /// Up to the first that isn't there.
  void AddOverlays() {
    const std::wstring path =
        InstalledFile(settings::installation::kLibraryFolder, L"device-res.dll");
    const Owned<HMODULE> library(::LoadLibraryExW(path.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE));
    if (!library) return;
    for (const OverlayPicture& each : kOverlays) {
      const int image = Add(LoadBitmapResource(library.get(), each.resource), kMagenta);
      if (image < 0 || !::ImageList_SetOverlayImage(images_.get(), image, each.overlay)) return;
    }
  }

  /// The index of the image; negative without one.
  int Add(const Owned<HBITMAP>& picture, COLORREF transparent) {
    if (!picture) return -1;
    const Owned<HBITMAP> resized = Resized(picture.get(), size_, mirrored_);
    return resized ? ::ImageList_AddMasked(images_.get(), resized.get(), transparent) : -1;
  }

  const SIZE size_;
  const bool mirrored_;
  Owned<HIMAGELIST> images_;
};

}  // namespace

Owned<HIMAGELIST> MakeExplorerImages(int dpi, bool mirrored) {
  return ImageMaker(dpi, mirrored).Make();
}

int ImageOfOverlay(int overlay) {
  const auto* const found =
      std::find_if(std::begin(kOverlays), std::end(kOverlays),
                   [overlay](const OverlayPicture& each) { return each.overlay == overlay; });
  return found != std::end(kOverlays) ? 1 + static_cast<int>(found - kOverlays) : -1;
}

}  // namespace passbridge
