/*
 * A J2534 library without a vehicle, for the tests of the command line tool. It is C, and built in
 * both widths of the structure fields.
 *
 * It opens any device but the one with the serial number 9, and has the user choose 4711 unless the
 * dialog is cancelled. A CAN channel carries some frames once,
 * through its pass filters; a request for the engine speed is answered by 7E8; a frame to 666 can't
 * be sent. On an ISO 15765 channel, through flow control filters, 7E8 answers a request for the
 * engine speed, refuses one for the vehicle speed, and says first that the answer is still to come
 * for the timing; for the throttle it says no more.
 *
 * On J1850 an ECU answers as SAE J1979 has it: what PIDs it has, and its engine speed. On PWM it
 * takes messages from the node only, and receives what its functional look-up table names; a device
 * named PWMCAR has no VPW. A channel of bytes carries kByteTraffic once. One that is pin-switched
 * does nothing without its pins.
 */
#define _DEFAULT_SOURCE /* usleep */
#ifdef _WIN32
#define J2534_API __declspec(dllexport)
#else
#define J2534_API __attribute__((visibility("default")))
#endif
#include <passbridge/j2534.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

enum { kDevice = 71, kChannel = 72, kMaxFilters = 10, kQueueSize = 16 };

static struct {
  int opened;
  int closed;
  int connected;
  int disconnected;
  int cancels; /* the dialog */
  char name[128];
  char call[256];  /* the last PassThruConnect or PassThruWriteMsgs in words */
  char setup[256]; /* what set the channel up, in words */
} state;

static struct {
  PASSTHRU_MSG mask;
  PASSTHRU_MSG pattern;
} filters[kMaxFilters];
static int filterCount;
static j2534_ulong connectFlags;
static j2534_ulong protocol;
static j2534_ulong pins;
static j2534_ulong node; /* J1850 PWM: its address, and the functional ones as bits */
static unsigned char functional[256];
static PASSTHRU_MSG queue[kQueueSize];
static int queueHead;
static int queueTail;
static const char* lastError = "";

static int IsIso(void) { return protocol == ISO15765 || protocol == SW_ISO15765_PS; }
static int IsCan(void) { return protocol == CAN || protocol == SW_CAN_PS || IsIso(); }
static int LacksPins(void) { return (protocol & 0x8000) && pins == 0; }

/* An indication, a functional message, one to the tester, more indications, an echo. */
static const struct {
  unsigned long rxStatus;
  const char* data;
  unsigned size;
} kByteTraffic[] = {
    {START_OF_MESSAGE, "", 0},        {0, "\x08\x25\x10\x01", 4},
    {0, "\x08\xF1\x10\x02", 4},       {RX_BREAK, "", 0},
    {TX_MSG_TYPE, "\x08\x25\xF1", 3}, {TX_MSG_TYPE | TX_INDICATION, "", 0},
};

static int Passes(const PASSTHRU_MSG* msg) {
  if (IsCan() && !(connectFlags & CAN_ID_BOTH) && (msg->RxStatus & CAN_29BIT_ID) != connectFlags) {
    return 0;
  }
  if (msg->RxStatus & (START_OF_MESSAGE | RX_BREAK | TX_INDICATION) && !IsCan()) return 1;
  if (protocol == J1850PWM && msg->Data[1] != node && !functional[msg->Data[1]]) return 0;
  for (int i = 0; i < filterCount; ++i) {
    const PASSTHRU_MSG* mask = &filters[i].mask;
    int equal = (!IsCan() || mask->DataSize == 4) && mask->DataSize <= msg->DataSize &&
                (filters[i].pattern.TxFlags & CAN_29BIT_ID) == (msg->RxStatus & CAN_29BIT_ID);
    for (unsigned byte = 0; byte < mask->DataSize; ++byte) {
      equal &= (msg->Data[byte] & mask->Data[byte]) == filters[i].pattern.Data[byte];
    }
    if (equal) return 1;
  }
  return 0;
}

static void ReceiveBytes(unsigned long rxStatus, const char* data, unsigned size) {
  PASSTHRU_MSG msg;
  if (queueTail == kQueueSize) return;
  memset(&msg, 0, sizeof msg);
  msg.ProtocolID = protocol;
  msg.RxStatus = (j2534_ulong)rxStatus;
  msg.Timestamp = (j2534_ulong)(12345678u + 1000u * (unsigned)queueTail);
  memcpy(msg.Data, data, size);
  msg.DataSize = size;
  queue[queueTail++] = msg;
}

static void Receive(unsigned long id, unsigned long rxStatus, const char* data, unsigned size) {
  char bytes[12];
  for (int i = 0; i < 4; ++i) bytes[i] = (char)(id >> (24 - 8 * i));
  memcpy(bytes + 4, data, size);
  ReceiveBytes(rxStatus, bytes, 4 + size);
}

static void NoteSetup(const char* what, unsigned long value) {
  const size_t used = strlen(state.setup);
  snprintf(state.setup + used, sizeof state.setup - used, "%s%s %lX", used ? ", " : "", what,
           value);
}

J2534_API const char* FakeName(void) { return state.name; }
J2534_API const char* FakeCall(void) { return state.call; }
J2534_API const char* FakeSetup(void) { return state.setup; }
J2534_API void FakeCancelDialog(void) { state.cancels = 1; }
J2534_API int FakeIsClosed(void) {
  return state.opened > 0 && state.opened == state.closed && state.connected == state.disconnected;
}

long J2534_CALL PassThruOpen(void* pName, j2534_ulong* pDeviceID) {
  snprintf(state.name, sizeof state.name, "%s", pName ? (const char*)pName : "(null)");
  if (strstr(state.name, "SN='9'")) {
    lastError = "(14060002:00000000) Unable to communicate with device.\r\n";
    return ERR_DEVICE_NOT_CONNECTED;
  }
  if (strstr(state.name, "VQXLIST") && state.cancels) return ERR_DEVICE_NOT_CONNECTED;
  ++state.opened;
  *pDeviceID = kDevice;
  return STATUS_NOERROR;
}

long J2534_CALL PassThruClose(j2534_ulong DeviceID) {
  if (DeviceID != kDevice) return ERR_INVALID_DEVICE_ID;
  ++state.closed;
  return STATUS_NOERROR;
}

long J2534_CALL PassThruConnect(j2534_ulong DeviceID, j2534_ulong ProtocolID, j2534_ulong Flags,
                                j2534_ulong BaudRate, j2534_ulong* pChannelID) {
  snprintf(state.call, sizeof state.call, "connect %lu %lu %lX %lu", (unsigned long)DeviceID,
           (unsigned long)ProtocolID, (unsigned long)Flags, (unsigned long)BaudRate);
  if (BaudRate == 12345) {
    lastError = "";
    return ERR_INVALID_BAUDRATE;
  }
  ++state.connected;
  connectFlags = Flags;
  protocol = ProtocolID;
  filterCount = queueHead = queueTail = 0;
  node = 0xFF;
  pins = 0;
  memset(functional, 0, sizeof functional);
  state.setup[0] = 0;
  if (IsCan()) {
    Receive(0x100, 0, "\x01\x02", 2);
    Receive(0x7E8, TX_INDICATION, "", 0);
    Receive(0x18DAF110, CAN_29BIT_ID, "\xAA", 1);
    Receive(0x7E8, 0, "\x02\x7E\x00", 3);
  } else {
    for (unsigned i = 0; i < sizeof kByteTraffic / sizeof kByteTraffic[0]; ++i) {
      ReceiveBytes(kByteTraffic[i].rxStatus, kByteTraffic[i].data, kByteTraffic[i].size);
    }
  }
  *pChannelID = kChannel;
  return STATUS_NOERROR;
}

long J2534_CALL PassThruDisconnect(j2534_ulong ChannelID) {
  if (ChannelID != kChannel) return ERR_INVALID_CHANNEL_ID;
  ++state.disconnected;
  return STATUS_NOERROR;
}

long J2534_CALL PassThruReadMsgs(j2534_ulong ChannelID, PASSTHRU_MSG* pMsg, j2534_ulong* pNumMsgs,
                                 j2534_ulong Timeout) {
  const j2534_ulong wanted = *pNumMsgs;
  if (ChannelID != kChannel) return ERR_INVALID_CHANNEL_ID;
  if (LacksPins()) return ERR_PIN_INVALID;
  for (*pNumMsgs = 0; *pNumMsgs < wanted && queueHead < queueTail; ++queueHead) {
    if (Passes(&queue[queueHead])) pMsg[(*pNumMsgs)++] = queue[queueHead];
  }
  if (*pNumMsgs == wanted) return STATUS_NOERROR;
  usleep((unsigned)(Timeout < 10 ? Timeout : 10) * 1000); /* nothing more will come */
  return *pNumMsgs == 0 ? ERR_BUFFER_EMPTY : ERR_TIMEOUT;
}

static void AnswerOnJ1850(const PASSTHRU_MSG* msg) {
  const int isPwm = protocol == J1850PWM;
  char answer[9] = {(char)(isPwm ? 0x41 : 0x48), 0x6B, 0x10, 0x41};
  if (msg->DataSize != 5 || memcmp(msg->Data, isPwm ? "\x61\x6A\xF1\x01" : "\x68\x6A\xF1\x01", 4) ||
      (!isPwm && strcmp(state.name, "PWMCAR") == 0)) {
    return;
  }
  answer[4] = (char)msg->Data[4];
  memcpy(answer + 5, msg->Data[4] == 0x0C ? "\x1A\xF8\x00\x00" : "\x00\x10\x00\x00", 4);
  ReceiveBytes(0, answer, msg->Data[4] == 0x0C ? 7 : 9);
}

static void Answer(const PASSTHRU_MSG* msg) {
  if (protocol == J1850VPW || protocol == J1850PWM) AnswerOnJ1850(msg);
  if (protocol == CAN && msg->DataSize == 12 && msg->Data[2] == 7 && msg->Data[6] == 0x0C) {
    Receive(0x7E8, 0, "\x04\x41\x0C\x1A\xF8\x00\x00\x00", 8);
  }
  if (!IsIso() || msg->DataSize != 6 || msg->Data[4] != 1) return;
  switch (msg->Data[5]) {
    case 0x0C:
      Receive(0x7E8, 0, "\x41\x0C\x1A\xF8", 4);
      break;
    case 0x0D:
      Receive(0x7E8, 0, "\x7F\x01\x12", 3);
      break;
    case 0x0E:
      Receive(0x7E8, 0, "\x7F\x01\x78", 3);
      Receive(0x7E8, 0, "\x41\x0E\x80", 3);
      break;
    case 0x11:
      Receive(0x7E8, 0, "\x7F\x01\x78", 3);
      break;
  }
}

long J2534_CALL PassThruWriteMsgs(j2534_ulong ChannelID, PASSTHRU_MSG* pMsg, j2534_ulong* pNumMsgs,
                                  j2534_ulong Timeout) {
  if (ChannelID != kChannel) return ERR_INVALID_CHANNEL_ID;
  if (LacksPins()) return ERR_PIN_INVALID;
  snprintf(state.call, sizeof state.call, "write %lu timeout %lu flags %lX",
           (unsigned long)*pNumMsgs, (unsigned long)Timeout, (unsigned long)pMsg[0].TxFlags);
  for (j2534_ulong i = 0; i < *pNumMsgs; ++i) {
    if (protocol == J1850PWM && pMsg[i].Data[2] != node) return ERR_INVALID_MSG;
    if (pMsg[i].Data[2] == 0x06 && pMsg[i].Data[3] == 0x66) {
      *pNumMsgs = i;
      lastError = "(0D040001:00000000) Timeout: Can't read/write requested number of msgs.";
      return ERR_TIMEOUT;
    }
    Answer(&pMsg[i]);
  }
  return STATUS_NOERROR;
}

long J2534_CALL PassThruStartMsgFilter(j2534_ulong ChannelID, j2534_ulong FilterType,
                                       PASSTHRU_MSG* pMaskMsg, PASSTHRU_MSG* pPatternMsg,
                                       PASSTHRU_MSG* pFlowControlMsg, j2534_ulong* pFilterID) {
  if (ChannelID != kChannel) return ERR_INVALID_CHANNEL_ID;
  if (LacksPins()) return ERR_PIN_INVALID;
  if (FilterType != (IsIso() ? FLOW_CONTROL_FILTER : PASS_FILTER) ||
      (pFlowControlMsg != NULL) != IsIso()) {
    return ERR_INVALID_MSG;
  }
  if (filterCount == kMaxFilters) return ERR_EXCEEDED_LIMIT;
  filters[filterCount].mask = *pMaskMsg;
  filters[filterCount].pattern = *pPatternMsg;
  *pFilterID = (j2534_ulong)++filterCount;
  return STATUS_NOERROR;
}

/* The firmware text fills its buffer without an end. */
long J2534_CALL PassThruReadVersion(j2534_ulong DeviceID, char* pFirmwareVersion, char* pDllVersion,
                                    char* pApiVersion) {
  if (DeviceID != kDevice) return ERR_INVALID_DEVICE_ID;
  memset(pFirmwareVersion, '7', J2534_TEXT_SIZE);
  strcpy(pDllVersion, "1.2.3");
  strcpy(pApiVersion, "04.04");
  return STATUS_NOERROR;
}

long J2534_CALL PassThruGetLastError(char* pErrorDescription) {
  snprintf(pErrorDescription, J2534_TEXT_SIZE, "%s", lastError);
  return STATUS_NOERROR;
}

static long SetConfig(const SCONFIG_LIST* list) {
  for (j2534_ulong i = 0; i < list->NumOfParams; ++i) {
    const SCONFIG* config = &list->ConfigPtr[i];
    const int isPins = config->Parameter == J1962_PINS;
    if (!isPins && config->Parameter != NODE_ADDRESS) return ERR_NOT_SUPPORTED;
    NoteSetup(isPins ? "pins" : "node", (unsigned long)config->Value);
    *(isPins ? &pins : &node) = config->Value;
  }
  return STATUS_NOERROR;
}

static long AddFunctionalAddresses(const SBYTE_ARRAY* addresses) {
  for (j2534_ulong i = 0; i < addresses->NumOfBytes; ++i) {
    NoteSetup("functional", addresses->BytePtr[i]);
    functional[addresses->BytePtr[i]] = 1;
  }
  return STATUS_NOERROR;
}

/* The device named NOBATTERY can't measure. */
long J2534_CALL PassThruIoctl(j2534_ulong ChannelID, j2534_ulong IoctlID, void* pInput,
                              void* pOutput) {
  if (ChannelID == kChannel && IoctlID == SET_CONFIG) return SetConfig((SCONFIG_LIST*)pInput);
  if (ChannelID == kChannel && IoctlID == ADD_TO_FUNCT_MSG_LOOKUP_TABLE && protocol == J1850PWM) {
    return AddFunctionalAddresses((SBYTE_ARRAY*)pInput);
  }
  if (ChannelID == kChannel && IoctlID == SW_CAN_HS && !LacksPins()) {
    NoteSetup("high speed", 1);
    return STATUS_NOERROR;
  }
  if (ChannelID == kChannel && IoctlID == BECOME_MASTER && protocol == GM_UART_PS) {
    if (LacksPins()) return ERR_PIN_INVALID;
    NoteSetup("master", *(unsigned char*)pInput);
    return STATUS_NOERROR;
  }
  if (ChannelID == kDevice && IoctlID == GET_VCI_SERIAL_NUMBER && strstr(state.name, "VQXLIST")) {
    *(j2534_ulong*)pOutput = 4711;
    return STATUS_NOERROR;
  }
  if (ChannelID != kDevice || IoctlID != READ_VBATT || pInput != NULL) return ERR_INVALID_IOCTL_ID;
  if (strcmp(state.name, "NOBATTERY") == 0) return ERR_NOT_SUPPORTED;
  *(j2534_ulong*)pOutput = 12340;
  return STATUS_NOERROR;
}
