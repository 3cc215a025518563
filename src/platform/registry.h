#ifndef PASSBRIDGE_PLATFORM_REGISTRY_H_
#define PASSBRIDGE_PLATFORM_REGISTRY_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace passbridge::platform {

// Settings in keys (folders) with values, below two roots.
//
// A key is named by its path below the root, "SOFTWARE\\Maker\\Product". Texts are UTF-8. Names of
// keys and values are looked up without regard to case and keep the spelling that they were created
// with. Nothing here throws but std::bad_alloc; failures are an empty optional or false.
//
// Windows: HKEY_LOCAL_MACHINE and HKEY_CURRENT_USER.
// Linux: a folder per key and a small text file per value, machine keys below
// $XDG_CONFIG_DIRS/passbridge, user keys below $XDG_CONFIG_HOME/passbridge (volatile ones below
// $XDG_RUNTIME_DIR/passbridge); the environment is read on each use. A value is replaced as a
// whole: who reads at the same time or after a crash finds the old value or the new one.
enum class RegistryRoot { Machine, User };

enum class RegistryAccess { Read, ReadWrite };

// A volatile key ends with the user's login; only user keys can be volatile. A subkey of a volatile
// key is volatile. Windows: a key that exists keeps its life, and the keys created on the way to a
// volatile key are volatile. Linux: the lives are two trees; reading looks into both.
enum class RegistryLife { Persistent, Volatile };

// The longest text that ReadText takes unless it is told another length.
inline constexpr std::size_t kMaxRegistryText = 32767;

// An open key. Movable; closed by its destructor. Any thread may use it, one at a time.
class RegistryKey {
 public:
  // Opens an existing key.
  static std::optional<RegistryKey> Open(RegistryRoot root, std::string_view path,
                                         RegistryAccess access);
  // Opens a key for reading and writing; creates it, and the keys on the way to it, if missing.
  static std::optional<RegistryKey> Create(RegistryRoot root, std::string_view path,
                                           RegistryLife life = RegistryLife::Persistent);

  RegistryKey(RegistryKey&&) noexcept;
  RegistryKey& operator=(RegistryKey&&) noexcept;
  ~RegistryKey();

  // The same relative to this key; CreateSubkey needs a key open for writing.
  std::optional<RegistryKey> OpenSubkey(std::string_view path, RegistryAccess access) const;
  std::optional<RegistryKey> CreateSubkey(std::string_view path);

  // The names of the direct subkeys, in the order of their upper-case spelling.
  std::vector<std::string> SubkeyNames() const;

  // The value, if there is one of that type and form. A text longer than `maxLength` UTF-16 units,
  // the terminator not counted, is none.
  std::optional<std::uint32_t> ReadDword(std::string_view name) const;
  std::optional<std::string> ReadText(std::string_view name,
                                      std::size_t maxLength = kMaxRegistryText) const;
  // The bytes of a value of any type as a little-endian number (a text as UTF-16 with its
  // terminator). A value of more than four bytes is none.
  std::optional<std::uint32_t> ReadFourBytes(std::string_view name) const;

  // Set or replace a value, whatever type it had. A text that holds a zero byte or is longer
  // than kMaxRegistryText UTF-16 units is refused.
  bool WriteDword(std::string_view name, std::uint32_t value);
  bool WriteText(std::string_view name, std::string_view text);

  // True if the value is gone, also if there was none.
  bool DeleteValue(std::string_view name);

 private:
  class Impl;
  explicit RegistryKey(std::unique_ptr<Impl> impl);

  std::unique_ptr<Impl> impl_;  // never null, but after a move
};

// Deletes a key with everything below it, in all its lives. True if it is gone, also if there was
// none. Keys in the tree that are open must be opened anew. The root itself is refused.
bool DeleteRegistryTree(RegistryRoot root, std::string_view path);

}  // namespace passbridge::platform

#endif  // PASSBRIDGE_PLATFORM_REGISTRY_H_
