// Recovery from an API-key error answer, for callers that send requests carrying the
// appliance's cloud-service API key. C++ only: the parameters are a JSON object.
#ifndef VEXOZEPH_ZEPH_API_KEY_H_
#define VEXOZEPH_ZEPH_API_KEY_H_

#include <json/value.h>

#include "vexozeph/export.h"

// `code` is the server's answer word. For "apikey_not_found" a new key is registered and
// stored as params["api_key"]: 0, repeat the request. For "apikey_expired" the platform
// is asked to renew the key: -1. Anything else, success words included: -1. The word's
// code is left as the last error (1 for a null word).
VEXOZEPH_API int VEXOZEPHHandleApiKeyError(Json::Value &params, const char *code);

#endif  // VEXOZEPH_ZEPH_API_KEY_H_
