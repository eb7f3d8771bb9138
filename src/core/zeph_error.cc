#include <atomic>
#include <cstdio>
#include <cstring>

#include "core/error_state.h"
#include "vexo_platform/vexo_cloud_service.h"
#include "vexozeph/vexozeph.h"

namespace {

// The process-wide last error: the C interface documents that concurrent callers
// overwrite each other's code. Atomic all the same, so that callers in several threads
// see a whole code rather than a torn one (and do not make a data race of it).
std::atomic<unsigned int> g_last_error{0};

struct ResultWord {
  const char *word;
  unsigned int code;
};

// Searched from the top with a prefix test, so the order is part of the behaviour: the
// short common words come first and a reply that merely begins with one matches it.
const ResultWord kResultWords[] = {
    {"good", VEXOZEPH_ERR_SUCCESS},
    {"badparam", VEXOZEPH_ERR_BAD_PARAMETER},
    {"badauth", VEXOZEPH_ERR_AUTH},
    {"badsys", VEXOZEPH_ERR_SYSTEM},
    {"badnetwork", VEXOZEPH_ERR_NETWORK},
    {"account_inused", VEXOZEPH_ERR_ACCOUNT_IN_USE},
    {"serial_exceed_max_account_register", VEXOZEPH_ERR_SERIAL_MAX_ACCOUNTS},
    {"account_unverified", VEXOZEPH_ERR_ACCOUNT_UNVERIFIED},
    // A user id answer means the account exists: success, on purpose.
    {"account_userid", VEXOZEPH_ERR_SUCCESS},
    {"account_not_found", VEXOZEPH_ERR_ACCOUNT_NOT_FOUND},
    {"apikey_not_found", VEXOZEPH_ERR_APIKEY_NOT_FOUND},
    {"apikey_expired", VEXOZEPH_ERR_APIKEY_EXPIRED},
    {nullptr, VEXOZEPH_ERR_UNKNOWN},
};

const char kSystemError[] = "System error";

}  // namespace

extern "C" {

VEXOZEPH_API unsigned int VEXOZEPHErrSet(unsigned int code) {
  g_last_error.store(code, std::memory_order_relaxed);
  return code;
}

VEXOZEPH_API int VEXOZEPHErrGet(void) {
  return static_cast<int>(g_last_error.load(std::memory_order_relaxed));
}

VEXOZEPH_API const char *GetZephErrorMsg(unsigned int code) {
  // No default: the compiler names any code added to the enumeration but not here.
  switch (static_cast<VEXOZEPH_ERROR_CODE>(code)) {
    case VEXOZEPH_ERR_SUCCESS:
      return "Success";
    case VEXOZEPH_ERR_BAD_PARAMETER:
      return "Wrong parameters";
    case VEXOZEPH_ERR_BAD_JSON:
      return "Wrong JSON format";
    case VEXOZEPH_ERR_NO_ACCOUNT:
      return "Failed to get zeph account";
    case VEXOZEPH_ERR_SEND:
      return "Failed to send the request";
    case VEXOZEPH_ERR_NO_REPLY:
      return "Failed to get the response";
    case VEXOZEPH_ERR_PAYMENT_CONFIG:
      return "Failed to get the payment config (url)";
    case VEXOZEPH_ERR_AUTH:
      return "Failed to auth";
    // These codes are told apart by number only; their text is the generic one.
    case VEXOZEPH_ERR_SYSTEM:
    case VEXOZEPH_ERR_SERIAL:
    case VEXOZEPH_ERR_NETWORK:
    case VEXOZEPH_ERR_ACCOUNT_IN_USE:
    case VEXOZEPH_ERR_SERIAL_MAX_ACCOUNTS:
    case VEXOZEPH_ERR_ACCOUNT_UNVERIFIED:
    case VEXOZEPH_ERR_ACCOUNT_WRITE:
    case VEXOZEPH_ERR_MAC:
    case VEXOZEPH_ERR_TOKEN_STATE:
    case VEXOZEPH_ERR_SERVER_CONFIG:
    case VEXOZEPH_ERR_UNKNOWN:
    case VEXOZEPH_ERR_ACCOUNT_NOT_FOUND:
    case VEXOZEPH_ERR_APIKEY_NOT_FOUND:
    case VEXOZEPH_ERR_APIKEY_EXPIRED:
      return kSystemError;
  }
  return kSystemError;
}

VEXOZEPH_API void printErrCode(unsigned int code) {
  if (code == 0) return;
  std::fprintf(stderr, "%s\n", GetZephErrorMsg(code));
}

VEXOZEPH_API unsigned int GetErrorCodeFromAccountError(const char *word) {
  if (word == nullptr) return VEXOZEPH_ERR_UNKNOWN;
  const ResultWord *entry = kResultWords;
  for (; entry->word != nullptr; ++entry) {
    if (std::strncmp(word, entry->word, std::strlen(entry->word)) == 0) return entry->code;
  }
  return entry->code;
}

VEXOZEPH_API unsigned int MapLibZephCenterErrorCode(const char *word) {
  return VEXOZEPHErrSet(GetErrorCodeFromAccountError(word));
}

}  // extern "C"

namespace vexozeph {

unsigned int GetErrorCodeFromCloudService() {
  switch (VEXOCloudServiceGetErrorCode()) {
    case VEXO_CLOUD_SERVICE_OK:
      return VEXOZEPH_ERR_SUCCESS;
    case VEXO_CLOUD_SERVICE_ERR_NETWORK:
      return VEXOZEPH_ERR_NETWORK;
    default:
      return VEXOZEPH_ERR_UNKNOWN;
  }
}

}  // namespace vexozeph
