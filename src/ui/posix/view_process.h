#ifndef PASSBRIDGE_UI_POSIX_VIEW_PROCESS_H_
#define PASSBRIDGE_UI_POSIX_VIEW_PROCESS_H_

#include <sys/types.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/posix/file_descriptor.h"
#include "ui/posix/view_lines.h"

namespace passbridge {

/// The program that shows the dialog, a child of this process, and the connection with it. Nothing
/// here waits for the program, and nothing it does raises a signal, but that of its end as the
/// child that it is.
class ViewProcess {
 public:
  /// Null if it cannot be started. It gets the connection as its standard input and output, no
  /// other file but standard error, no blocked or ignored signal, and the environment but for what
  /// an application sets for its own libraries.
  static std::unique_ptr<ViewProcess> Start(const std::string& program);
  ViewProcess(const ViewProcess&) = delete;
  ViewProcess& operator=(const ViewProcess&) = delete;
  /// Ends the program.
  ~ViewProcess();

  int Socket() const { return socket_.Number(); }
  pid_t Id() const { return id_; }

  /// Appends to what is to be sent.
  void Send(std::string_view lines) { unsent_.append(lines); }
  bool HasUnsent() const { return !unsent_.empty(); }
  /// Sends what the program takes now. False when it takes no more, or is far behind.
  bool Flush();
  /// Receives what is there. False when nothing comes any more, or what comes has no lines.
  bool Receive();
  /// Of what was received.
  std::optional<view::Fields> TakeLine() { return lines_.Take(); }

 private:
  explicit ViewProcess(int socket) : socket_(socket) {}

  const platform::FileDescriptor socket_;
  pid_t id_ = 0;  // 0: not started
  std::string unsent_;
  view::LineReader lines_;
};

}  // namespace passbridge

#endif  // PASSBRIDGE_UI_POSIX_VIEW_PROCESS_H_
