/* Compiled as C and linked against the shared library alone: the public C header must
 * stand on its own and the interface must resolve from the installed library. */
#include <stdio.h>
#include <string.h>

#include "vexozeph/vexozeph.h"

int main(void) {
  if (VEXOZEPHErrSet(17) != 17 || VEXOZEPHErrGet() != 17) return 1;
  if (strcmp(GetZephErrorMsg(14), "Failed to auth") != 0) return 2;
  if (MapLibZephCenterErrorCode("badauth") != 14 || VEXOZEPHErrGet() != 14) return 3;
  char token[33] = {0};
  char serial[64] = "1234ABC";
  if (VEXOZEPHGenerateToken(NULL, NULL, serial, sizeof(serial), token, sizeof(token)) != 0) return 4;
  if (strlen(token) != 32) return 5;
  /* Resolved from the shared library, not run: it would report this machine. */
  int (*report)(void) = VEXOZEPHReportInfo;
  if (report == NULL) return 6;
  /* The payment host's sender checks its arguments before it looks for the host. */
  VEXOZEPH_HTTPS_RESPONSE reply = {0, 0, NULL};
  if (VEXOPaymentHTTPSSendWithJSON("api/x", "[1]", 1, &reply) != -1 || VEXOZEPHErrGet() != 1) {
    return 7;
  }
  printf("c interface ok\n");
  return 0;
}
