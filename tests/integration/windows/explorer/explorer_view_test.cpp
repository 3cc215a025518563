#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "explorer_fixture.h"
#include "platform/registry.h"
#include "platform/text.h"

namespace passbridge::test {
namespace {

using ::testing::ElementsAre;

/// How the dialog looks.
struct ExplorerView : ExplorerFixture {
  ~ExplorerView() override { std::filesystem::remove_all(folder); }

  static void SetFolder(const char* value, const std::filesystem::path& path) {
    auto key = platform::RegistryKey::Create(platform::RegistryRoot::Machine,
                                             "SOFTWARE\\QUARN\\QUARN_VCI");
    EXPECT_TRUE(key && key->WriteText(value, platform::Utf8FromWide(path.wstring())));
  }
  static LOGFONTW FontOf(HWND window) {
    LOGFONTW font{};
    const auto handle = reinterpret_cast<HFONT>(::SendMessageW(window, WM_GETFONT, 0, 0));
    ::GetObjectW(handle, sizeof font, &font);
    return font;
  }
  static SIZE ImageSize(ExplorerDriver& dialog) {
    int width = 0;
    int height = 0;
    ::ImageList_GetIconSize(Images(dialog), &width, &height);
    return {width, height};
  }
  static HIMAGELIST Images(ExplorerDriver& dialog) {
    return reinterpret_cast<HIMAGELIST>(dialog.AskList(LVM_GETIMAGELIST, LVSIL_NORMAL));
  }

  /// Bitmap resources of one library become another one's.
  static void CopyBitmaps(const std::filesystem::path& from, const std::filesystem::path& to,
                          const std::vector<WORD>& numbers) {
    const auto bitmapType = MAKEINTRESOURCEW(2);  // RT_BITMAP, wide
    const HMODULE library = ::LoadLibraryExW(from.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
    const HANDLE update = ::BeginUpdateResourceW(to.c_str(), FALSE);
    for (const WORD number : numbers) {
      const HRSRC bitmap = ::FindResourceW(library, MAKEINTRESOURCEW(number), bitmapType);
      EXPECT_TRUE(::UpdateResourceW(update, bitmapType, MAKEINTRESOURCEW(number), 0,
                                    ::LockResource(::LoadResource(library, bitmap)),
                                    ::SizeofResource(library, bitmap)));
    }
    EXPECT_TRUE(::EndUpdateResourceW(update, FALSE));
    ::FreeLibrary(library);
  }

  /// A folder of this test's own.
  const std::filesystem::path folder =
      std::filesystem::temp_directory_path() / std::to_string(::GetCurrentProcessId());
};

TEST_F(ExplorerView, SpeaksTheUsersLanguage) {
  struct Row {
    const wchar_t* tag;
    const char* title;
    const char* label;
    const wchar_t* face;  // of the buttons
    int charset;
    bool mirrored;
  };
  for (const Row& row :
       {Row{L"de", "Geräte-Explorer", "SN 5020\nPC-Software aktualisieren", L"MS Shell Dlg", 1,
            false},
        Row{L"ja-JP", "デバイス エクスプローラー", "SN 5020\nPC ソフトウェアの更新が必要",
            L"Monotype Sans WT J", 128, false},
        Row{L"ar", "مستكشف الأجهزة", "SN 5020\nتحديث برنامج الكمبيوتر", L"Monotype Sans WT", 178,
            true},
        Row{L"he", "Device Explorer", "SN 5020\nUpdate PC S/W", L"MS Shell Dlg", 1, true},
        Row{L"xx", "Device Explorer", "SN 5020\nUpdate PC S/W", L"MS Shell Dlg", 1, false}}) {
    ::SetEnvironmentVariableW(L"PASSBRIDGE_LANGUAGE", row.tag);
    ExplorerDriver dialog(library, kAskUser);
    ASSERT_NE(dialog.Window(), nullptr);
    SCOPED_TRACE(platform::Utf8FromWide(row.tag));
    EXPECT_EQ(dialog.TextOf(dialog.Window()), row.title);
    EXPECT_EQ(dialog.Labels().at(7), row.label);
    for (const HWND window : {dialog.Window(), dialog.Control(ExplorerDriver::kConnect),
                              dialog.Control(IDCANCEL), dialog.Control(ExplorerDriver::kList)}) {
      const auto style = static_cast<DWORD>(::GetWindowLongPtrW(window, GWL_EXSTYLE));
      constexpr DWORD kMirrored = WS_EX_LAYOUTRTL | WS_EX_RTLREADING;
      EXPECT_EQ(style & kMirrored, row.mirrored ? kMirrored : 0);
    }
    for (const int id : {ExplorerDriver::kConnect, IDCANCEL}) {
      const LOGFONTW font = FontOf(dialog.Control(id));
      EXPECT_STREQ(font.lfFaceName, row.face);
      EXPECT_EQ(font.lfCharSet, row.charset);
    }
  }
}

TEST_F(ExplorerView, PicturesAndDistancesFitTheMonitor) {
  if (!HasScreen()) GTEST_SKIP();
  ExplorerDriver dialog(library, kAskUser);
  ASSERT_NE(dialog.Window(), nullptr);
  dialog.Select("SN 5003");
  // No monitor has so many, nor so few.
  struct Row {
    WORD dpi;
    int width;
  };
  for (const Row& row : {Row{192, 144}, Row{65535, 720}, Row{0, 36}, Row{96, 72}}) {
    SCOPED_TRACE(row.dpi);
    RECT place{10, 10, 600, 500};
    ::SendMessageW(dialog.Window(), WM_DPICHANGED, MAKEWPARAM(row.dpi, row.dpi),
                   reinterpret_cast<LPARAM>(&place));
    EXPECT_TRUE(Becomes([&] { return ImageSize(dialog).cx == row.width; }));
    EXPECT_EQ(ImageSize(dialog).cy, row.width * 112 / 72);
    const LRESULT spacing = dialog.AskList(LVM_GETITEMSPACING, FALSE);
    EXPECT_EQ(LOWORD(spacing), row.width * 100 / 72);
    EXPECT_GE(HIWORD(spacing), row.width * 160 / 72);
    EXPECT_EQ(::ImageList_GetImageCount(Images(dialog)), 11);
    EXPECT_EQ(dialog.Selected(), "SN 5003");
  }
}

TEST_F(ExplorerView, DoesWithoutPicturesFromTheFirstThatIsMissing) {
  if (!HasScreen()) GTEST_SKIP();
  std::filesystem::create_directories(folder / "Bitmaps");
  SetFolder("ProductSpecificLocation", folder);
  {
    ExplorerDriver dialog(library, kAskUser);
    EXPECT_EQ(::ImageList_GetImageCount(Images(dialog)), 0)
        << "no Main.bmp in a folder that is set";
    EXPECT_EQ(dialog.Count(), 10);
  }
  const std::filesystem::path own =
      std::filesystem::path(platform::WideFromUtf8(LibraryPath())).parent_path();
  std::filesystem::copy_file(own / "Bitmaps" / "Main.bmp", folder / "Bitmaps" / "Main.bmp");
  SetFolder("DLLLocation", folder);
  {
    ExplorerDriver dialog(library, kAskUser);
    EXPECT_EQ(::ImageList_GetImageCount(Images(dialog)), 1);
  }
  std::filesystem::copy_file(own / "passbridge-en.dll", folder / "device-res.dll");
  CopyBitmaps(own / "device-res.dll", folder / "device-res.dll", {41352, 41349, 41351});
  ExplorerDriver dialog(library, kAskUser);
  EXPECT_EQ(::ImageList_GetImageCount(Images(dialog)), 3) << "the main one, 2 and 1, but no 3";
}

/// What the list paints; colours as in RGB().
class Painted {
 public:
  explicit Painted(ExplorerDriver& dialog) : dc_(::CreateCompatibleDC(nullptr)) {
    BITMAPINFO info{};
    info.bmiHeader = {sizeof info.bmiHeader, kWidth, -kHeight, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
    void* bits = nullptr;
    bitmap_ = ::CreateDIBSection(dc_, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
    before_ = ::SelectObject(dc_, bitmap_);
    dialog.AskList(WM_PRINTCLIENT, reinterpret_cast<WPARAM>(dc_), PRF_CLIENT | PRF_ERASEBKGND);
  }
  ~Painted() {
    ::SelectObject(dc_, before_);
    ::DeleteObject(bitmap_);
    ::DeleteDC(dc_);
  }

  /// How often each colour is seen in a rectangle.
  std::map<COLORREF, int> Colours(const RECT& rect) const {
    std::map<COLORREF, int> colours;
    for (LONG y = rect.top; y < rect.bottom; ++y) {
      for (LONG x = rect.left; x < rect.right; ++x) ++colours[::GetPixel(dc_, x, y)];
    }
    return colours;
  }

 private:
  static constexpr LONG kWidth = 700;
  static constexpr LONG kHeight = 600;

  HDC dc_;
  HBITMAP bitmap_ = nullptr;
  HGDIOBJ before_ = nullptr;
};

TEST_F(ExplorerView, LabelsShowAllTheirLines) {
  if (!HasScreen()) GTEST_SKIP();
  WriteUser("DefaultDevice", "SerialNumber", 5021);
  WriteUser("PreferredDevices\\PreferredDevice00", "SerialNumber", 5021);
  ExplorerDriver dialog(library, kAskUser);
  RECT label{LVIR_LABEL, 0, 0, 0};
  dialog.AskList(LVM_GETITEMRECT, static_cast<WPARAM>(dialog.Find("SN 5021")),
                 reinterpret_cast<LPARAM>(&label));
  const int line = -FontOf(dialog.Control(ExplorerDriver::kList)).lfHeight;
  const RECT fourth{label.left, label.top + 3 * line + 2, label.right, label.top + 5 * line};
  EXPECT_GT(Painted(dialog).Colours(fourth)[::GetSysColor(COLOR_WINDOWTEXT)], 20);
  const COLORREF highlight = ::GetSysColor(COLOR_HIGHLIGHT);
  EXPECT_EQ(Painted(dialog).Colours(label)[highlight], 0);
  dialog.Select("SN 5021");
  EXPECT_GT(Painted(dialog).Colours(label)[highlight], 20);
  EXPECT_GT(Painted(dialog).Colours(fourth)[highlight], 20);
}

TEST_F(ExplorerView, OverlaysShowOverThePicture) {
  if (!HasScreen()) GTEST_SKIP();
  ExplorerDriver dialog(library, kAskUser);
  const auto picture = [&dialog](const char* which) {
    RECT icon{LVIR_ICON, 0, 0, 0};
    dialog.AskList(LVM_GETITEMRECT, static_cast<WPARAM>(dialog.Find(which)),
                   reinterpret_cast<LPARAM>(&icon));
    return Painted(dialog).Colours(icon);
  };
  const std::map<COLORREF, int> plain = picture("SN 5001");
  EXPECT_GT(plain.size(), 3U) << "a picture";
  EXPECT_EQ(plain.count(RGB(255, 0, 255)), 0U);
  EXPECT_EQ(picture("SN 5002"), plain);
  EXPECT_NE(picture("SN 5010"), plain) << "Wi-Fi quality 0";
  EXPECT_NE(picture("SN 5011"), picture("SN 5010")) << "Wi-Fi quality 1";
  EXPECT_NE(picture("SN 5022"), plain) << "not available";
}

/// The menu that a dialog shows; its texts, with what is enabled (+) and what is checked (*).
std::vector<std::string> MenuItems(HMENU menu) {
  std::vector<std::string> items;
  for (int i = 0; i < ::GetMenuItemCount(menu); ++i) {
    std::array<wchar_t, 100> text{};
    const auto position = static_cast<UINT>(i);
    ::GetMenuStringW(menu, position, text.data(), static_cast<int>(text.size()), MF_BYPOSITION);
    const UINT state = ::GetMenuState(menu, position, MF_BYPOSITION);
    std::string item = (state & MF_SEPARATOR) != 0 ? "-" : platform::Utf8FromWide(text.data());
    if ((state & (MF_GRAYED | MF_SEPARATOR)) == 0) item += '+';
    if ((state & MF_CHECKED) != 0) item += '*';
    items.push_back(std::move(item));
  }
  return items;
}

TEST_F(ExplorerView, ContextMenuOffersWhatTheVciHas) {
  constexpr UINT kGetMenu = 0x01E1;  // MN_GETHMENU
  constexpr LPARAM kByKeyboard = -1;
  WriteUser("DefaultDevice", "SerialNumber", 5003);
  ::SetEnvironmentVariableW(L"PASSBRIDGE_LANGUAGE", L"de");
  ExplorerDriver dialog(library, kAskUser);
  const auto menuOf = [&dialog](const char* which) {
    dialog.Select(which);
    ::PostMessageW(dialog.Window(), WM_CONTEXTMENU,
                   reinterpret_cast<WPARAM>(dialog.Control(ExplorerDriver::kList)), kByKeyboard);
    HWND popup = nullptr;
    EXPECT_TRUE(Becomes([&] { return (popup = dialog.FindWindowOf(L"#32768")) != nullptr; }));
    return MenuItems(reinterpret_cast<HMENU>(::SendMessageW(popup, kGetMenu, 0, 0)));
  };
  EXPECT_THAT(menuOf("SN 5003"), ElementsAre("Als Standardgerät festlegen+*", "-", "USB",
                                             "Drahtlos+*", "Ethernet", "Bluetooth+", "Lokal"));
  ::PostMessageW(dialog.Window(), WM_CANCELMODE, 0, 0);
  EXPECT_TRUE(Becomes([&] { return dialog.FindWindowOf(L"#32768") == nullptr; }));
  EXPECT_THAT(menuOf("SN 5001"), ElementsAre("Als Standardgerät festlegen+", "-", "USB+*",
                                             "Drahtlos", "Ethernet+", "Bluetooth", "Lokal"));
  vci.SetPresent(5022, 0);
  EXPECT_TRUE(Becomes([&] { return dialog.Count() == 9; })) << "while the menu is open";
  for (const WPARAM key : {VK_DOWN, VK_DOWN, VK_DOWN, VK_DOWN, VK_RETURN}) {  // to Ethernet
    ::PostMessageW(dialog.Window(), WM_KEYDOWN, key, 0);
  }
  ExpectOpened(dialog, 5001, 2);
}

TEST_F(ExplorerView, OtherVcisHaveNoContextMenu) {
  ExplorerDriver dialog(library, kAskUser);
  for (const char* which : {"SN 5020", "SN 5022", ""}) {
    if (which[0] != '\0') dialog.Select(which);
    if (which[0] == '\0') dialog.Unselect();
    ::SendMessageW(dialog.Window(), WM_CONTEXTMENU, 0, -1);  // returns when the menu has gone
    EXPECT_EQ(dialog.FindWindowOf(L"#32768"), nullptr);
  }
}

}  // namespace
}  // namespace passbridge::test
