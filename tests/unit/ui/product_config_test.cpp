#include "ui/product_config.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "own_settings.h"
#include "platform/process_info.h"
#include "platform/registry.h"
#include "ui/ini_text.h"
#include "ui/sealed_text.h"

namespace passbridge {
namespace {

namespace fs = std::filesystem;
using platform::RegistryKey;
using platform::RegistryRoot;

std::string Sealed(const std::string& text) { return SealText(text).value(); }

TEST(SealedText, OpensAsItWas) {
  const std::string longest(kMaxSealedText, 'x');
  for (const std::string& text : {std::string(), std::string("1234567"), std::string("12345678"),
                                  std::string("a\0b", 3), longest}) {
    const std::string sealed = Sealed(text);
    EXPECT_EQ(OpenSealedText(sealed), text);
    EXPECT_LE(sealed.size(), kMaxSealedFile);
  }
  EXPECT_EQ(SealText(longest + "x"), std::nullopt);
  EXPECT_NE(Sealed("same"), Sealed("same")) << "each has a vector of its own";
  EXPECT_EQ(Sealed("device_label").find("label"), std::string::npos);
}

TEST(SealedText, AnyDamageIsNoticed) {
  const std::string sealed = Sealed("[MGR]\ndevice_label = Reader\n");
  for (std::size_t i = 0; i < sealed.size(); ++i) {
    std::string damaged = sealed;
    damaged[i] = static_cast<char>(damaged[i] ^ 0x10);
    EXPECT_EQ(OpenSealedText(damaged), std::nullopt) << "byte " << i;
    EXPECT_EQ(OpenSealedText(sealed.substr(0, i)), std::nullopt) << i << " bytes";
  }
  EXPECT_EQ(OpenSealedText(sealed + std::string(8, '\0')), std::nullopt);
  EXPECT_EQ(OpenSealedText(sealed + "x"), std::nullopt);
  EXPECT_EQ(OpenSealedText(std::string(kMaxSealedFile + 8, 'x')), std::nullopt);
}

TEST(IniText, FindsAKeyInATextInMemory) {
  const std::string longComment = "# " + std::string(500, 'x') + "\n";
  std::string longText = "[MGR]\n";
  while (longText.size() < 60000) longText += longComment;
  longText += "device_label = far down";
  const struct {
    std::string ini;
    const char* value;  // null: none
  } cases[] = {
      {"[MGR]\ndevice_label=Reader", "Reader"},
      {"\xEF\xBB\xBF[mgr]\r\n\tDevice_Label =  My Reader \t; the name\r\n", "My Reader"},
      {"[ MGR ]\ndevice_label = \"a ; b # c\" ; d", "a ; b # c"},
      {"[MGR]\ndevice_label = one\ndevice_label = two", "two"},
      {"[MGR]\ndevice_label =", ""},
      {longText, "far down"},
      {longText + "\n" + longText, nullptr},
      {"[MGR]\n;device_label = no\n#device_label = no\n", nullptr},
      {"device_label = no section\n[other]\ndevice_label = other", nullptr},
      {"[MGR]\nsomething odd\ndevice_label = Reader", nullptr},
      {std::string("[MGR]\ndevice_label\0= a", 21), nullptr},
      {"", nullptr},
  };
  for (const auto& each : cases) {
    const auto value = IniValue(each.ini, "MGR:device_label");
    ASSERT_EQ(value.has_value(), each.value != nullptr) << each.ini.substr(0, 80);
    if (each.value != nullptr) {
      EXPECT_EQ(*value, each.value) << each.ini.substr(0, 80);
    }
  }
}

struct ProductConfigTest : testing::Test {
  ProductConfigTest() { fs::create_directories(folder / "Configuration"); }
  ~ProductConfigTest() override { fs::remove_all(folder); }

  void NameFolder(const fs::path& path) {
    const std::u8string name = path.u8string();
    RegistryKey::Create(RegistryRoot::Machine, "SOFTWARE\\QUARN\\QUARN_VCI")
        ->WriteText("ProductSpecificLocation", std::string(name.begin(), name.end()));
  }
  void WriteConfig(const std::string& bytes) {
    std::ofstream(folder / "Configuration" / "product_config.ini", std::ios::binary) << bytes;
  }

  test::OwnSettings settings;
  fs::path folder = fs::temp_directory_path() / u8"passbridge-caf\u00E9" /
                    std::to_string(platform::CurrentProcessId());
};

TEST_F(ProductConfigTest, TheLabelIsVciUnlessAWholeFileSaysOtherwise) {
  EXPECT_EQ(ReadDeviceLabel(), "VCI");
  NameFolder(folder);
  EXPECT_EQ(ReadDeviceLabel(), "VCI");
  const std::string good = Sealed(
      "[MGR]\ndevice_label = R\xC3\xA9"
      "ader\n");
  WriteConfig(good);
  EXPECT_EQ(ReadDeviceLabel(),
            "R\xC3\xA9"
            "ader");
  const std::string bad[] = {"",
                             good.substr(0, good.size() - 8),
                             good + std::string(1 << 20, 'x'),
                             "[MGR]\ndevice_label = not enciphered\n",
                             Sealed("[MGR]\n"),
                             Sealed("[MGR]\ndevice_label =\n")};
  for (const std::string& bytes : bad) {
    WriteConfig(bytes);
    EXPECT_EQ(ReadDeviceLabel(), "VCI") << bytes.size() << " bytes";
  }
  fs::remove(folder / "Configuration" / "product_config.ini");
  fs::create_directory(folder / "Configuration" / "product_config.ini");
  EXPECT_EQ(ReadDeviceLabel(), "VCI");
  NameFolder("");
  EXPECT_EQ(ReadDeviceLabel(), "VCI");
}

TEST_F(ProductConfigTest, IsReadOnceInAProcess) {
  NameFolder(folder);
  WriteConfig(Sealed("[MGR]\ndevice_label = First\n"));
  EXPECT_EQ(DeviceLabel(), "First");
  WriteConfig(Sealed("[MGR]\ndevice_label = Second\n"));
  EXPECT_EQ(DeviceLabel(), "First");
}

}  // namespace
}  // namespace passbridge
