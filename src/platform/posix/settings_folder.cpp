#include "platform/posix/settings_folder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include "platform/posix/file_descriptor.h"

namespace passbridge::platform {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kNewFile = ".new-XXXXXX";
constexpr std::string_view kDeletedFolder = ".deleted-";
// The longest text, each unit of it in three bytes, fits.
constexpr std::size_t kMaxFileSize = std::size_t{128} * 1024;

bool IsKind(const std::string& path, EntryKind kind) {
  struct stat status;
  if (::stat(path.c_str(), &status) != 0) return false;
  return kind == EntryKind::Key ? S_ISDIR(status.st_mode) : S_ISREG(status.st_mode);
}

// The names of all entries of a folder, sorted; none if it cannot be read.
std::vector<std::string> EntriesOf(const std::string& folder) {
  std::vector<std::string> names;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error); !error && entry != fs::directory_iterator();
       entry.increment(error)) {
    names.push_back(entry->path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

void SyncFolder(const std::string& path) {
  const FileDescriptor folder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder) ::fsync(folder.Number());
}

bool MakeFolder(const std::string& path, const SettingsTree& tree) {
  if (::mkdir(path.c_str(), tree.folderMode) != 0) return errno == EEXIST;
  if (tree.durable) SyncFolder(fs::path(path).parent_path().string());
  return true;
}

// The base of a tree is made with the folders above it.
bool MakeBase(const SettingsTree& tree) {
  if (IsKind(tree.base, EntryKind::Key)) return true;
  std::string path;
  for (const fs::path& part : fs::path(tree.base).relative_path()) {
    path.append("/").append(part.string());
    if (!IsKind(path, EntryKind::Key) && !MakeFolder(path, tree)) return false;
  }
  return true;
}

bool WriteAll(int file, std::string_view content) {
  while (!content.empty()) {
    const ssize_t written = ::write(file, content.data(), content.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    content.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

// Makes a file of another name with the content. Gives its path; on failure no file is left.
std::optional<std::string> WriteNewFile(const SettingsFolder& folder, std::string_view content) {
  std::string path = folder.path + "/" + std::string(kNewFile);
  const FileDescriptor file(::mkostemp(path.data(), O_CLOEXEC));
  if (!file) return std::nullopt;
  if (WriteAll(file.Number(), content) && ::fchmod(file.Number(), folder.tree.fileMode) == 0 &&
      (!folder.tree.durable || ::fsync(file.Number()) == 0)) {
    return path;
  }
  ::unlink(path.c_str());
  return std::nullopt;
}

// A name for a folder on its way out; it exists already, as an empty folder.
std::optional<std::string> MakeDeletedName(const std::string& parent) {
  std::string path = parent + "/" + std::string(kDeletedFolder) + "XXXXXX";
  return ::mkdtemp(path.data()) != nullptr ? std::optional(path) : std::nullopt;
}

// Clears what this removal, or one that a crash cut short, has put aside.
void RemoveDeletedFolders(const std::string& parent) {
  for (const std::string& name : EntriesOf(parent)) {
    std::error_code ignored;
    if (name.starts_with(kDeletedFolder)) fs::remove_all(parent + "/" + name, ignored);
  }
}

}  // namespace

std::optional<std::string> FindEntry(const std::string& folder, std::string_view name,
                                     EntryKind kind) {
  std::string sameSpelling = folder + "/" + FileNameOf(name, kind);
  if (IsKind(sameSpelling, kind)) return sameSpelling;
  const std::string folded = Folded(name);
  for (const std::string& entry : EntriesOf(folder)) {
    const auto entryName = NameOf(entry, kind);
    if (!entryName || Folded(*entryName) != folded) continue;
    std::string path = folder + "/" + entry;
    if (IsKind(path, kind)) return path;
  }
  return std::nullopt;
}

std::optional<SettingsFolder> FindKeyFolder(const SettingsTree& tree,
                                            const std::vector<std::string>& names) {
  std::optional<std::string> path = tree.base;
  for (const std::string& name : names) {
    path = FindEntry(*path, name, EntryKind::Key);
    if (!path) return std::nullopt;
  }
  return SettingsFolder{*path, tree};
}

std::optional<SettingsFolder> MakeKeyFolder(const SettingsTree& tree,
                                            const std::vector<std::string>& names) {
  if (!MakeBase(tree)) return std::nullopt;
  std::string path = tree.base;
  for (const std::string& name : names) {
    const auto existing = FindEntry(path, name, EntryKind::Key);
    path = existing ? *existing : path + "/" + FileNameOf(name, EntryKind::Key);
    if (!existing && !MakeFolder(path, tree)) return std::nullopt;
  }
  SettingsFolder folder{path, tree};
  return IsWritableFolder(folder) ? std::optional(folder) : std::nullopt;
}

bool IsWritableFolder(const SettingsFolder& folder) {
  return IsKind(folder.path, EntryKind::Key) && ::access(folder.path.c_str(), W_OK | X_OK) == 0;
}

std::vector<std::string> SubkeysOf(const SettingsFolder& folder) {
  std::vector<std::string> names;
  for (const std::string& entry : EntriesOf(folder.path)) {
    const auto name = NameOf(entry, EntryKind::Key);
    if (name && IsKind(folder.path + "/" + entry, EntryKind::Key)) names.push_back(*name);
  }
  return names;
}

std::optional<std::string> ReadValueFile(const SettingsFolder& folder, std::string_view name) {
  const auto path = FindEntry(folder.path, name, EntryKind::Value);
  if (!path) return std::nullopt;
  const FileDescriptor file(::open(path->c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (!file) return std::nullopt;
  std::string content(kMaxFileSize, '\0');
  std::size_t filled = 0;
  while (filled < content.size()) {
    const ssize_t got = ::read(file.Number(), content.data() + filled, content.size() - filled);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return std::nullopt;
    if (got == 0) {
      content.resize(filled);
      return content;
    }
    filled += static_cast<std::size_t>(got);
  }
  return std::nullopt;
}

bool WriteValueFile(const SettingsFolder& folder, std::string_view name, std::string_view content) {
  const auto newFile = WriteNewFile(folder, content);
  if (!newFile) return false;
  const auto existing = FindEntry(folder.path, name, EntryKind::Value);
  const std::string path =
      existing ? *existing : folder.path + "/" + FileNameOf(name, EntryKind::Value);
  if (::rename(newFile->c_str(), path.c_str()) != 0) {
    ::unlink(newFile->c_str());
    return false;
  }
  if (folder.tree.durable) SyncFolder(folder.path);
  return true;
}

bool RemoveValueFile(const SettingsFolder& folder, std::string_view name) {
  while (const auto path = FindEntry(folder.path, name, EntryKind::Value)) {
    if (::unlink(path->c_str()) != 0 && errno != ENOENT) return false;
  }
  if (folder.tree.durable) SyncFolder(folder.path);
  return true;
}

bool RemoveKeyFolder(const SettingsTree& tree, std::vector<std::string> names) {
  const std::string name = names.back();
  names.pop_back();
  const auto parent = FindKeyFolder(tree, names);
  if (!parent) return true;
  while (const auto path = FindEntry(parent->path, name, EntryKind::Key)) {
    const auto aside = MakeDeletedName(parent->path);
    if (!aside) return false;
    if (::rename(path->c_str(), aside->c_str()) != 0 && errno != ENOENT) {
      ::rmdir(aside->c_str());
      return false;
    }
  }
  if (tree.durable) SyncFolder(parent->path);
  RemoveDeletedFolders(parent->path);
  return true;
}

}  // namespace passbridge::platform
