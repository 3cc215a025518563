#include "server/vci_name.h"

#include <gtest/gtest.h>

#include <string>

#include "server/device_info_list.h"

namespace passbridge {
namespace {

/// Tokens as text: serial number and interface types, "?" for the list, "-" for no serial number.
std::string Understood(std::string_view name) {
  std::string text;
  for (const VciNameToken& token : ParseVciName(name)) {
    text += text.empty() ? "" : " ";
    if (token.asksUser) {
      text += "?";
      continue;
    }
    text += token.serialNumber ? std::to_string(*token.serialNumber) : "-";
    for (const InterfaceType type : token.interfaces) {
      text += ":" + std::to_string(static_cast<std::uint32_t>(type));
    }
  }
  return text;
}

TEST(VciNameTest, NamesAreUnderstood) {
  const struct {
    const char* name;
    const char* understood;
  } cases[] = {
      {"SN='4711' CXN='ETHERNET,USB'", "4711:2:1"},
      {" sn = '47 11'cxn='usb'", "4711:1"},
      {"SN='12'CXN='WIRELESS,BLUETOOTH,LOCAL'", "12:3:4:5"},
      {"SN='99'", "99"},
      {"4711'USB'", "4711:1"},
      {"SN='1' CXN='USB'; ;SN='2' 'LOCAL'", "1:1 2:5"},
      {"SN='1' CXN='SERIAL,USB'", "1:1"},
      {"SN='1',CXN='USB'", "1"},
      {"SN='ABC' CXN='USB'", "0:1"},
      {"SN='-1' CXN='USB'", "4294967295:1"},
      {"SN=", "-"},
      {"SN='1' CXN=", "1"},
      {"VqxList;SN='3'", "? 3"},
      {"';'", "- -"},
      {"", ""},
  };
  for (const auto& test : cases) EXPECT_EQ(Understood(test.name), test.understood) << test.name;
}

TEST(VciNameTest, FifteenAlternativesAreTaken) {
  std::string name;
  for (int i = 0; i < 20; ++i) name += "SN='" + std::to_string(i) + "';";
  EXPECT_EQ(ParseVciName(name).size(), 15U);
}

TEST(VciNameTest, NumbersAreReadAsFarAsTheyGo) {
  const struct {
    const char* text;
    std::uint32_t number;
  } cases[] = {{"4711", 4711},
               {" \t+12x", 12},
               {"", 0},
               {"x1", 0},
               {"-2", 0xFFFFFFFE},
               {"4294967295", 0xFFFFFFFF},
               {"99999999999999999999999", 0xFFFFFFFF}};
  for (const auto& test : cases) EXPECT_EQ(ParseDecimal(test.text), test.number) << test.text;
}

}  // namespace
}  // namespace passbridge
