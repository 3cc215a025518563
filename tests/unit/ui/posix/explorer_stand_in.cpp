// Stands in for passbridge-device-explorer: does what the environment variable STAND_IN says, and
// logs what it sees into the file that STAND_IN_LOG names. Steps, separated by ";":
//   hello             says that it is there
//   say WORD...       sends a line of these fields, "-" for an empty one
//   raw TEXT          sends the text; "\n" is a line break, "\t" a tab
//   flood N           sends N bytes without a line break
//   wait WORD         reads and logs lines up to one that begins with the word
//   shut | closein | closeout
//                     closes the connection for sending, standard input, standard output
//   files | signals | getenv NAME
//                     logs its open files, its blocked and ignored signals, a variable
//   hang              does nothing for ever
//   die               ends by a signal
// At the end of the steps it ends.
#include <dirent.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "ui/posix/view_lines.h"

namespace passbridge {
namespace {

void Write(const std::string& bytes) {
  for (std::size_t at = 0; at < bytes.size();) {
    const ssize_t written = ::write(STDOUT_FILENO, bytes.data() + at, bytes.size() - at);
    if (written <= 0) ::_exit(3);
    at += static_cast<std::size_t>(written);
  }
}

void Log(const std::string& line) {
  const char* const name = std::getenv("STAND_IN_LOG");
  if (name != nullptr) std::ofstream(name, std::ios::app) << line << '\n';
}

void WaitFor(const std::string& word) {
  std::string line;
  for (char c = 0;;) {
    if (::read(STDIN_FILENO, &c, 1) != 1) ::_exit(4);
    if (c != '\n') {
      line += c;
      continue;
    }
    Log(line);
    if (view::SplitLine(line).front() == word) return;
    line.clear();
  }
}

void Say(std::istringstream& words) {
  std::vector<std::string> fields;
  for (std::string word; words >> word;) fields.push_back(word == "-" ? "" : word);
  Write(view::MakeLine({fields.begin(), fields.end()}));
}

void LogFiles() {
  DIR* const folder = ::opendir("/proc/self/fd");
  for (const dirent* entry = ::readdir(folder); entry != nullptr; entry = ::readdir(folder)) {
    const std::string name = entry->d_name;
    if (name.front() != '.' && name != std::to_string(::dirfd(folder))) Log("file " + name);
  }
  ::closedir(folder);
}

void LogSignals() {
  sigset_t blocked;
  ::sigprocmask(SIG_BLOCK, nullptr, &blocked);
  for (int number = 1; number < SIGRTMIN; ++number) {
    struct sigaction action {};
    if (::sigaction(number, nullptr, &action) != 0) continue;
    if (action.sa_handler == SIG_IGN) Log("ignored " + std::to_string(number));
    if (::sigismember(&blocked, number) == 1) Log("blocked " + std::to_string(number));
  }
}

void Step(const std::string& text) {
  std::istringstream words(text);
  std::string name;
  std::string argument;
  words >> name;
  if (name == "hello") Write(view::MakeLine({view::kHello, view::kVersion}));
  if (name == "say") Say(words);
  words >> argument;
  if (name == "raw") Write(view::SplitLine(argument).front());
  if (name == "flood") Write(std::string(std::stoul(argument), 'x'));
  if (name == "wait") WaitFor(argument);
  if (name == "shut") ::shutdown(STDOUT_FILENO, SHUT_WR);
  if (name == "closein") ::close(STDIN_FILENO);
  if (name == "closeout") ::close(STDOUT_FILENO);
  if (name == "files") LogFiles();
  if (name == "signals") LogSignals();
  if (name == "getenv") {
    const char* const value = std::getenv(argument.c_str());
    Log(argument + "=" + (value != nullptr ? value : ""));
  }
  while (name == "hang") ::pause();
  if (name == "die") ::raise(SIGKILL);
}

}  // namespace
}  // namespace passbridge

int main() {
  const char* const steps = std::getenv("STAND_IN");
  std::istringstream in(steps != nullptr ? steps : "");
  for (std::string step; std::getline(in, step, ';');) passbridge::Step(step);
  return 0;
}
