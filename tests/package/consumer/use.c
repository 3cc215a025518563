/* Links with the library. No VCI is open, so the library has something to say. */
#include <passbridge/j2534.h>
#include <stdio.h>
#include <string.h>

int main(void) {
  char text[J2534_TEXT_SIZE] = "";
  const long status = PassThruDisconnect(1);
  if (status == STATUS_NOERROR || PassThruGetLastError(text) != STATUS_NOERROR) return 1;
  printf("%ld: %s\n", status, text);
  return strlen(text) > 0 ? 0 : 1;
}
