#include "platform/posix/settings_trees.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>

namespace passbridge::platform {
namespace {

constexpr char kFolder[] = "/passbridge";

SettingsTree PrivateTree(std::string base, bool durable) {
  return {std::move(base), durable, 0700, 0600};
}

// A folder that the environment names; relative paths do not count.
std::string FolderFromEnvironment(const char* variable) {
  const char* const path = ::secure_getenv(variable);
  return path != nullptr && *path == '/' ? path : "";
}

std::string HomeFolder() {
  std::string home = FolderFromEnvironment("HOME");
  if (!home.empty()) return home;
  std::array<char, 4096> buffer;
  passwd entry;
  passwd* found = nullptr;
  ::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found);
  return found != nullptr && found->pw_dir != nullptr && *found->pw_dir == '/' ? found->pw_dir : "";
}

bool IsFolder(const std::string& path) {
  struct stat status;
  return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// Anybody can make a folder of this name first: ours is a real one that only we can enter.
bool IsOurPrivateFolder(const std::string& path) {
  struct stat status;
  return ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
         status.st_uid == ::geteuid() && (status.st_mode & (S_IRWXG | S_IRWXO)) == 0;
}

}  // namespace

std::vector<SettingsTree> MachineTrees() {
  const char* const variable = ::secure_getenv("XDG_CONFIG_DIRS");
  std::string_view folders = variable != nullptr && *variable != '\0' ? variable : "/etc/xdg";
  std::vector<SettingsTree> trees;
  while (!folders.empty()) {
    const std::size_t end = std::min(folders.find(':'), folders.size());
    if (folders.front() == '/') {
      trees.push_back({std::string(folders.substr(0, end)) + kFolder, true, 0755, 0644});
    }
    folders.remove_prefix(std::min(end + 1, folders.size()));
  }
  return trees;
}

std::optional<SettingsTree> UserTree() {
  const std::string folder = FolderFromEnvironment("XDG_CONFIG_HOME");
  if (!folder.empty()) return PrivateTree(folder + kFolder, true);
  const std::string home = HomeFolder();
  if (home.empty()) return std::nullopt;
  return PrivateTree(home + "/.config" + kFolder, true);
}

std::optional<SettingsTree> VolatileTree() {
  const std::string folder = FolderFromEnvironment("XDG_RUNTIME_DIR");
  if (!folder.empty() && IsFolder(folder)) return PrivateTree(folder + kFolder, false);
  const std::string own = "/tmp/passbridge-" + std::to_string(::geteuid());
  ::mkdir(own.c_str(), S_IRWXU);
  if (!IsOurPrivateFolder(own)) return std::nullopt;
  return PrivateTree(own, false);
}

}  // namespace passbridge::platform
