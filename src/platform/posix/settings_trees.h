#ifndef PASSBRIDGE_PLATFORM_POSIX_SETTINGS_TREES_H_
#define PASSBRIDGE_PLATFORM_POSIX_SETTINGS_TREES_H_

#include <optional>
#include <vector>

#include "platform/posix/settings_folder.h"

namespace passbridge::platform {

// Where settings live, from the environment of the XDG base directories. A program that runs with
// more rights than its caller gets the defaults: its caller must not choose its settings.

// The machine's, those of the administrator first: $XDG_CONFIG_DIRS, else /etc/xdg.
std::vector<SettingsTree> MachineTrees();
// The user's lasting ones: $XDG_CONFIG_HOME, else ~/.config.
std::optional<SettingsTree> UserTree();
// Those that end with the login: $XDG_RUNTIME_DIR, else a private folder below /tmp, which is made
// if missing. Nothing if that one belongs to somebody else.
std::optional<SettingsTree> VolatileTree();

}  // namespace passbridge::platform

#endif  // PASSBRIDGE_PLATFORM_POSIX_SETTINGS_TREES_H_
