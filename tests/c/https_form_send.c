/* A firmware team's program: built from the installed headers and linked against
 * libvexozeph.so and libvexoplatform.so alone. It builds a form with the platform's
 * string hash and sends it, signed, to the account base given as its argument. */
#include <stdio.h>
#include <string.h>

#include "vexo_platform/vlib_string.h"
#include "vexozeph/vexozeph.h"

int main(int argc, char **argv) {
  if (argc != 2) {
    fprintf(stderr, "usage: %s ACCOUNT_BASE\n", argv[0]);
    return 2;
  }
  PVLIBSZHASH form = VLIBCSzHashAlloc(4);
  if (form == NULL || VLIBCSzHashSetValue(&form, "type", "c program") != 0 ||
      VLIBCSzHashSetValue(&form, "id", "42") != 0) {
    fprintf(stderr, "cannot build the form\n");
    VLIBCSzHashFree(form);
    return 3;
  }
  static VEXOZEPH_HTTPS_REQUEST request;
  request.host = argv[1];
  request.path = "device/api/user/query";
  request.params = form;
  request.short_timeout = 1;
  snprintf(request.account, sizeof(request.account), "%s", "c@example.com");
  snprintf(request.password, sizeof(request.password), "%s", "c-secret");

  VEXOZEPH_HTTPS_RESPONSE response;
  memset(&response, 0, sizeof(response));
  int sent = VEXOZEPHHttpsRequestSend(&request, &response);
  int good = sent == 0 && response.status == 200 && response.data != NULL &&
             strstr(response.data, "\"good\"") != NULL;
  printf("sent=%d error=%d status=%ld reply=%s\n", sent, VEXOZEPHErrGet(), response.status,
         response.data ? response.data : "(none)");
  VEXOZEPHHttpsResponseFree(&response);
  VLIBCSzHashFree(form);
  return good ? 0 : 1;
}
