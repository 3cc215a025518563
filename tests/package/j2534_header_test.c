/* The public header as a C11 program sees it: it compiles with every warning on, and its structures
 * have the layout that J2534 clients expect. */
#include <passbridge/j2534.h>
#include <stdio.h>

#if defined(_WIN32) || defined(PASSBRIDGE_J2534_U32)
#define FIELD_SIZE 4
#else
#define FIELD_SIZE 8
#endif

_Static_assert(sizeof(j2534_ulong) == FIELD_SIZE, "width of a field");
_Static_assert(sizeof(PASSTHRU_MSG) == 6 * FIELD_SIZE + 4128, "size of a message");
_Static_assert(offsetof(PASSTHRU_MSG, DataSize) == 4 * FIELD_SIZE, "place of the data size");
_Static_assert(offsetof(PASSTHRU_MSG, Data) == 6 * FIELD_SIZE, "place of the data");
_Static_assert(sizeof(SCONFIG) == 2 * FIELD_SIZE, "size of a parameter");
_Static_assert(offsetof(SCONFIG_LIST, ConfigPtr) == sizeof(void*), "place of the parameters");
_Static_assert(offsetof(SBYTE_ARRAY, BytePtr) == sizeof(void*), "place of the bytes");

/* A function with the declared signature of each calling convention: what an application would
 * find in the library and call through the header's pointer type. */
static long J2534_CALL SetText(char* text) {
  text[0] = 'x';
  return ERR_FAILED;
}

int main(void) {
  char text[J2534_TEXT_SIZE] = "";
  PASSTHRU_MSG message = {0};
  const PFN_PassThruGetLastError getLastError = SetText;
  if (getLastError(text) != (long)ERR_FAILED || text[0] != 'x') return 1;
  message.ProtocolID = CAN;
  message.TxFlags = CAN_29BIT_ID | ISO15765_FRAME_PAD;
  message.Data[J2534_MAX_DATA_SIZE - 1] = 1;
  printf("%u bytes\n", (unsigned)sizeof message);
  return message.ProtocolID == 5 && message.TxFlags == 0x140 ? 0 : 1;
}
