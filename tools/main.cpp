#include <iostream>

#include "commands/tool.h"
#include "platform/platform.h"

int main(int argc, char** argv) {
  const passbridge::tool::StopSignal stop;
  passbridge::tool::Console console{std::cout, std::cerr, [&] { return stop.Requested(); }};
  return passbridge::tool::RunTool(argc, argv, console);
}
