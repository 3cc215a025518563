#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <future>
#include <string>
#include <vector>

#include "platform/cancellation.h"
#include "posix/view_fixture.h"
#include "ui/device_explorer.h"

namespace passbridge::test {
namespace {

using std::chrono::milliseconds;
using ::testing::UnorderedElementsAre;

struct ViewFaultsTest : ViewFixture {};

constexpr ViewPatience kEndless{milliseconds(600000), milliseconds(600000), milliseconds(600000)};
constexpr ViewPatience kShort{milliseconds(300), milliseconds(100), milliseconds(200)};

std::chrono::seconds Since(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - start);
}

TEST_F(ViewFaultsTest, AProgramThatEndsOrWritesRubbishEndsTheDialog) {
  const struct {
    const char* steps;
    const char* choice;
  } cases[] = {
      // It never came up.
      {"", "nothing"},
      {"die", "nothing"},
      {"shut;hang", "nothing"},
      {"raw rubbish\\n;hang", "nothing"},
      {"raw passbridge-device-explorer\\t2\\n;hang", "nothing"},
      {"raw passbridge-device-explorer\\n;hang", "nothing"},
      {"say command 1010 4711;hang", "nothing"},
      {"flood 1000000;hang", "nothing"},
      // It came up.
      {"hello", "cancelled"},
      {"hello;die", "cancelled"},
      {"hello;wait show;die", "cancelled"},
      {"hello;shut;hang", "cancelled"},
      {"hello;closein;closeout;hang", "cancelled"},
      {"hello;raw rubbish\\n;hang", "cancelled"},
      {"hello;raw \\n;hang", "cancelled"},
      {"hello;say command;hang", "cancelled"},
      {"hello;say command 1010;hang", "cancelled"},
      {"hello;say command 1010x 4711;hang", "cancelled"},
      {"hello;say command 99999999999 4711;hang", "cancelled"},
      {"hello;flood 1000000;hang", "cancelled"},
  };
  for (const auto& each : cases)
    EXPECT_EQ(Said(Show(each.steps, kEndless)), each.choice) << each.steps;
}

TEST_F(ViewFaultsTest, ASilentProgramIsGivenUp) {
  EXPECT_EQ(Said(Show("hang", kShort)), "nothing");
  EXPECT_EQ(Said(Show("hello;hang", kShort)), "cancelled");
  EXPECT_EQ(Said(Show("hello;closeout;hang", kShort)), "cancelled");
  EXPECT_EQ(Said(Show("hello;wait ping;say pong;wait ping;say pong;wait ping;"
                      "say command 32776 4711;hang",
                      kShort)),
            "1 4711 1")
      << "one that answers is not";
}

TEST_F(ViewFaultsTest, AProgramThatNeverReadsHoldsNobodyUp) {
  std::vector<ModuleSpec> many;
  for (UNUM32 i = 1; i <= 4000; ++i) many.push_back({i, std::to_string(i), "USB"});
  pdu.SetModules(many);
  auto shown = std::async(std::launch::async, [this] { return Show("hello;hang", kEndless); });
  AwaitOpening();
  // What waits to be sent grows with each list, but not for ever.
  while (shown.wait_for(milliseconds(1)) != std::future_status::ready) {
    ChangeModules();
  }
  EXPECT_EQ(Said(shown.get()), "cancelled");
}

TEST_F(ViewFaultsTest, TheProgramGetsNothingOfTheApplication) {
  const int leaked = ::open("/dev/null", O_RDONLY);  // inherited by whom the application starts
  ::setenv("LD_LIBRARY_PATH", "/nowhere", 1);
  ::setenv("QT_PLUGIN_PATH", "/nowhere", 1);
  ::setenv("SOMETHING", "else", 1);
  sigset_t term;
  ::sigemptyset(&term);
  ::sigaddset(&term, SIGTERM);
  ::pthread_sigmask(SIG_BLOCK, &term, nullptr);
  ::signal(SIGUSR1, SIG_IGN);
  EXPECT_EQ(Said(Show("hello;files;signals;getenv LD_LIBRARY_PATH;getenv QT_PLUGIN_PATH;"
                      "getenv SOMETHING;say closed")),
            "cancelled");
  EXPECT_THAT(Log(), UnorderedElementsAre("file 0", "file 1", "file 2",
                                          "LD_LIBRARY_PATH=", "QT_PLUGIN_PATH=", "SOMETHING=else"));
  ::signal(SIGUSR1, SIG_DFL);
  ::pthread_sigmask(SIG_UNBLOCK, &term, nullptr);
  for (const char* const name : {"LD_LIBRARY_PATH", "QT_PLUGIN_PATH", "SOMETHING"})
    ::unsetenv(name);
  ::close(leaked);
}

/// Of the files that are open, those that a program which is started now would get.
std::size_t InheritedFiles() {
  std::size_t count = 0;
  for (int file = 0; file < 1024; ++file) {
    const int flags = ::fcntl(file, F_GETFD);
    if (flags >= 0 && (flags & FD_CLOEXEC) == 0) ++count;
  }
  return count;
}

TEST_F(ViewFaultsTest, OtherProgramsOfTheApplicationGetNothingOfTheDialog) {
  const std::size_t before = InheritedFiles();
  auto shown = std::async(std::launch::async, [this] {
    return Show("hello;wait show;wait show;say closed;hang", kEndless);
  });
  AwaitOpening();
  EXPECT_EQ(InheritedFiles(), before);
  ChangeModules();
  EXPECT_EQ(Said(shown.get()), "cancelled");
}

TEST_F(ViewFaultsTest, AnApplicationWithoutStandardFilesShowsItToo) {
  const int input = ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 10);
  const int output = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 10);
  const int error = ::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 10);
  for (int file = 0; file <= STDERR_FILENO; ++file) ::close(file);
  auto shown = std::async(std::launch::async, [this] {
    return Show("hello;wait show;wait show;say command 32776 4711;hang", kEndless);
  });
  AwaitOpening();
  std::vector<int> taken;  // what is written to standard error would go there
  for (int file = 0; file <= STDERR_FILENO; ++file) {
    if (::fcntl(file, F_GETFD) >= 0) taken.push_back(file);
  }
  ChangeModules();
  const std::string said = Said(shown.get());
  ::dup2(input, STDIN_FILENO);
  ::dup2(output, STDOUT_FILENO);
  ::dup2(error, STDERR_FILENO);
  for (const int file : {input, output, error}) ::close(file);
  EXPECT_EQ(said, "1 4711 1");
  EXPECT_THAT(taken, testing::IsEmpty());
}

void ReapAll(int /*signal*/) {
  const int savedErrno = errno;
  while (::waitpid(-1, nullptr, WNOHANG) > 0) {
  }
  errno = savedErrno;
}

TEST_F(ViewFaultsTest, ApplicationsThatWaitForEveryChildAreNoObstacle) {
  for (void (*handler)(int) : {SIG_IGN, &ReapAll}) {
    ::signal(SIGCHLD, handler);
    for (const char* const steps : {"hello;say closed", "hello;die", "hello;say closed;hang"}) {
      EXPECT_EQ(Said(Show(steps)), "cancelled") << steps;
    }
    struct sigaction now {};
    ::sigaction(SIGCHLD, nullptr, &now);
    EXPECT_EQ(now.sa_handler, handler) << "the application's";
    ::signal(SIGCHLD, SIG_DFL);
  }
}

TEST_F(ViewFaultsTest, TwoAtOnceAreIndependent) {
  ::setenv("STAND_IN", "hello;wait show;wait show;say command 32776 4711;hang", 1);
  const auto show = [] { return ShowDeviceExplorer(); };
  auto first = std::async(std::launch::async, show);
  auto second = std::async(std::launch::async, show);
  while (first.wait_for(milliseconds(10)) != std::future_status::ready ||
         second.wait_for(milliseconds(10)) != std::future_status::ready) {
    ChangeModules();
  }
  EXPECT_EQ(Said(first.get()), "1 4711 1");
  EXPECT_EQ(Said(second.get()), "1 4711 1");
}

void* ShowForEver(void* fixture) {
  const platform::CancellationGuard cancellation;
  (*static_cast<std::function<void()>*>(fixture))();
  return nullptr;
}

TEST_F(ViewFaultsTest, AThreadThatIsCancelledMeanwhileLeavesNothing) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "ThreadSanitizer sees no locks of a thread that is cancelled in poll";
#endif
  std::function<void()> work = [this] { Show("hello;hang", kEndless); };
  pthread_t thread{};
  ASSERT_EQ(::pthread_create(&thread, nullptr, &ShowForEver, &work), 0);
  AwaitOpening();
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(::pthread_cancel(thread), 0);
  void* result = nullptr;
  EXPECT_EQ(::pthread_join(thread, &result), 0);
  EXPECT_EQ(result, PTHREAD_CANCELED);
  EXPECT_LT(Since(start).count(), 20);
}

/// The fixture looks for what is left.
TEST_F(ViewFaultsTest, AThousandOpeningsLeaveNothing) {
  const std::vector<std::string> ways{"hello;say command 32776 4711;hang", "hello;say closed", "",
                                      "hello;wait show;die"};
  for (std::size_t i = 0; i < 1000; ++i) Show(ways[i % ways.size()]);
}

}  // namespace
}  // namespace passbridge::test
