#include "platform/registry.h"

#include <shlwapi.h>
#include <windows.h>

#include <algorithm>
#include <array>
#include <span>

#include "platform/text.h"

namespace passbridge::platform {
namespace {

constexpr std::size_t kMaxKeyName = 255;

HKEY RootHandle(RegistryRoot root) {
  return root == RegistryRoot::Machine ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER;
}

// Paths that name a key below the one they start from: no name in them is empty.
bool IsKeyPath(std::string_view path) {
  return !path.empty() && path.front() != '\\' && path.back() != '\\' &&
         path.find("\\\\") == std::string_view::npos && path.find('\0') == std::string_view::npos;
}

bool IsValueName(std::string_view name) { return name.find('\0') == std::string_view::npos; }

LSTATUS CreateKey(HKEY parent, const std::wstring& path, DWORD options, HKEY& key) {
  return ::RegCreateKeyExW(parent, path.c_str(), 0, nullptr, options, KEY_ALL_ACCESS, nullptr, &key,
                           nullptr);
}

// The order of upper-case spellings.
bool NameLess(const std::wstring& a, const std::wstring& b) {
  return ::CompareStringOrdinal(a.data(), static_cast<int>(a.size()), b.data(),
                                static_cast<int>(b.size()), TRUE) == CSTR_LESS_THAN;
}

}  // namespace

class RegistryKey::Impl {
 public:
  Impl(HKEY key, bool writable) : key_(key), writable_(writable) {}
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;
  ~Impl() { ::RegCloseKey(key_); }

  static std::optional<RegistryKey> Open(HKEY parent, std::string_view path,
                                         RegistryAccess access) {
    if (!IsKeyPath(path)) return std::nullopt;
    const REGSAM rights = access == RegistryAccess::Read ? KEY_READ : KEY_ALL_ACCESS;
    HKEY key = nullptr;
    const LSTATUS status = ::RegOpenKeyExW(parent, WideFromUtf8(path).c_str(), 0, rights, &key);
    return Wrap(status, key, access == RegistryAccess::ReadWrite);
  }

  // The subkeys of a volatile key can only be volatile: they become so without being asked for.
  static std::optional<RegistryKey> Create(HKEY parent, std::string_view path, RegistryLife life) {
    if (!IsKeyPath(path)) return std::nullopt;
    const std::wstring widePath = WideFromUtf8(path);
    const DWORD options =
        life == RegistryLife::Volatile ? REG_OPTION_VOLATILE : REG_OPTION_NON_VOLATILE;
    HKEY key = nullptr;
    LSTATUS status = CreateKey(parent, widePath, options, key);
    if (status == ERROR_CHILD_MUST_BE_VOLATILE) {
      status = CreateKey(parent, widePath, REG_OPTION_VOLATILE, key);
    }
    return Wrap(status, key, true);
  }

  HKEY Handle() const { return key_; }
  // Windows itself lets a key that is open for reading create subkeys.
  bool Writable() const { return writable_; }

  // Reads a value of at most the size of the bytes given; gives the part that it fills.
  std::optional<std::span<std::byte>> Read(std::string_view name, std::span<std::byte> bytes,
                                           DWORD& type) const {
    if (!IsValueName(name)) return std::nullopt;
    auto size = static_cast<DWORD>(bytes.size());
    const LSTATUS status = ::RegQueryValueExW(key_, WideFromUtf8(name).c_str(), nullptr, &type,
                                              reinterpret_cast<BYTE*>(bytes.data()), &size);
    if (status != ERROR_SUCCESS) return std::nullopt;
    return bytes.first(size);
  }

  bool Write(std::string_view name, DWORD type, const void* bytes, std::size_t size) const {
    return IsValueName(name) && ::RegSetValueExW(key_, WideFromUtf8(name).c_str(), 0, type,
                                                 static_cast<const BYTE*>(bytes),
                                                 static_cast<DWORD>(size)) == ERROR_SUCCESS;
  }

 private:
  static std::optional<RegistryKey> Wrap(LSTATUS status, HKEY key, bool writable) {
    if (status != ERROR_SUCCESS) return std::nullopt;
    return RegistryKey(std::make_unique<Impl>(key, writable));
  }

  HKEY key_;
  bool writable_;
};

RegistryKey::RegistryKey(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
RegistryKey::RegistryKey(RegistryKey&&) noexcept = default;
RegistryKey& RegistryKey::operator=(RegistryKey&&) noexcept = default;
RegistryKey::~RegistryKey() = default;

std::optional<RegistryKey> RegistryKey::Open(RegistryRoot root, std::string_view path,
                                             RegistryAccess access) {
  return Impl::Open(RootHandle(root), path, access);
}

std::optional<RegistryKey> RegistryKey::Create(RegistryRoot root, std::string_view path,
                                               RegistryLife life) {
  if (root == RegistryRoot::Machine && life == RegistryLife::Volatile) return std::nullopt;
  return Impl::Create(RootHandle(root), path, life);
}

std::optional<RegistryKey> RegistryKey::OpenSubkey(std::string_view path,
                                                   RegistryAccess access) const {
  return Impl::Open(impl_->Handle(), path, access);
}

std::optional<RegistryKey> RegistryKey::CreateSubkey(std::string_view path) {
  if (!impl_->Writable()) return std::nullopt;
  return Impl::Create(impl_->Handle(), path, RegistryLife::Persistent);
}

std::vector<std::string> RegistryKey::SubkeyNames() const {
  std::vector<std::wstring> wideNames;
  std::array<wchar_t, kMaxKeyName + 1> name;
  for (DWORD index = 0;; ++index) {
    auto length = static_cast<DWORD>(name.size());
    const LSTATUS status = ::RegEnumKeyExW(impl_->Handle(), index, name.data(), &length, nullptr,
                                           nullptr, nullptr, nullptr);
    if (status != ERROR_SUCCESS) break;
    wideNames.emplace_back(name.data(), length);
  }
  std::sort(wideNames.begin(), wideNames.end(), NameLess);
  std::vector<std::string> names;
  for (const std::wstring& wideName : wideNames) names.push_back(Utf8FromWide(wideName));
  return names;
}

std::optional<std::uint32_t> RegistryKey::ReadDword(std::string_view name) const {
  std::uint32_t number = 0;
  DWORD type = REG_NONE;
  const auto bytes = impl_->Read(name, std::as_writable_bytes(std::span(&number, 1)), type);
  if (!bytes || type != REG_DWORD || bytes->size() != sizeof number) return std::nullopt;
  return number;
}

std::optional<std::string> RegistryKey::ReadText(std::string_view name,
                                                 std::size_t maxLength) const {
  std::wstring text(std::min(maxLength, kMaxRegistryText) + 1, L'\0');
  DWORD type = REG_NONE;
  const auto bytes = impl_->Read(name, std::as_writable_bytes(std::span(text)), type);
  if (!bytes || type != REG_SZ) return std::nullopt;
  text.resize(bytes->size() / sizeof(wchar_t));
  text.resize(std::min(text.find(L'\0'), text.size()));  // stored without a terminator, it has none
  if (text.size() > maxLength) return std::nullopt;
  return Utf8FromWide(text);
}

std::optional<std::uint32_t> RegistryKey::ReadFourBytes(std::string_view name) const {
  std::uint32_t number = 0;
  DWORD type = REG_NONE;
  if (!impl_->Read(name, std::as_writable_bytes(std::span(&number, 1)), type)) return std::nullopt;
  return number;
}

bool RegistryKey::WriteDword(std::string_view name, std::uint32_t value) {
  return impl_->Write(name, REG_DWORD, &value, sizeof value);
}

bool RegistryKey::WriteText(std::string_view name, std::string_view text) {
  if (text.find('\0') != std::string_view::npos) return false;
  const std::wstring wide = WideFromUtf8(text);
  if (wide.size() > kMaxRegistryText) return false;
  return impl_->Write(name, REG_SZ, wide.c_str(), (wide.size() + 1) * sizeof(wchar_t));
}

bool RegistryKey::DeleteValue(std::string_view name) {
  if (!IsValueName(name)) return false;
  const LSTATUS status = ::RegDeleteValueW(impl_->Handle(), WideFromUtf8(name).c_str());
  return status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND;
}

bool DeleteRegistryTree(RegistryRoot root, std::string_view path) {
  if (!IsKeyPath(path)) return false;
  const auto status =
      static_cast<LSTATUS>(::SHDeleteKeyW(RootHandle(root), WideFromUtf8(path).c_str()));
  return status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND;
}

}  // namespace passbridge::platform
