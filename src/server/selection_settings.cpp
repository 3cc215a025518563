#include "server/selection_settings.h"

#include <algorithm>
#include <cstdio>
#include <optional>
#include <string_view>

#include "server/device_info_list.h"

namespace passbridge {

namespace {

using platform::RegistryAccess;
using platform::RegistryKey;
using platform::RegistryRoot;

using settings::PathOf;

std::string DefaultsPathOf(std::string_view name) {
  return PathOf(settings::kDefaultsPrefix).append(name);
}

std::uint32_t Read(const std::optional<RegistryKey>& key, std::string_view name) {
  return key ? key->ReadDword(name).value_or(0) : 0;
}

/// "Connection" and 3 give "Connection03".
std::string EntryKey(const char* stem, std::size_t index) {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%s%02d", stem, static_cast<int>(index));
  return text.data();
}

char UpperCase(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

/// What follows the stem in the name of an entry's subkey; empty if it is not one.
std::string_view EntryDigits(std::string_view name, std::string_view stem) {
  if (name.size() <= stem.size()) return {};
  const std::string_view digits = name.substr(stem.size());
  const bool hasStem = std::equal(stem.begin(), stem.end(), name.begin(), [](char a, char b) {
    return UpperCase(a) == UpperCase(b);  // as keys are looked up
  });
  const bool hasNumber = digits.find_first_not_of("0123456789") == std::string_view::npos;
  return hasStem && hasNumber ? digits : std::string_view();
}

}  // namespace

void VersionedSetting::Load() {
  const std::optional<RegistryKey> defaults =
      RegistryKey::Open(RegistryRoot::Machine, DefaultsPathOf(name_), RegistryAccess::Read);
  const std::string userPath = PathOf(name_);
  std::optional<RegistryKey> user = RegistryKey::Create(RegistryRoot::User, userPath);
  const bool defaultsAreNewer = Read(defaults, settings::kVersion) > Read(user, settings::kVersion);
  const std::optional<RegistryKey>& source = defaultsAreNewer ? defaults : user;
  Clear();
  version_ = Read(source, settings::kVersion);
  if (source) ReadValues(*source);
  if (!defaultsAreNewer) return;
  user.reset();
  platform::DeleteRegistryTree(RegistryRoot::User, userPath);
  SaveForUser();
}

bool VersionedSetting::Save(RegistryKey& key) const {
  const bool written = WriteValues(key);
  return key.WriteDword(settings::kVersion, version_) && written;
}

bool VersionedSetting::SaveForUser() const {
  std::optional<RegistryKey> key = RegistryKey::Create(RegistryRoot::User, PathOf(name_));
  return key && Save(*key);
}

void DefaultDeviceSettings::ReadValues(const RegistryKey& source) {
  serialNumber_ = source.ReadDword(settings::default_device::kSerialNumber).value_or(0);
}

bool DefaultDeviceSettings::WriteValues(RegistryKey& key) const {
  return key.WriteDword(settings::default_device::kSerialNumber, serialNumber_);
}

template <typename Entry, std::size_t Capacity>
void SubkeyList<Entry, Capacity>::ReadValues(const RegistryKey& source) {
  for (const std::string& name : source.SubkeyNames()) {
    const std::string_view digits = EntryDigits(name, stem_);
    if (digits.empty()) continue;
    count_ = std::min(count_ + 1, Capacity);
    const std::size_t index = ParseDecimal(digits);
    const std::optional<RegistryKey> key = source.OpenSubkey(name, RegistryAccess::Read);
    if (index < Capacity && key) entries_[index] = ReadEntry(*key);
  }
}

template <typename Entry, std::size_t Capacity>
bool SubkeyList<Entry, Capacity>::WriteValues(RegistryKey& key) const {
  bool written = true;
  for (std::size_t i = 0; i < count_; ++i) {
    std::optional<RegistryKey> entry = key.CreateSubkey(EntryKey(stem_, i));
    written = entry && WriteEntry(*entry, entries_[i]) && written;
  }
  return written;
}

template class SubkeyList<OrderEntry, 10>;
template class SubkeyList<std::uint32_t, 20>;

std::uint32_t OrderList::Number(std::size_t index) const {
  return index < count_ ? entries_[index].number : 0;
}

std::uint32_t OrderList::Enabled(std::size_t index) const {
  return index < count_ ? entries_[index].enabled : 0;
}

void OrderList::SetEnabled(std::size_t index, std::uint32_t value) {
  if (index < count_) entries_[index].enabled = value;
}

OrderEntry OrderList::ReadEntry(const RegistryKey& key) const {
  return {key.ReadDword(settings::order_entry::kNumber).value_or(0),
          key.ReadDword(settings::order_entry::kEnabled).value_or(0)};
}

bool OrderList::WriteEntry(RegistryKey& key, const OrderEntry& entry) const {
  const bool written = key.WriteDword(settings::order_entry::kNumber, entry.number);
  return key.WriteDword(settings::order_entry::kEnabled, entry.enabled) && written;
}

bool PreferredDevicesSettings::Contains(std::uint32_t serialNumber) const {
  const auto* const end = entries_.begin() + count_;
  return std::find(entries_.begin(), end, serialNumber) != end;
}

std::uint32_t PreferredDevicesSettings::ReadEntry(const RegistryKey& key) const {
  return key.ReadDword(settings::preferred_devices::kSerialNumber).value_or(0);
}

bool PreferredDevicesSettings::WriteEntry(RegistryKey& key, const std::uint32_t& entry) const {
  return key.WriteDword(settings::preferred_devices::kSerialNumber, entry);
}

}  // namespace passbridge
