#ifndef PASSBRIDGE_UI_TEXT_FILE_H_
#define PASSBRIDGE_UI_TEXT_FILE_H_

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace passbridge {

/// Texts (UTF-8) by their numbers.
using TextTable = std::map<std::uint32_t, std::string>;

struct ParsedTexts {
  TextTable texts;
  std::vector<std::string> faults;  ///< "line 7: …"; such lines are left out
};

/// Understands a file of resources/texts: lines "number = text", of which blanks at either end
/// don't count; in a text "\s" is a blank, "\n" a line break, "\\" a backslash. Empty lines and
/// those that begin with "#" are passed over. Lines may end as on Windows, and a byte order mark
/// may come first.
ParsedTexts ParseTexts(std::string_view file);

}  // namespace passbridge

#endif  // PASSBRIDGE_UI_TEXT_FILE_H_
