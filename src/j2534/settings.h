#ifndef PASSBRIDGE_J2534_SETTINGS_H_
#define PASSBRIDGE_J2534_SETTINGS_H_

#include <string>
#include <string_view>

/// The keys and values in which the library's settings lie: all that it reads or writes, described
/// in docs/settings.md. Numbers are DWORDs. Installed systems know the names: they never change.
namespace passbridge::settings {

/// The product's own key, below which all others lie.
inline constexpr const char* kProductPath = "SOFTWARE\\QUARN\\QUARN_VCI";

/// The path of a key of this product, for platform::RegistryKey.
inline std::string PathOf(std::string_view key) {
  return std::string(kProductPath).append("\\").append(key);
}

/// Machine, in the product's own key; folders of the installation.
namespace installation {
inline constexpr const char* kProductFolder = "ProductSpecificLocation";  // text: a path
inline constexpr const char* kLibraryFolder = "DLLLocation";              // text: a path
}  // namespace installation

/// Machine; which D-PDU library is loaded.
namespace pdu_api_support {
inline constexpr const char* kKey = "PDU API Support";
inline constexpr const char* kFunctionLibrary = "FunctionLibrary";  // text: a path
}  // namespace pdu_api_support

/// User; the call trace.
namespace monitoring {
inline constexpr const char* kKey = "Monitoring";
inline constexpr const char* kVciLogging = "VCI Logging";  // above 0: on
}  // namespace monitoring

/// What all settings by which a VCI is chosen have in common: a key of the user, one of the same
/// name below the machine's DefaultSettings, and a version in both.
inline constexpr const char* kDefaultsPrefix = "DefaultSettings\\";
inline constexpr const char* kVersion = "Version";

namespace default_device {
inline constexpr const char* kKey = "DefaultDevice";
inline constexpr const char* kSerialNumber = "SerialNumber";
}  // namespace default_device

/// The entries of the lists that follow are in subkeys, stem and two digits: "Connection00".
namespace preferred_devices {
inline constexpr const char* kKey = "PreferredDevices";
inline constexpr const char* kEntryStem = "PreferredDevice";
inline constexpr const char* kSerialNumber = "SerialNumber";
}  // namespace preferred_devices

namespace auto_connection_order {
inline constexpr const char* kKey = "AutoConnectionOrder";
inline constexpr const char* kEntryStem = "Connection";
}  // namespace auto_connection_order

namespace interface_type_order {
inline constexpr const char* kKey = "InterfaceTypeOrder";
inline constexpr const char* kEntryStem = "InterfaceType";
}  // namespace interface_type_order

/// An entry of either order: which strategy or interface, and whether it counts.
namespace order_entry {
inline constexpr const char* kNumber = "Number";
inline constexpr const char* kEnabled = "Enabled";
}  // namespace order_entry

/// User, volatile; what a process opened last. A key for each process, stem and process number.
namespace last_used {
inline constexpr const char* kKeyStem = "LastUsed\\PID_";
inline constexpr const char* kLowDateTime = "LowDateTime";
inline constexpr const char* kHighDateTime = "HighDateTime";
inline constexpr const char* kSerialNumber = "SerialNumber";
inline constexpr const char* kInterfaceType = "InterfaceType";
}  // namespace last_used

}  // namespace passbridge::settings

#endif  // PASSBRIDGE_J2534_SETTINGS_H_
