#ifndef PASSBRIDGE_PLATFORM_POSIX_SETTINGS_FOLDER_H_
#define PASSBRIDGE_PLATFORM_POSIX_SETTINGS_FOLDER_H_

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/posix/settings_names.h"

namespace passbridge::platform {

// A tree of settings folders: where it begins, and how its files are made.
struct SettingsTree {
  std::string base;
  bool durable;  // what is written survives a crash of the system
  mode_t folderMode;
  mode_t fileMode;
};

// A folder of a tree. Paths are those of existing folders unless another process removes them.
struct SettingsFolder {
  std::string path;
  SettingsTree tree;
};

// The folder of a key; nothing if it does not exist.
std::optional<SettingsFolder> FindKeyFolder(const SettingsTree& tree,
                                            const std::vector<std::string>& names);
// The same, made with the folders on the way to it if missing; nothing if it cannot be written to.
std::optional<SettingsFolder> MakeKeyFolder(const SettingsTree& tree,
                                            const std::vector<std::string>& names);
bool IsWritableFolder(const SettingsFolder& folder);

// The file or folder of a key or value in a folder: that of the same spelling, else of another.
std::optional<std::string> FindEntry(const std::string& folder, std::string_view name,
                                     EntryKind kind);
// The names of the subkeys.
std::vector<std::string> SubkeysOf(const SettingsFolder& folder);

// The content of a value's file; nothing if there is none or it is unreasonably long.
std::optional<std::string> ReadValueFile(const SettingsFolder& folder, std::string_view name);
// Replaces a value's file as a whole: readers see the old content or the new one, also after a
// crash.
bool WriteValueFile(const SettingsFolder& folder, std::string_view name, std::string_view content);
bool RemoveValueFile(const SettingsFolder& folder, std::string_view name);

// Removes a key with everything below it at one stroke; true if it is gone.
bool RemoveKeyFolder(const SettingsTree& tree, std::vector<std::string> names);

}  // namespace passbridge::platform

#endif  // PASSBRIDGE_PLATFORM_POSIX_SETTINGS_FOLDER_H_
