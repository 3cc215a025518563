// An application that ends with everything open: a device, a channel that hears the bus, a periodic
// message.
//
//   leaves_open LIBRARY
#include <cstdio>
#include <cstdlib>

#include "passbridge/j2534.h"
#include "platform/dynamic_library.h"

namespace {

PASSTHRU_MSG CanMessage(j2534_ulong size) {
  PASSTHRU_MSG message{};
  message.ProtocolID = CAN;
  message.DataSize = size;
  message.Data[2] = 0x06;
  return message;
}

void Must(const char* function, long status) {
  if (status == STATUS_NOERROR) return;
  std::fprintf(stderr, "%s: 0x%02lX\n", function, static_cast<unsigned long>(status));
  std::exit(2);
}

}  // namespace

#define CALL(name, ...) Must(#name, library.Function<PFN_##name>(#name)(__VA_ARGS__))

int main(int count, char** arguments) {
  const auto library = passbridge::platform::DynamicLibrary::Open(count > 1 ? arguments[1] : "");
  if (!library) return 2;
  char name[] = "J2534-2:SN='4711' CXN='USB'";
  j2534_ulong device = 0;
  j2534_ulong channel = 0;
  j2534_ulong filter = 0;
  j2534_ulong periodic = 0;
  j2534_ulong messages = 1;
  CALL(PassThruOpen, name, &device);
  CALL(PassThruConnect, device, CAN, 0, 500000, &channel);
  PASSTHRU_MSG everything = CanMessage(4);
  everything.Data[2] = 0;
  CALL(PassThruStartMsgFilter, channel, PASS_FILTER, &everything, &everything, nullptr, &filter);
  PASSTHRU_MSG sent = CanMessage(8);
  CALL(PassThruStartPeriodicMsg, channel, &sent, &periodic, 5);
  PASSTHRU_MSG heard{};
  CALL(PassThruReadMsgs, channel, &heard, &messages, 2000);
  std::printf("leaving\n");
  std::exit(EXIT_SUCCESS);  // without unloading the library
}
