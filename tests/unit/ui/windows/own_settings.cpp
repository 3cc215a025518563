#include "own_settings.h"

#include <windows.h>

#include <cstdlib>
#include <string>

namespace passbridge::test {

namespace {

void Redirect(HKEY root, const std::string& path) {
  HKEY key = nullptr;
  if (::RegCreateKeyExA(HKEY_CURRENT_USER, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                        &key, nullptr) != ERROR_SUCCESS ||
      ::RegOverridePredefKey(root, key) != ERROR_SUCCESS) {
    std::abort();
  }
  ::RegCloseKey(key);
}

}  // namespace

OwnSettings::OwnSettings() {
  Redirect(HKEY_LOCAL_MACHINE, sandbox_.Key() + "\\machine");
  Redirect(HKEY_CURRENT_USER, sandbox_.Key() + "\\user");
}

OwnSettings::~OwnSettings() {
  ::RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
  ::RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
}

}  // namespace passbridge::test
