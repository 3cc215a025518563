// The options that say which library to load and which device to open.
#ifndef PASSBRIDGE_TOOLS_COMMANDS_CONNECTION_OPTIONS_H_
#define PASSBRIDGE_TOOLS_COMMANDS_CONNECTION_OPTIONS_H_

#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <string>

#include "client/j2534_api.h"

namespace passbridge::tool {

struct ConnectionOptions {
  std::string library;  // empty: the default
  bool fields32 = false;
  bool virtualVci = false;
  std::string device;
  std::string serial;
  std::string interfaces;
};

void AddConnectionOptions(CLI::App& root, ConnectionOptions& options);

// The pName of PassThruOpen: --device as it is, or the J2534-2 name that --serial and --interface
// make, such as J2534-2:SN='4711' CXN='USB'. Nothing if none of them is given.
std::optional<std::string> DeviceName(const ConnectionOptions& options);

// The library to load: the one named, or the default.
std::string LibraryToLoad(const ConnectionOptions& options);

// Throws std::runtime_error with a text for the user.
std::unique_ptr<J2534Api> LoadLibraryOf(const ConnectionOptions& options);

}  // namespace passbridge::tool

#endif  // PASSBRIDGE_TOOLS_COMMANDS_CONNECTION_OPTIONS_H_
