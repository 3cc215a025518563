#ifndef PASSBRIDGE_PLATFORM_POSIX_SETTINGS_NAMES_H_
#define PASSBRIDGE_PLATFORM_POSIX_SETTINGS_NAMES_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace passbridge::platform {

// How keys and values are named in the file system. A key's folder has the key's name, a value's
// file the value's name and ".value"; the value without a name is "@.value". What a file name
// cannot hold, and ".", "%" and "@", is "%" and two hexadecimal digits. Names that begin with "."
// are files in the making or folders on their way out.

enum class EntryKind { Key, Value };

std::string FileNameOf(std::string_view name, EntryKind kind);
// The name of the key or value that such a file or folder stands for, if it stands for one.
std::optional<std::string> NameOf(std::string_view fileName, EntryKind kind);

// The upper-case spelling: names that share it are the same name.
std::string Folded(std::string_view name);

// The names in a path with backslashes, outermost first; none if one of them is empty.
std::vector<std::string> SplitKeyPath(std::string_view path);

}  // namespace passbridge::platform

#endif  // PASSBRIDGE_PLATFORM_POSIX_SETTINGS_NAMES_H_
