#include "platform/debug_output.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <boost/thread/thread.hpp>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>

#include "support.h"

namespace passbridge::platform {
namespace {

using ::testing::AnyOf;

class DebugOutputTo : public ::testing::Test {
 protected:
  ~DebugOutputTo() override {
    ::unsetenv("PASSBRIDGE_DEBUG_OUTPUT");
    ResetDebugOutput();
  }
  static void SendTo(const std::string& target) {
    ::setenv("PASSBRIDGE_DEBUG_OUTPUT", target.c_str(), 1);
    ResetDebugOutput();
  }
  std::string File() const { return sandbox_.Folder() + "/trace"; }
  std::string Content() const {
    std::ifstream file(File());
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

  testing::SettingsSandbox sandbox_;
};

TEST_F(DebugOutputTo, AFileAppendsUnixLines) {
  std::ofstream(File()) << "before\n";
  SendTo(File());
  errno = ENOENT;
  DebugOutput("Entering f()\r\n");
  DebugOutput("In f(): Closed");
  DebugOutput("a\r\nb\rc\n");
  DebugOutput("");
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(Content(), "before\nEntering f()\nIn f(): Closed\na\nb\rc\n\n");
}

TEST_F(DebugOutputTo, StandardErrorIsTheDefault) {
  for (const char* const target : {"", "stderr"}) {
    SendTo(target);
    ::testing::internal::CaptureStderr();
    DebugOutput("Leaving f()\r\n");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "Leaving f()\n");
  }
}

TEST_F(DebugOutputTo, AFileNeverMixesTheLinesOfThreads) {
  constexpr int kLines = 500;
  SendTo(File());
  const auto sender = [](char letter) {
    for (int i = 0; i < kLines; ++i) DebugOutput(std::string(100, letter) + "\r\n");
  };
  boost::thread first(sender, 'a');
  boost::thread second(sender, 'b');
  first.join();
  second.join();
  std::istringstream lines(Content());
  int count = 0;
  for (std::string line; std::getline(lines, line); ++count) {
    EXPECT_THAT(line, AnyOf(std::string(100, 'a'), std::string(100, 'b')));
  }
  EXPECT_EQ(count, 2 * kLines);
}

TEST_F(DebugOutputTo, APlaceThatTakesNothingLosesTheLineOnly) {
  SendTo(sandbox_.Folder() + "/missing/trace");
  DebugOutput("lost");
  SendTo(std::string(10000, 'x'));
  DebugOutput("lost");
  ASSERT_EQ(::mkfifo(File().c_str(), 0600), 0);
  SendTo(File());
  DebugOutput("lost");

  SendTo("stderr");
  int ends[2];
  ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
  ::close(ends[0]);
  const int standardError = ::dup(STDERR_FILENO);
  ::dup2(ends[1], STDERR_FILENO);
  DebugOutput("lost, and no SIGPIPE");
  ::dup2(standardError, STDERR_FILENO);
  ::close(standardError);
  ::close(ends[1]);
}

}  // namespace
}  // namespace passbridge::platform
