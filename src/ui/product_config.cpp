#include "ui/product_config.h"

#include <exception>
#include <filesystem>
#include <fstream>
#include <optional>

#include "j2534/settings.h"
#include "platform/never_destroyed.h"
#include "platform/registry.h"
#include "ui/ini_text.h"
#include "ui/sealed_text.h"

namespace passbridge {

namespace {

constexpr const char* kDefaultLabel = "VCI";

std::optional<std::filesystem::path> ConfigFile() {
  const std::optional<platform::RegistryKey> key = platform::RegistryKey::Open(
      platform::RegistryRoot::Machine, settings::kProductPath, platform::RegistryAccess::Read);
  if (!key) return std::nullopt;
  const std::optional<std::string> folder = key->ReadText(settings::installation::kProductFolder);
  if (!folder || folder->empty()) return std::nullopt;
  const std::u8string utf8(folder->begin(), folder->end());
  return std::filesystem::path(utf8) / "Configuration" / "product_config.ini";
}

/// The bytes of a file; no more than one above what a sealed text can have.
std::string ReadFile(const std::filesystem::path& path) {
  if (!std::filesystem::is_regular_file(path)) return {};  // reading a pipe might never end
  std::ifstream file(path, std::ios::binary);
  std::string bytes(kMaxSealedFile + 1, '\0');
  file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  bytes.resize(static_cast<std::size_t>(file.gcount()));
  return bytes;
}

}  // namespace

std::string ReadDeviceLabel() {
  try {
    const std::optional<std::filesystem::path> path = ConfigFile();
    if (!path) return kDefaultLabel;
    const std::optional<std::string> ini = OpenSealedText(ReadFile(*path));
    const auto label = ini ? IniValue(*ini, "MGR:device_label") : std::nullopt;
    return label && !label->empty() ? *label : kDefaultLabel;
  } catch (const std::exception&) {  // a path that the system cannot take
    return kDefaultLabel;
  }
}

const std::string& DeviceLabel() {
  static platform::NeverDestroyed<std::string> label(ReadDeviceLabel());
  return label.Get();
}

}  // namespace passbridge
