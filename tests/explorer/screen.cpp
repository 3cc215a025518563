#include "screen.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <sstream>

namespace passbridge::test {

namespace {

/// What a command of the shell prints.
std::string OutputOf(const std::string& command) {
  std::string text;
  FILE* const pipe = ::popen(command.c_str(), "re");
  if (pipe == nullptr) return text;
  std::array<char, 256> bytes{};
  while (std::fgets(bytes.data(), bytes.size(), pipe) != nullptr) text += bytes.data();
  ::pclose(pipe);
  return text;
}

void Xdotool(const std::string& arguments) {
  EXPECT_EQ(std::system(("xdotool " + arguments).c_str()), 0) << arguments;
}

/// The number after "NAME=" at the beginning of a line.
int NumberIn(const std::string& text, const std::string& name) {
  const std::size_t at = ("\n" + text).find("\n" + name + "=");
  return at == std::string::npos ? 0 : std::atoi(text.c_str() + at + name.size() + 1);
}

}  // namespace

Screen::Screen() {
  std::array<int, 2> pipe{};
  if (::pipe(pipe.data()) != 0) std::abort();
  const std::string number = std::to_string(pipe[1]);
  // A server that starts anew after its last client would refuse the next one meanwhile.
  const char* const arguments[] = {"Xvfb", "-noreset",    "-displayfd", number.c_str(), "-screen",
                                   "0",    "1024x768x24", "-nolisten",  "tcp",          nullptr};
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  EXPECT_EQ(::posix_spawnp(&server_, "Xvfb", &actions, nullptr, const_cast<char* const*>(arguments),
                           environ),
            0);
  ::posix_spawn_file_actions_destroy(&actions);
  ::close(pipe[1]);
  std::string display;
  for (char c = 0; ::read(pipe[0], &c, 1) == 1 && c != '\n';) display += c;
  ::close(pipe[0]);
  EXPECT_NE(display, "") << "no display";
  ::setenv("DISPLAY", (":" + display).c_str(), 1);
}

void Screen::End() {
  if (server_ == 0) return;
  ::kill(server_, SIGTERM);
  ::waitpid(server_, nullptr, 0);
  server_ = 0;
}

bool Screen::AwaitWindow(const std::string& title) {
  const std::string command = "xdotool search --onlyvisible --name '^" + title +
                              "$' getwindowgeometry --shell %1 2>/dev/null";
  size_ = {};
  for (int i = 0; i < 3000 && size_.x == 0; ++i) {
    const std::string found = OutputOf(command);
    corner_ = {NumberIn(found, "X"), NumberIn(found, "Y")};
    size_ = {NumberIn(found, "WIDTH"), NumberIn(found, "HEIGHT")};
    if (size_.x == 0) ::usleep(10000);
  }
  return size_.x > 0;
}

void Screen::AwaitNoWindow(const std::string& title) {
  const std::string command = "xdotool search --onlyvisible --name '^" + title + "$' 2>/dev/null";
  // Nothing is found, too, when a window goes while xdotool looks at it: so it looks twice.
  int misses = 0;
  for (int i = 0; i < 500 && misses < 2; ++i) {
    misses = OutputOf(command).empty() ? misses + 1 : 0;
    ::usleep(10000);
  }
}

Place Screen::OnScreen(Place place) const {
  return {corner_.x + place.x + (place.x < 0 ? size_.x : 0),
          corner_.y + place.y + (place.y < 0 ? size_.y : 0)};
}

void Screen::Click(Place place, int button, int times) {
  const Place at = OnScreen(place);
  std::ostringstream arguments;
  arguments << "mousemove " << at.x << ' ' << at.y << " click --repeat " << times << " --delay 20 "
            << button;
  Xdotool(arguments.str());
}

void Screen::Press(const std::string& keys) { Xdotool("key --delay 20 " + keys); }

}  // namespace passbridge::test
