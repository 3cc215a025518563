#include "commands/tool.h"

#include <CLI/CLI.hpp>
#include <exception>
#include <optional>
#include <string>
#include <vector>

#include "client/library.h"
#include "commands/commands.h"
#include "commands/connection_options.h"
#include "platform/platform.h"
#include "version_info.h"

namespace passbridge::tool {
namespace {

constexpr const char* kToolFooter =
    "Examples:\n"
    "  passbridge --virtual monitor             no hardware needed: a simulated bus\n"
    "  passbridge info --serial 4711 --interface usb\n"
    "  passbridge explorer                      choose a VCI in a dialog\n"
    "  passbridge monitor --seconds 10\n"
    "  passbridge send 7E0#02010C --expect 7E8\n"
    "  passbridge obd engine-speed coolant\n"
    "  passbridge --library /opt/vendor/libj2534.so info\n"
    "\"passbridge COMMAND --help\" tells more of a command; the options above go before or after\n"
    "it. Exit status: 0 success, 1 failure, above 100 wrong usage.\n";

class Tool {
 public:
  Tool() {
    app_.name("passbridge");
    app_.footer(kToolFooter);
    app_.set_version_flag("--version", std::string("passbridge ") + kProductVersion);
    app_.require_subcommand(1);
    app_.fallthrough();
    AddConnectionOptions(app_, connection_);
    for (const auto add : kCommands) commands_.push_back(add(app_));
  }

  int Run(int argc, const char* const* argv, Console& console) {
    try {
      app_.parse(argc, argv);
    } catch (const CLI::RequiredError& error) {
      // Without this, a mistyped command only counts as a missing one.
      if (app_.get_subcommands().empty() && !app_.remaining().empty()) {
        console.err << "\"" << app_.remaining().front() << "\" is no command\n";
      }
      return app_.exit(error, console.out, console.err);
    } catch (const CLI::ParseError& error) {
      return app_.exit(error, console.out, console.err);
    }
    for (const Command& command : commands_) {
      if (*command.app && command.runAlone) return command.runAlone(console);
    }
    std::optional<VirtualVciSettings> settings;
    if (connection_.virtualVci) settings.emplace(FindVirtualVci());
    const auto api = LoadLibraryOf(connection_);
    const Target target{*api, LibraryToLoad(connection_), DeviceName(connection_),
                        connection_.virtualVci};
    for (const Command& command : commands_) {
      if (*command.app) return command.run(target, console);
    }
    return kExitFailure;
  }

 private:
  CLI::App app_{"Talk to vehicles through a J2534 PassThru library."};
  ConnectionOptions connection_;
  std::vector<Command> commands_;
};

}  // namespace

int RunTool(int argc, const char* const* argv, Console& console) {
  try {
    return Tool().Run(argc, argv, console);
  } catch (const std::exception& error) {
    console.err << "passbridge: " << error.what() << '\n';
    return kExitFailure;
  }
}

}  // namespace passbridge::tool
