#include "platform/registry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <boost/thread/thread.hpp>

#include "support.h"

namespace passbridge::platform {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Registry : public ::testing::Test {
 protected:
  std::optional<RegistryKey> Create(const std::string& subkey = "",
                                    RegistryLife life = RegistryLife::Persistent) {
    return RegistryKey::Create(RegistryRoot::User, Path(subkey), life);
  }
  std::optional<RegistryKey> Open(const std::string& subkey = "",
                                  RegistryAccess access = RegistryAccess::Read) {
    return RegistryKey::Open(RegistryRoot::User, Path(subkey), access);
  }
  std::string Path(const std::string& subkey) const {
    return subkey.empty() ? sandbox_.Key() : sandbox_.Key() + "\\" + subkey;
  }

  testing::SettingsSandbox sandbox_;
};

TEST_F(Registry, ReadsBackWhatWasWritten) {
  auto key = Create();
  ASSERT_TRUE(key);
  const std::string longest(kMaxRegistryText, 'x');
  const std::string texts[] = {"", "C:\\VCI\\pdu.dll",
                               " two lines\nand a % / \xC3\xA9 \xF0\x9F\x98\x80\n", longest};
  for (const std::string& text : texts) {
    EXPECT_TRUE(key->WriteText("Text", text));
    EXPECT_EQ(key->ReadText("Text"), text);
    EXPECT_EQ(Open()->ReadText("Text"), text);
  }
  for (const std::uint32_t number : {0U, 1U, 0x80000000U, 0xFFFFFFFFU}) {
    EXPECT_TRUE(key->WriteDword("Number", number));
    EXPECT_EQ(Open()->ReadDword("Number"), number);
  }
  EXPECT_FALSE(key->WriteText("Text", longest + "x"));
  EXPECT_FALSE(key->WriteText("Text", std::string("a\0b", 3)));
  EXPECT_EQ(key->ReadText("Text"), longest);
}

TEST_F(Registry, NamesMayHoldAnyCharacter) {
  auto key = Create("a/b.value %41 \xC3\xA9");
  ASSERT_TRUE(key);
  std::uint32_t number = 0;
  for (const char* const name :
       {"", ".", "..", "@", "a/b", "100%", "%41", "VCI Logging", "..\\x"}) {
    EXPECT_TRUE(key->WriteDword(name, ++number)) << name;
  }
  number = 0;
  for (const char* const name :
       {"", ".", "..", "@", "a/b", "100%", "%41", "VCI Logging", "..\\x"}) {
    EXPECT_EQ(key->ReadDword(name), ++number) << name;
  }
  EXPECT_FALSE(key->ReadDword("A"));  // which "%41" would be as an escape
  EXPECT_THAT(Open()->SubkeyNames(), ElementsAre("a/b.value %41 \xC3\xA9"));
}

TEST_F(Registry, KeysAndValuesOfTheSameNameStandSideBySide) {
  auto key = Create();
  ASSERT_TRUE(key && key->CreateSubkey("Version"));
  EXPECT_TRUE(key->WriteDword("Version", 2));
  EXPECT_TRUE(Open("Version"));
  EXPECT_EQ(key->ReadDword("Version"), 2U);
}

TEST_F(Registry, IgnoresCaseAndKeepsTheSpellingOfCreation) {
  auto key = Create("InterfaceTypeOrder\\\xC3\x89t\xC3\xA9");
  ASSERT_TRUE(key);
  EXPECT_TRUE(key->WriteDword("Number", 1));
  auto same = Create("INTERFACEtypeorder\\\xC3\xA9T\xC3\x89");
  ASSERT_TRUE(same);
  EXPECT_EQ(same->ReadDword("nUMBER"), 1U);
  EXPECT_TRUE(same->WriteDword("NUMBER", 5));
  EXPECT_EQ(key->ReadDword("Number"), 5U);
  EXPECT_THAT(Open()->SubkeyNames(), ElementsAre("InterfaceTypeOrder"));
  EXPECT_THAT(Open("interfacetypeorder")->SubkeyNames(), ElementsAre("\xC3\x89t\xC3\xA9"));
  EXPECT_TRUE(same->DeleteValue("number"));
  EXPECT_FALSE(key->ReadDword("Number"));
}

TEST_F(Registry, EnumeratesSubkeysInNameOrder) {
  auto key = Create();
  ASSERT_TRUE(key);
  EXPECT_THAT(key->SubkeyNames(), IsEmpty());
  for (const char* const name : {"b10", "Connection01", "a_", "B2", "connection00", "aB"}) {
    ASSERT_TRUE(key->CreateSubkey(name)) << name;
  }
  EXPECT_TRUE(key->WriteDword("no key", 1));
  EXPECT_THAT(key->SubkeyNames(),
              ElementsAre("aB", "a_", "b10", "B2", "connection00", "Connection01"));
}

TEST_F(Registry, GivesNothingForWhatIsMissingOrOfAnotherForm) {
  auto key = Create();
  ASSERT_TRUE(key);
  EXPECT_TRUE(key->WriteDword("Number", 7));
  EXPECT_TRUE(key->WriteText("Text", "abc\xF0\x9F\x98\x80"));
  EXPECT_FALSE(key->ReadText("Number"));
  EXPECT_FALSE(key->ReadDword("Text"));
  EXPECT_FALSE(key->ReadDword("Missing"));
  EXPECT_FALSE(key->ReadText("Missing"));
  EXPECT_FALSE(key->ReadFourBytes("Missing"));
  EXPECT_TRUE(key->ReadText("Text", 5));
  EXPECT_FALSE(key->ReadText("Text", 4));
  EXPECT_TRUE(key->DeleteValue("Missing"));
  for (const char* const path : {"", "\\", "a\\\\b", "\\a", "a\\"}) {
    EXPECT_FALSE(RegistryKey::Open(RegistryRoot::User, path, RegistryAccess::Read)) << path;
    EXPECT_FALSE(key->CreateSubkey(path)) << path;
    EXPECT_FALSE(DeleteRegistryTree(RegistryRoot::User, path)) << path;
  }
  EXPECT_FALSE(Open("Missing"));
  EXPECT_FALSE(Open("Missing", RegistryAccess::ReadWrite));
}

TEST_F(Registry, GivesTheFirstFourBytesOfAnyType) {
  auto key = Create();
  ASSERT_TRUE(key);
  key->WriteDword("Number", 0x01020304);
  key->WriteText("Empty", "");
  key->WriteText("Digit", "1");
  key->WriteText("Word", "10");
  EXPECT_EQ(key->ReadFourBytes("Number"), 0x01020304U);
  EXPECT_EQ(key->ReadFourBytes("Empty"), 0U);
  EXPECT_EQ(key->ReadFourBytes("Digit"), 0x31U);
  EXPECT_FALSE(key->ReadFourBytes("Word"));
}

TEST_F(Registry, RefusesToWriteThroughAKeyOpenForReading) {
  ASSERT_TRUE(Create("Sub")->WriteDword("Number", 1));
  auto key = Open("Sub");
  ASSERT_TRUE(key);
  EXPECT_FALSE(key->WriteDword("Number", 2));
  EXPECT_FALSE(key->DeleteValue("Number"));
  EXPECT_FALSE(key->CreateSubkey("New"));
  EXPECT_EQ(key->ReadDword("Number"), 1U);
  EXPECT_TRUE(Open("Sub", RegistryAccess::ReadWrite)->WriteDword("Number", 2));
  EXPECT_EQ(key->ReadDword("Number"), 2U);
}

TEST_F(Registry, VolatileKeysAreFoundBesideTheOthers) {
  ASSERT_TRUE(Create()->CreateSubkey("Lasting"));
  auto key = Create("LastUsed\\PID_17", RegistryLife::Volatile);
  ASSERT_TRUE(key);
  EXPECT_TRUE(key->WriteDword("SerialNumber", 4711));
  EXPECT_TRUE(key->CreateSubkey("Below"));
  EXPECT_EQ(Open("LastUsed\\PID_17")->ReadDword("SerialNumber"), 4711U);
  EXPECT_TRUE(Open("LastUsed\\PID_17", RegistryAccess::ReadWrite)->WriteDword("SerialNumber", 12));
  EXPECT_EQ(Open()->OpenSubkey("LastUsed\\PID_17", RegistryAccess::Read)->ReadDword("SerialNumber"),
            12U);
  EXPECT_THAT(Open()->SubkeyNames(), ElementsAre("Lasting", "LastUsed"));
  EXPECT_FALSE(RegistryKey::Create(RegistryRoot::Machine, Path("x"), RegistryLife::Volatile));
}

TEST_F(Registry, DeletesATreeAndNothingBesideIt) {
  for (const char* const path : {"Order\\a\\b\\c", "Order\\d", "Order2"}) {
    ASSERT_TRUE(Create(path)->WriteText("Text", path));
  }
  ASSERT_TRUE(Create("Order\\Passing", RegistryLife::Volatile));
  EXPECT_TRUE(DeleteRegistryTree(RegistryRoot::User, Path("oRDER")));
  EXPECT_FALSE(Open("Order"));
  EXPECT_FALSE(Open("Order\\d"));
  EXPECT_THAT(Open()->SubkeyNames(), ElementsAre("Order2"));
  EXPECT_TRUE(DeleteRegistryTree(RegistryRoot::User, Path("Order")));
  auto anew = Create("Order");
  ASSERT_TRUE(anew);
  EXPECT_FALSE(anew->ReadText("Text"));
  EXPECT_THAT(anew->SubkeyNames(), IsEmpty());
}

TEST_F(Registry, WritersAtOnceNeverLeaveATornValue) {
  constexpr int kRounds = 200;
  auto key = Create();
  ASSERT_TRUE(key && key->WriteText("Text", std::string(100, '0')));
  std::atomic<int> running = 2;
  std::atomic<int> failures = 0;
  const auto writer = [&](char letter, std::size_t length) {
    auto own = Open("", RegistryAccess::ReadWrite);
    for (int i = 0; i < kRounds; ++i) {
      if (!own || !own->WriteText("Text", std::string(length, letter))) ++failures;
    }
    --running;
  };
  boost::thread first(writer, 'a', 3000);
  boost::thread second(writer, 'b', 7000);
  while (running > 0) {
    const auto text = Open()->ReadText("Text");
    if (!text || text->find_first_not_of(text->front()) != std::string::npos ||
        text->size() != (text->front() == 'a'   ? 3000U
                         : text->front() == 'b' ? 7000U
                                                : 100U)) {
      ++failures;
    }
  }
  first.join();
  second.join();
  EXPECT_EQ(failures, 0);
}

}  // namespace
}  // namespace passbridge::platform
