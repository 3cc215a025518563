#include "platform/registry.h"

#include <algorithm>
#include <map>

#include "platform/posix/settings_folder.h"
#include "platform/posix/settings_trees.h"
#include "platform/posix/settings_value.h"

namespace passbridge::platform {
namespace {

// The trees that reading looks into, best first.
std::vector<SettingsTree> TreesOf(RegistryRoot root) {
  if (root == RegistryRoot::Machine) return MachineTrees();
  std::vector<SettingsTree> trees;
  if (auto tree = UserTree()) trees.push_back(std::move(*tree));
  if (auto tree = VolatileTree()) trees.push_back(std::move(*tree));
  return trees;
}

// The trees that may take a new key, best first.
std::vector<SettingsTree> TreesFor(RegistryRoot root, RegistryLife life) {
  if (root == RegistryRoot::Machine) {
    return life == RegistryLife::Persistent ? MachineTrees() : std::vector<SettingsTree>();
  }
  const auto tree = life == RegistryLife::Persistent ? UserTree() : VolatileTree();
  return tree ? std::vector{*tree} : std::vector<SettingsTree>();
}

std::vector<SettingsFolder> FoldersOf(RegistryRoot root, const std::vector<std::string>& names) {
  std::vector<SettingsFolder> folders;
  for (const SettingsTree& tree : TreesOf(root)) {
    if (auto folder = FindKeyFolder(tree, names)) folders.push_back(std::move(*folder));
  }
  return folders;
}

}  // namespace

class RegistryKey::Impl {
 public:
  RegistryRoot root;
  std::string path;
  RegistryLife life;
  // Where the key exists, best first; of a writable key, the first is the one that is written to.
  std::vector<SettingsFolder> folders;
  bool writable;

  // The best value of this name that `Pick` accepts (turns into a non-empty optional).
  template <typename Picker>
  auto Read(std::string_view name, Picker pick) const
      -> decltype(pick(std::declval<SettingsValue&>())) {
    for (const SettingsFolder& folder : folders) {
      const auto content = ReadValueFile(folder, name);
      auto value = content ? ParseSettingsValue(*content) : std::nullopt;
      if (!value) continue;
      if (auto picked = pick(*value)) return picked;
    }
    return std::nullopt;
  }

  bool Write(std::string_view name, const SettingsValue& value) const {
    return writable && WriteValueFile(folders.front(), name, FormatSettingsValue(value));
  }
};

RegistryKey::RegistryKey(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
RegistryKey::RegistryKey(RegistryKey&&) noexcept = default;
RegistryKey& RegistryKey::operator=(RegistryKey&&) noexcept = default;
RegistryKey::~RegistryKey() = default;

std::optional<RegistryKey> RegistryKey::Open(RegistryRoot root, std::string_view path,
                                             RegistryAccess access) {
  const auto names = SplitKeyPath(path);
  if (names.empty()) return std::nullopt;
  auto folders = FoldersOf(root, names);
  if (folders.empty()) return std::nullopt;
  const bool writable = access == RegistryAccess::ReadWrite;
  if (writable) {
    const auto best = std::find_if(folders.begin(), folders.end(), IsWritableFolder);
    if (best == folders.end()) return std::nullopt;
    std::rotate(folders.begin(), best, best + 1);
  }
  const auto life =
      folders.front().tree.durable ? RegistryLife::Persistent : RegistryLife::Volatile;
  return RegistryKey(
      std::make_unique<Impl>(Impl{root, std::string(path), life, std::move(folders), writable}));
}

std::optional<RegistryKey> RegistryKey::Create(RegistryRoot root, std::string_view path,
                                               RegistryLife life) {
  const auto names = SplitKeyPath(path);
  if (names.empty()) return std::nullopt;
  for (const SettingsTree& tree : TreesFor(root, life)) {
    auto made = MakeKeyFolder(tree, names);
    if (!made) continue;
    auto folders = FoldersOf(root, names);
    std::erase_if(folders, [&](const SettingsFolder& f) { return f.path == made->path; });
    folders.insert(folders.begin(), std::move(*made));
    return RegistryKey(
        std::make_unique<Impl>(Impl{root, std::string(path), life, std::move(folders), true}));
  }
  return std::nullopt;
}

std::optional<RegistryKey> RegistryKey::OpenSubkey(std::string_view path,
                                                   RegistryAccess access) const {
  return Open(impl_->root, impl_->path + "\\" + std::string(path), access);
}

std::optional<RegistryKey> RegistryKey::CreateSubkey(std::string_view path) {
  if (!impl_->writable) return std::nullopt;
  return Create(impl_->root, impl_->path + "\\" + std::string(path), impl_->life);
}

std::vector<std::string> RegistryKey::SubkeyNames() const {
  std::map<std::string, std::string> byFolded;
  for (const SettingsFolder& folder : impl_->folders) {
    for (std::string& name : SubkeysOf(folder)) byFolded.emplace(Folded(name), std::move(name));
  }
  std::vector<std::string> names;
  for (auto& entry : byFolded) names.push_back(std::move(entry.second));
  return names;
}

std::optional<std::uint32_t> RegistryKey::ReadDword(std::string_view name) const {
  return impl_->Read(name, [](const SettingsValue& value) -> std::optional<std::uint32_t> {
    const auto* const number = std::get_if<std::uint32_t>(&value);
    return number != nullptr ? std::optional(*number) : std::nullopt;
  });
}

std::optional<std::string> RegistryKey::ReadText(std::string_view name,
                                                 std::size_t maxLength) const {
  return impl_->Read(name, [maxLength](SettingsValue& value) -> std::optional<std::string> {
    auto* const text = std::get_if<std::string>(&value);
    if (text == nullptr || Utf16Length(*text) > maxLength) return std::nullopt;
    return std::move(*text);
  });
}

std::optional<std::uint32_t> RegistryKey::ReadFourBytes(std::string_view name) const {
  return impl_->Read(name, FirstFourBytes);
}

bool RegistryKey::WriteDword(std::string_view name, std::uint32_t value) {
  return impl_->Write(name, value);
}

bool RegistryKey::WriteText(std::string_view name, std::string_view text) {
  return text.find('\0') == std::string_view::npos && Utf16Length(text) <= kMaxRegistryText &&
         impl_->Write(name, std::string(text));
}

bool RegistryKey::DeleteValue(std::string_view name) {
  if (!impl_->writable) return false;
  bool gone = true;
  for (const SettingsFolder& folder : impl_->folders) gone &= RemoveValueFile(folder, name);
  return gone;
}

bool DeleteRegistryTree(RegistryRoot root, std::string_view path) {
  const auto names = SplitKeyPath(path);
  if (names.empty()) return false;
  bool gone = true;
  for (const SettingsTree& tree : TreesOf(root)) gone &= RemoveKeyFolder(tree, names);
  return gone;
}

}  // namespace passbridge::platform
