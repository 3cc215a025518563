#include "commands/connection_options.h"

#include <algorithm>
#include <array>

#include "client/library.h"

namespace passbridge::tool {
namespace {

// As users write them, in the order in which they are tried unless the user gives another.
constexpr std::array kInterfaces{"usb", "ethernet", "wireless", "bluetooth", "local"};
constexpr const char* kGroup = "Device";

std::string ToUpper(std::string text) {
  for (char& c : text) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return text;
}

std::string AllInterfaces(const std::string& separator, const std::string& last) {
  std::string text = kInterfaces[0];
  for (std::size_t i = 1; i < kInterfaces.size(); ++i) {
    text += (i + 1 < kInterfaces.size() ? separator : last) + kInterfaces[i];
  }
  return text;
}

// Each name must be one that a VCI can have.
std::string CheckInterfaces(const std::string& text) {
  for (const auto& name : CLI::detail::split(text, ',')) {
    const bool known = std::any_of(kInterfaces.begin(), kInterfaces.end(), [&](const char* each) {
      return ToUpper(each) == ToUpper(name);
    });
    if (!known) {
      return "\"" + name + "\" is no interface: use " + AllInterfaces(", ", " or ");
    }
  }
  return {};
}

std::string CheckSerial(const std::string& text) {
  const bool digits = !text.empty() && std::all_of(text.begin(), text.end(),
                                                   [](char c) { return c >= '0' && c <= '9'; });
  return digits ? std::string() : "\"" + text + "\" is no serial number: use decimal digits";
}

}  // namespace

void AddConnectionOptions(CLI::App& root, ConnectionOptions& options) {
  root.add_option("-l,--library", options.library,
                  "J2534 library to load (default: the Passbridge library of this installation)")
      ->envname("PASSBRIDGE_LIBRARY")
      ->type_name("FILE")
      ->group(kGroup);
  root.add_flag("--fields32", options.fields32,
                "the library's structures have 32-bit fields (known if its name ends in _u32)")
      ->group(kGroup);
  root.add_flag("--virtual", options.virtualVci,
                "use the virtual VCI that came with the tool, whatever the settings say")
      ->group(kGroup);
  auto* const device =
      root.add_option("-d,--device", options.device,
                      "device name, given to the library as it is (default: none, the library "
                      "chooses)")
          ->type_name("NAME")
          ->group(kGroup);
  auto* const serial = root.add_option("-s,--serial", options.serial, "serial number of the VCI")
                           ->check(CLI::Validator(CheckSerial, ""))
                           ->type_name("NUMBER")
                           ->excludes(device)
                           ->group(kGroup);
  root.add_option("-i,--interface", options.interfaces,
                  "interfaces to reach it over, first choice first: " + AllInterfaces(", ", ", ") +
                      " (default: any)")
      ->check(CLI::Validator(CheckInterfaces, ""))
      ->type_name("LIST")
      ->needs(serial)
      ->group(kGroup);
}

std::optional<std::string> DeviceName(const ConnectionOptions& options) {
  if (!options.device.empty()) return options.device;
  if (options.serial.empty()) return std::nullopt;
  const std::string interfaces =
      options.interfaces.empty() ? AllInterfaces(",", ",") : options.interfaces;
  return "J2534-2:SN='" + options.serial + "' CXN='" + ToUpper(interfaces) + "'";
}

std::string LibraryToLoad(const ConnectionOptions& options) {
  return options.library.empty() ? DefaultLibrary() : options.library;
}

std::unique_ptr<J2534Api> LoadLibraryOf(const ConnectionOptions& options) {
  const std::string library = LibraryToLoad(options);
  return LoadJ2534Library(library, options.fields32 || NamesFields32(library));
}

}  // namespace passbridge::tool
