#include "platform/version_resource.h"

#include <windows.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <vector>

#include "platform/windows/own_module.h"

namespace passbridge::platform {
namespace {

struct Translation {
  WORD language;
  WORD codePage;
};

std::vector<std::byte> ReadVersionInfo(const std::wstring& path) {
  DWORD ignored = 0;
  std::vector<std::byte> info(::GetFileVersionInfoSizeW(path.c_str(), &ignored));
  if (!info.empty() &&
      !::GetFileVersionInfoW(path.c_str(), 0, static_cast<DWORD>(info.size()), info.data())) {
    info.clear();
  }
  return info;
}

}  // namespace

std::optional<std::string> ProductVersion() {
  const std::vector<std::byte> info = ReadVersionInfo(OwnModuleWidePath());
  if (info.empty()) return std::nullopt;
  void* data = nullptr;
  UINT size = 0;
  if (!::VerQueryValueA(info.data(), "\\VarFileInfo\\Translation", &data, &size) ||
      size < sizeof(Translation)) {
    return std::nullopt;
  }
  const Translation translation = *static_cast<const Translation*>(data);
  char name[64];
  std::snprintf(name, sizeof name, "\\StringFileInfo\\%04x%04x\\ProductVersion",
                static_cast<unsigned>(translation.language),
                static_cast<unsigned>(translation.codePage));
  if (!::VerQueryValueA(info.data(), name, &data, &size) || size == 0) return std::nullopt;
  std::string text(static_cast<const char*>(data), size);
  text.resize(std::min(text.find('\0'), text.size()));
  return text;
}

}  // namespace passbridge::platform
