#ifndef PASSBRIDGE_UI_POSIX_VIEW_LINES_H_
#define PASSBRIDGE_UI_POSIX_VIEW_LINES_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What the library and the program passbridge-device-explorer say to each other, over a socket
// that is the program's standard input and output. A line has fields, the first of which is a word
// of those below; tabs separate them. In a field "\n", "\t" and "\\" stand for a line break, a tab
// and a backslash. All is UTF-8, numbers are decimal. The program passes over lines that it does
// not understand; for the library one of those ends the dialog.
//
// The library says how the dialog looks, then, whenever that changes, all that the list holds:
//
//   passbridge-device-explorer VERSION
//   title TEXT
//   buttons CONNECT CANCEL         "&" comes before a mnemonic
//   direction ltr|rtl
//   font FACE PIXELS WEIGHT        where the language has one of its own
//   list                           what follows replaces the list
//   item ID OVERLAY CONNECT LABEL TIP
//                                  ID: empty for the placeholder of an empty list; OVERLAY: 0 for
//                                  none; CONNECT: 1 or 0, whether it can be connected
//   menu COMMAND ENABLED CHECKED TEXT
//                                  an entry of the menu of the item before it; 1 or 0 twice
//   separator                      in the menu
//   show                           the list is whole
//   message TEXT                   the user is told, and may close the message
//   ping                           the program answers pong
//
// The program says what the user does:
//
//   passbridge-device-explorer VERSION
//                                  before anything else: it is there, and of that version
//   command COMMAND ID             with the item ID selected, which may be gone by now; empty:
//   none.
//                                  Connect is 1010; other commands come from the menus
//   closed                         the dialog was cancelled; nothing follows
//   pong
//
// Which item is selected is the program's affair: it keeps the selection, by its ID, from one list
// to the next.
//
// Either side ends when the connection does.
namespace passbridge::view {

inline constexpr std::string_view kHello = "passbridge-device-explorer";
inline constexpr std::string_view kVersion = "1";
inline constexpr std::string_view kTitle = "title";
inline constexpr std::string_view kButtons = "buttons";
inline constexpr std::string_view kDirection = "direction";
inline constexpr std::string_view kLeftToRight = "ltr";
inline constexpr std::string_view kRightToLeft = "rtl";
inline constexpr std::string_view kFont = "font";
inline constexpr std::string_view kList = "list";
inline constexpr std::string_view kItem = "item";
inline constexpr std::string_view kMenu = "menu";
inline constexpr std::string_view kSeparator = "separator";
inline constexpr std::string_view kShow = "show";
inline constexpr std::string_view kMessage = "message";
inline constexpr std::string_view kPing = "ping";
inline constexpr std::string_view kCommand = "command";
inline constexpr const char* kConnect = "1010";
inline constexpr std::string_view kClosed = "closed";
inline constexpr std::string_view kPong = "pong";

using Fields = std::vector<std::string>;

/// A line with its end.
std::string MakeLine(const std::vector<std::string_view>& fields);
/// The fields of a line without its end; one at least. A backslash that begins none of the three
/// stands for itself.
Fields SplitLine(std::string_view line);

/// Cuts into lines what comes in pieces.
class LineReader {
 public:
  static constexpr std::size_t kLongestLine = 65536;

  /// False once a line is longer than the longest: what comes is no talk of the other side.
  bool Add(std::string_view bytes);
  /// The next whole line.
  std::optional<Fields> Take();

 private:
  std::string buffer_;
  std::size_t begin_ = 0;  // of the next line
  std::size_t searched_ = 0;
};

}  // namespace passbridge::view

#endif  // PASSBRIDGE_UI_POSIX_VIEW_LINES_H_
