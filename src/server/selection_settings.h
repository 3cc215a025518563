#ifndef PASSBRIDGE_SERVER_SELECTION_SETTINGS_H_
#define PASSBRIDGE_SERVER_SELECTION_SETTINGS_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "j2534/settings.h"
#include "platform/registry.h"

/// The settings by which a VCI is chosen. Each has installation defaults below the machine's key
/// and a copy of the user's; a "Version" in both tells which is newer. Loading takes the user's
/// copy unless the defaults are newer: then they replace it, once. Values that are missing read as
/// 0.
namespace passbridge {

/// What the settings have in common: where they lie, and which of the two copies is taken.
class VersionedSetting {
 public:
  /// Reads the setting; what it held before is gone, whatever the outcome.
  void Load();
  /// Writes the setting into a key that is open for writing. False if something could not be
  /// written.
  bool Save(platform::RegistryKey& key) const;
  /// Writes the setting into the user's copy.
  bool SaveForUser() const;

 protected:
  explicit VersionedSetting(const char* name) : name_(name) {}
  VersionedSetting(const VersionedSetting&) = default;
  VersionedSetting& operator=(const VersionedSetting&) = default;
  ~VersionedSetting() = default;

  virtual void Clear() = 0;
  virtual void ReadValues(const platform::RegistryKey& source) = 0;
  virtual bool WriteValues(platform::RegistryKey& key) const = 0;

 private:
  const char* name_;
  std::uint32_t version_ = 0;
};

/// The VCI that the user prefers to all others.
class DefaultDeviceSettings : public VersionedSetting {
 public:
  DefaultDeviceSettings() : VersionedSetting(settings::default_device::kKey) {}

  /// 0: none.
  std::uint32_t SerialNumber() const { return serialNumber_; }
  void SetSerialNumber(std::uint32_t serialNumber) { serialNumber_ = serialNumber; }

 private:
  void Clear() override { serialNumber_ = 0; }
  void ReadValues(const platform::RegistryKey& source) override;
  bool WriteValues(platform::RegistryKey& key) const override;

  std::uint32_t serialNumber_ = 0;
};

/// A list whose entries lie in subkeys, the stem and a two-digit index each ("Connection00"). An
/// entry whose subkey is missing between others reads as zero; other subkeys are passed over.
template <typename Entry, std::size_t Capacity>
class SubkeyList : public VersionedSetting {
 public:
  /// Entries in the list, `Capacity` at most.
  std::size_t Count() const { return count_; }

 protected:
  SubkeyList(const char* name, const char* stem) : VersionedSetting(name), stem_(stem) {}
  ~SubkeyList() = default;

  std::array<Entry, Capacity> entries_{};
  std::size_t count_ = 0;

 private:
  virtual Entry ReadEntry(const platform::RegistryKey& key) const = 0;
  virtual bool WriteEntry(platform::RegistryKey& key, const Entry& entry) const = 0;

  void Clear() override {
    entries_.fill(Entry{});
    count_ = 0;
  }
  void ReadValues(const platform::RegistryKey& source) override;
  bool WriteValues(platform::RegistryKey& key) const override;

  const char* stem_;
};

struct OrderEntry {
  std::uint32_t number = 0;
  std::uint32_t enabled = 0;  ///< 1: enabled; anything else: not
};

/// An order of preference: the strategies by which a VCI is chosen, or the interfaces over which a
/// VCI is reached.
class OrderList : public SubkeyList<OrderEntry, 10> {
 public:
  static OrderList AutoConnectionOrder() {
    return {settings::auto_connection_order::kKey, settings::auto_connection_order::kEntryStem};
  }
  static OrderList InterfaceTypeOrder() {
    return {settings::interface_type_order::kKey, settings::interface_type_order::kEntryStem};
  }

  // An index beyond the list gives 0, and sets nothing.
  std::uint32_t Number(std::size_t index) const;
  std::uint32_t Enabled(std::size_t index) const;
  void SetEnabled(std::size_t index, std::uint32_t value);

 private:
  OrderList(const char* name, const char* stem) : SubkeyList(name, stem) {}

  OrderEntry ReadEntry(const platform::RegistryKey& key) const override;
  bool WriteEntry(platform::RegistryKey& key, const OrderEntry& entry) const override;
};

/// The VCIs that the user has marked as preferred.
class PreferredDevicesSettings : public SubkeyList<std::uint32_t, 20> {
 public:
  PreferredDevicesSettings()
      : SubkeyList(settings::preferred_devices::kKey, settings::preferred_devices::kEntryStem) {}

  bool Contains(std::uint32_t serialNumber) const;

 private:
  std::uint32_t ReadEntry(const platform::RegistryKey& key) const override;
  bool WriteEntry(platform::RegistryKey& key, const std::uint32_t& entry) const override;
};

}  // namespace passbridge

#endif  // PASSBRIDGE_SERVER_SELECTION_SETTINGS_H_
