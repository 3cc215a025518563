#include "loaded_libraries.h"

#include <cstdlib>
#include <stdexcept>

namespace passbridge::test {

namespace {

/// Throws what there is to say to whoever started the test without it.
std::string FromEnvironment(const char* name) {
  const char* const value = std::getenv(name);
  if (value == nullptr) throw std::runtime_error(std::string(name) + " names the file under test");
  return value;
}

}  // namespace

#define PASSBRIDGE_FIND(name) name(file.Function<PFN_##name>(#name))

Library::Library(const std::string& path)
    : file(platform::DynamicLibrary::Open(path)),
      PASSBRIDGE_FIND(PassThruOpen),
      PASSBRIDGE_FIND(PassThruClose),
      PASSBRIDGE_FIND(PassThruConnect),
      PASSBRIDGE_FIND(PassThruDisconnect),
      PASSBRIDGE_FIND(PassThruReadMsgs),
      PASSBRIDGE_FIND(PassThruWriteMsgs),
      PASSBRIDGE_FIND(PassThruStartPeriodicMsg),
      PASSBRIDGE_FIND(PassThruStopPeriodicMsg),
      PASSBRIDGE_FIND(PassThruStartMsgFilter),
      PASSBRIDGE_FIND(PassThruStopMsgFilter),
      PASSBRIDGE_FIND(PassThruSetProgrammingVoltage),
      PASSBRIDGE_FIND(PassThruReadVersion),
      PASSBRIDGE_FIND(PassThruGetLastError),
      PASSBRIDGE_FIND(PassThruIoctl) {
  if (!file) throw std::runtime_error("cannot load " + path);
}

#undef PASSBRIDGE_FIND
#define PASSBRIDGE_FIND(name) name(file.Function<PFN_VirtualVci##name>("VirtualVci" #name))

VirtualVci::VirtualVci(const std::string& path)
    : file(platform::DynamicLibrary::Open(path)),
      PASSBRIDGE_FIND(Configure),
      PASSBRIDGE_FIND(InjectResult),
      PASSBRIDGE_FIND(GetLedger),
      PASSBRIDGE_FIND(LogCalls),
      PASSBRIDGE_FIND(GetCalls),
      PASSBRIDGE_FIND(Unplug),
      PASSBRIDGE_FIND(Plug),
      PASSBRIDGE_FIND(SetPresent),
      PASSBRIDGE_FIND(SetStatus),
      PASSBRIDGE_FIND(SetVoltages),
      PASSBRIDGE_FIND(SendFrame),
      PASSBRIDGE_FIND(SendBytes),
      PASSBRIDGE_FIND(SetCyclic),
      PASSBRIDGE_FIND(SetEcuFault),
      PASSBRIDGE_FIND(TakeHeard),
      PASSBRIDGE_FIND(Advance),
      PASSBRIDGE_FIND(Reset) {
  if (!file) throw std::runtime_error("cannot load " + path);
}

#undef PASSBRIDGE_FIND

std::string LibraryPath() { return FromEnvironment("PASSBRIDGE_TEST_LIBRARY"); }
std::string VirtualVciPath() { return FromEnvironment("PASSBRIDGE_TEST_VCI"); }

}  // namespace passbridge::test
