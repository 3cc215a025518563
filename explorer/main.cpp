// passbridge-device-explorer: shows the device explorer for the library, which starts it and talks
// to it over its standard input and output; src/ui/posix/view_lines.h tells how. It knows nothing
// of VCIs, and ends with the connection.

#include <fcntl.h>
#include <unistd.h>

#include <QApplication>
#include <QSocketNotifier>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <string>
#include <string_view>

#include "conversation.h"

namespace passbridge::explorer {
namespace {

constexpr int kWrongUse = 2;

/// The number of the file that leads to the library. Whatever else prints is led to standard error.
int TakeStandardOutput() {
  while (::fcntl(STDERR_FILENO, F_GETFD) < 0 && ::open("/dev/null", O_RDWR) >= 0) {
  }
  const int output = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  ::dup2(STDERR_FILENO, STDOUT_FILENO);
  return output;
}

bool WriteAll(int file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(file, bytes.data(), bytes.size());
    if (written < 0 && errno != EINTR) return false;
    if (written > 0) bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

/// Hands what has come to the conversation. False once the library has hung up.
bool Receive(view::LineReader& lines, Conversation& conversation) {
  std::array<char, 65536> bytes{};
  const ssize_t received = ::read(STDIN_FILENO, bytes.data(), bytes.size());
  if (received < 0) return errno == EINTR || errno == EAGAIN;
  if (received == 0) return false;
  if (!lines.Add({bytes.data(), static_cast<std::size_t>(received)})) return false;
  while (const auto fields = lines.Take()) conversation.Handle(*fields);
  return true;
}

int Run(int argc, char** argv) {
  if (::isatty(STDIN_FILENO) == 1) {
    std::fputs("passbridge-device-explorer is started by the Passbridge library.\n", stderr);
    return kWrongUse;
  }
  std::signal(SIGPIPE, SIG_IGN);
  const int output = TakeStandardOutput();
  QApplication application(argc, argv);
  QApplication::setQuitOnLastWindowClosed(false);
  const auto end = [] { QApplication::exit(); };
  view::LineReader lines;
  Conversation conversation(
      [&](const std::string& line) {
    if (!WriteAll(output, line)) end();
      },
      end);
  QSocketNotifier arrival(STDIN_FILENO, QSocketNotifier::Read);
  QObject::connect(&arrival, &QSocketNotifier::activated, &arrival, [&] {
    if (Receive(lines, conversation)) return;
    arrival.setEnabled(false);
    end();
  });
  conversation.Begin();
  return QApplication::exec();
}

}  // namespace
}  // namespace passbridge::explorer

int main(int argc, char** argv) { return passbridge::explorer::Run(argc, argv); }
