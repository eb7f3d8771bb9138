/* A C program built against an installed tree with pkg-config alone
 * (`pkg-config --cflags --libs vexozeph`), as a firmware team's C code is. It uses the C
 * interface and fills a request form with the platform's string hash. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "vexo_platform/vlib_string.h"
#include "vexozeph/vexozeph.h"

static int g_failures = 0;

static void Expect(int ok, const char *what) {
  if (!ok) {
    fprintf(stderr, "FAILED: %s\n", what);
    ++g_failures;
  }
}

int main(void) {
  Expect(strcmp(GetZephErrorMsg(VEXOZEPH_ERR_AUTH), "Failed to auth") == 0,
         "code 14 reads \"Failed to auth\"");

  /* The consumer runs in an empty root: nothing is signed in. */
  ZEPH_INFO *info = calloc(1, sizeof(*info));
  Expect(info != NULL, "memory for the record");
  if (info != NULL) {
    Expect(VEXOZEPHAccountGet(info) == -1 && VEXOZEPHErrGet() == VEXOZEPH_ERR_NO_ACCOUNT,
           "no stored account is error 3");
    free(info);
  }

  /* A form filled through the platform library; the request is refused before any
   * network work because it names no host. */
  PVLIBSZHASH form = VLIBCSzHashAlloc(4);
  Expect(form != NULL, "the platform allocates a hash");
  Expect(VLIBCSzHashSetValue(&form, "id", "2000001") >= 0, "the platform stores a value");
  VEXOZEPH_HTTPS_REQUEST request;
  memset(&request, 0, sizeof(request));
  request.path = "device/api/user/query";
  request.params = form;
  VEXOZEPH_HTTPS_RESPONSE response;
  memset(&response, 0, sizeof(response));
  Expect(VEXOZEPHHttpsRequestSend(&request, &response) == -1 &&
             VEXOZEPHErrGet() == VEXOZEPH_ERR_BAD_PARAMETER,
         "a request without a host is a bad parameter");
  VEXOZEPHHttpsResponseFree(&response);
  VLIBCSzHashFree(form);

  if (g_failures == 0) printf("c consumer ok\n");
  return g_failures == 0 ? 0 : 1;
}
