/* A diagnostic application in C, which knows the library by its public header only: asks an ECU for
 * the vehicle's identification number over ISO 15765, while it listens to the bus as raw frames. */
#include <passbridge/j2534.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#ifdef _WIN32
#include <windows.h>
static void* Find(const char* library, const char* name) {
  HMODULE module = LoadLibraryA(library);
  FARPROC function = module != NULL ? GetProcAddress(module, name) : NULL;
  void* address = NULL;
  memcpy(&address, &function, sizeof address);
  return address;
}
#else
#include <dlfcn.h>
static void* Find(const char* library, const char* name) {
  void* module = dlopen(library, RTLD_NOW);
  return module != NULL ? dlsym(module, name) : NULL;
}
#endif

static struct {
  PFN_PassThruOpen Open;
  PFN_PassThruClose Close;
  PFN_PassThruConnect Connect;
  PFN_PassThruDisconnect Disconnect;
  PFN_PassThruReadMsgs ReadMsgs;
  PFN_PassThruWriteMsgs WriteMsgs;
  PFN_PassThruStartMsgFilter StartMsgFilter;
  PFN_PassThruStopMsgFilter StopMsgFilter;
  PFN_PassThruReadVersion ReadVersion;
  PFN_PassThruGetLastError GetLastError;
  PFN_PassThruIoctl Ioctl;
} j2534;

/* Puts the address of a function where its pointer is. */
static void Load(const char* library, const char* name, void* pointer) {
  void* const address = Find(library, name);
  if (address == NULL) {
    fprintf(stderr, "no %s in %s\n", name, library);
    exit(1);
  }
  memcpy(pointer, &address, sizeof address);
}

static void LoadAll(const char* library) {
  Load(library, "PassThruOpen", &j2534.Open);
  Load(library, "PassThruClose", &j2534.Close);
  Load(library, "PassThruConnect", &j2534.Connect);
  Load(library, "PassThruDisconnect", &j2534.Disconnect);
  Load(library, "PassThruReadMsgs", &j2534.ReadMsgs);
  Load(library, "PassThruWriteMsgs", &j2534.WriteMsgs);
  Load(library, "PassThruStartMsgFilter", &j2534.StartMsgFilter);
  Load(library, "PassThruStopMsgFilter", &j2534.StopMsgFilter);
  Load(library, "PassThruReadVersion", &j2534.ReadVersion);
  Load(library, "PassThruGetLastError", &j2534.GetLastError);
  Load(library, "PassThruIoctl", &j2534.Ioctl);
}

static void Check(long status, const char* what) {
  char text[J2534_TEXT_SIZE] = "";
  if (status == STATUS_NOERROR) return;
  j2534.GetLastError(text);
  fprintf(stderr, "%s: 0x%02lX %s\n", what, (unsigned long)status, text);
  exit(1);
}

static PASSTHRU_MSG Message(j2534_ulong protocol, const void* bytes, unsigned size) {
  PASSTHRU_MSG message;
  memset(&message, 0x5A, sizeof message); /* as it comes from the stack */
  message.ProtocolID = protocol;
  message.TxFlags = protocol == ISO15765 ? ISO15765_FRAME_PAD : 0;
  message.DataSize = size;
  memcpy(message.Data, bytes, size);
  return message;
}

static void Filter(j2534_ulong channel, j2534_ulong type, j2534_ulong protocol, const char* mask,
                   const char* pattern, const char* flow) {
  PASSTHRU_MSG maskMessage = Message(protocol, mask, 4);
  PASSTHRU_MSG patternMessage = Message(protocol, pattern, 4);
  PASSTHRU_MSG flowMessage = Message(protocol, flow != NULL ? flow : mask, 4);
  j2534_ulong id = 0;
  Check(j2534.StartMsgFilter(channel, type, &maskMessage, &patternMessage,
                             flow != NULL ? &flowMessage : NULL, &id),
        "PassThruStartMsgFilter");
}

int main(void) {
  char name[] = "J2534-2:SN='4711' CXN='USB'";
  char versions[3][J2534_TEXT_SIZE];
  j2534_ulong device = 0;
  j2534_ulong can = 0;
  j2534_ulong iso = 0;
  j2534_ulong count = 1;
  j2534_ulong millivolts = 0;
  PASSTHRU_MSG message;
  LoadAll(getenv("PASSBRIDGE_LIBRARY"));
  Check(j2534.Open(name, &device), "PassThruOpen");
  Check(j2534.ReadVersion(device, versions[0], versions[1], versions[2]), "PassThruReadVersion");
  Check(j2534.Ioctl(device, READ_VBATT, NULL, &millivolts), "READ_VBATT");
  printf("API %s, %lu mV\n", versions[2], (unsigned long)millivolts);
  if (strcmp(versions[2], "04.04") != 0 || millivolts != 12600) return 1;

  Check(j2534.Connect(device, CAN, 0, 500000, &can), "PassThruConnect CAN");
  Filter(can, PASS_FILTER, CAN, "\xFF\xFF\xFF\xFF", "\0\0\x01\0", NULL);
  Check(j2534.Connect(device, ISO15765, 0, 500000, &iso), "PassThruConnect ISO15765");
  Filter(iso, FLOW_CONTROL_FILTER, ISO15765, "\xFF\xFF\xFF\xFF", "\0\0\x07\xE8", "\0\0\x07\xE0");
  Check(j2534.Ioctl(iso, CLEAR_RX_BUFFER, NULL, NULL), "CLEAR_RX_BUFFER");

  message = Message(ISO15765, "\0\0\x07\xE0\x09\x02", 6);
  Check(j2534.WriteMsgs(iso, &message, &count, 1000), "PassThruWriteMsgs");
  do {
    count = 1;
    Check(j2534.ReadMsgs(iso, &message, &count, 2000), "PassThruReadMsgs ISO15765");
  } while (message.RxStatus != 0); /* indications */
  printf("VIN %.*s\n", (int)message.DataSize - 7, (const char*)message.Data + 7);
  if (message.DataSize != 24 || memcmp(message.Data + 7, "VVC1234567N000001", 17) != 0) return 1;

  count = 1;
  Check(j2534.ReadMsgs(can, &message, &count, 2000), "PassThruReadMsgs CAN");
  printf("frame %02X%02X, %lu bytes\n", message.Data[2], message.Data[3],
         (unsigned long)message.DataSize);
  if (message.ProtocolID != CAN || message.Data[2] != 1 || message.DataSize != 12) return 1;
  if (j2534.StopMsgFilter(can, 99) != (long)ERR_INVALID_FILTER_ID) return 1;

  Check(j2534.Disconnect(iso), "PassThruDisconnect");
  Check(j2534.Disconnect(can), "PassThruDisconnect");
  Check(j2534.Close(device), "PassThruClose");
  return 0;
}
