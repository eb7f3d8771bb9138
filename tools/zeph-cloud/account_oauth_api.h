// The account host's OAuth helpers: auth-key exchange, grants by auth key and by bearer
// token, device log-out, package client configuration, and the browser landing pages of
// the redirect addresses.
#ifndef ZEPH_CLOUD_ACCOUNT_OAUTH_API_H_
#define ZEPH_CLOUD_ACCOUNT_OAUTH_API_H_

#include "emulator.h"
#include "router.h"

namespace zeph_cloud {

void AddAccountOAuthApi(Router &router, Emulator &emulator);

}  // namespace zeph_cloud

#endif  // ZEPH_CLOUD_ACCOUNT_OAUTH_API_H_
