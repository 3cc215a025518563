#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "platform/registry.h"
#include "support.h"

namespace passbridge::platform {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;

class SettingsFiles : public ::testing::Test {
 protected:
  std::string Folder(const std::string& tree) const {
    return sandbox_.Folder() + "/" + tree + "/passbridge/Key";
  }
  void WriteFile(const std::string& tree, const std::string& name, const std::string& content) {
    fs::create_directories(Folder(tree));
    std::ofstream(Folder(tree) + "/" + name) << content;
  }
  std::string ReadFile(const std::string& tree, const std::string& name) {
    std::ifstream file(Folder(tree) + "/" + name);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }
  std::vector<std::string> FilesIn(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder))
      names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
  }
  static std::optional<RegistryKey> Open(RegistryRoot root = RegistryRoot::User) {
    return RegistryKey::Open(root, "Key", RegistryAccess::Read);
  }
  static std::optional<RegistryKey> Create(RegistryRoot root = RegistryRoot::User,
                                           RegistryLife life = RegistryLife::Persistent) {
    return RegistryKey::Create(root, "Key", life);
  }

  testing::SettingsSandbox sandbox_;
};

TEST_F(SettingsFiles, CanBeReadByAPersonAndByNobodyElse) {
  auto key = Create();
  ASSERT_TRUE(key && key->WriteDword("VCI Logging", 1) && key->WriteText("Library", "/opt/pdu.so"));
  EXPECT_EQ(ReadFile("config", "VCI Logging.value"), "dword:0x00000001\n");
  EXPECT_EQ(ReadFile("config", "Library.value"), "text:/opt/pdu.so\n");
  EXPECT_THAT(FilesIn(Folder("config")), ElementsAre("Library.value", "VCI Logging.value"));
  EXPECT_EQ(fs::status(Folder("config")).permissions(), fs::perms::owner_all);
  EXPECT_EQ(fs::status(Folder("config") + "/Library.value").permissions(),
            fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(SettingsFiles, MayBeWrittenByAPerson) {
  const struct {
    const char* content;
    std::optional<std::uint32_t> number;
    std::optional<std::string> text;
  } cases[] = {
      {"dword:0x1f", 0x1F, {}},
      {"dword: 12 \r\n", 12, {}},
      {"dword:4294967295\n\n", 0xFFFFFFFF, {}},
      {"text:/opt/x", {}, "/opt/x"},
      {"text:\n", {}, ""},
      {"dword:", {}, {}},
      {"dword:4294967296", {}, {}},
      {"dword:0x1ffffffff", {}, {}},
      {"dword:-1", {}, {}},
      {"dword:0x", {}, {}},
      {"dword:12 13", {}, {}},
      {"qword:1", {}, {}},
      {"12", {}, {}},
      {"", {}, {}},
  };
  for (const auto& c : cases) {
    WriteFile("config", "Value.value", c.content);
    EXPECT_EQ(Open()->ReadDword("value"), c.number) << c.content;
    EXPECT_EQ(Open()->ReadText("value"), c.text) << c.content;
  }
}

TEST_F(SettingsFiles, OfAnotherKindAreNoValues) {
  WriteFile("config", "Nul.value", std::string("text:a\0b", 8));
  WriteFile("config", "Long.value", "text:" + std::string(1 << 20, 'x'));
  WriteFile("config", "Escape%4.value", "dword:1");
  WriteFile("config", ".new-abc123", "dword:1");
  fs::create_directory(Folder("config") + "/Folder.value");
  ASSERT_EQ(::mkfifo((Folder("config") + "/Pipe.value").c_str(), 0600), 0);
  fs::create_directory(Folder("config") + "/.deleted-abc123");
  fs::create_symlink("Loop.value", Folder("config") + "/Loop.value");
  const auto key = Open();
  for (const char* const name : {"Nul", "Long", "Escape%4", "Folder", "Pipe", "Loop"}) {
    EXPECT_FALSE(key->ReadText(name)) << name;
    EXPECT_FALSE(key->ReadFourBytes(name)) << name;
  }
  EXPECT_THAT(key->SubkeyNames(), ElementsAre("Folder.value"));
}

TEST_F(SettingsFiles, OfTheMachineComeFromAllFoldersInTheirOrder) {
  const std::string dirs = sandbox_.Folder() + "/first:relative::" + sandbox_.Folder() + "/second";
  ::setenv("XDG_CONFIG_DIRS", dirs.c_str(), 1);
  WriteFile("second", "Both.value", "dword:2");
  WriteFile("second", "Second.value", "dword:2");
  fs::create_directories(Folder("second") + "/sub");
  EXPECT_EQ(Open(RegistryRoot::Machine)->ReadDword("Both"), 2U);
  auto key = Create(RegistryRoot::Machine);
  ASSERT_TRUE(key && key->WriteDword("Both", 1) && key->CreateSubkey("SUB"));
  EXPECT_EQ(ReadFile("first", "Both.value"), "dword:0x00000001\n");
  EXPECT_EQ(Open(RegistryRoot::Machine)->ReadDword("Both"), 1U);
  EXPECT_EQ(Open(RegistryRoot::Machine)->ReadDword("Second"), 2U);
  EXPECT_THAT(Open(RegistryRoot::Machine)->SubkeyNames(), ElementsAre("SUB"));
  WriteFile("first", "Both.value", "spoilt");
  EXPECT_EQ(Open(RegistryRoot::Machine)->ReadDword("Both"), 2U);
  EXPECT_FALSE(Open(RegistryRoot::User));
}

TEST_F(SettingsFiles, GoToTheTreeOfTheirLife) {
  auto passing = Create(RegistryRoot::User, RegistryLife::Volatile);
  ASSERT_TRUE(passing && passing->WriteDword("Passing", 1));
  EXPECT_EQ(ReadFile("runtime", "Passing.value"), "dword:0x00000001\n");
  EXPECT_FALSE(fs::exists(Folder("config")));
  auto lasting = Create();
  ASSERT_TRUE(lasting && lasting->WriteDword("Lasting", 2));
  EXPECT_EQ(ReadFile("config", "Lasting.value"), "dword:0x00000002\n");
  EXPECT_EQ(lasting->ReadDword("Passing"), 1U);
  fs::remove_all(sandbox_.Folder() + "/runtime");  // the login ends
  ::setenv("XDG_RUNTIME_DIR", sandbox_.Folder().c_str(), 1);
  EXPECT_FALSE(Open()->ReadDword("Passing"));
  EXPECT_EQ(Open()->ReadDword("Lasting"), 2U);
}

TEST_F(SettingsFiles, OfAKilledWriterAreWholeOrOld) {
  ASSERT_TRUE(Create()->WriteText("Text", std::string(5000, 'o')));
  for (int round = 0; round < 20; ++round) {
    const pid_t writer = ::fork();
    if (writer == 0) {
      for (;;) Create()->WriteText("Text", std::string(60000, 'n'));
    }
    ::usleep(static_cast<useconds_t>(1000 + round * 300));
    ::kill(writer, SIGKILL);
    ::waitpid(writer, nullptr, 0);
    const auto text = Open()->ReadText("Text");
    ASSERT_TRUE(text == std::string(5000, 'o') || text == std::string(60000, 'n'));
  }
}

TEST_F(SettingsFiles, LeftByACutRemovalGoWithTheNext) {
  fs::create_directories(sandbox_.Folder() + "/config/passbridge/.deleted-abc123/sub");
  ASSERT_TRUE(Create());
  EXPECT_TRUE(DeleteRegistryTree(RegistryRoot::User, "key"));
  EXPECT_TRUE(fs::is_empty(sandbox_.Folder() + "/config/passbridge"));
}

TEST_F(SettingsFiles, FailQuietlyWhereNothingCanBeWritten) {
  std::ofstream(sandbox_.Folder() + "/file") << "no folder";
  ::setenv("XDG_CONFIG_HOME", (sandbox_.Folder() + "/file").c_str(), 1);
  EXPECT_FALSE(Create());
  EXPECT_FALSE(Open());
  EXPECT_TRUE(DeleteRegistryTree(RegistryRoot::User, "Key"));
}

}  // namespace
}  // namespace passbridge::platform
