// The identity host: the sign-in and sign-up pages of the authorization endpoint, the
// token endpoint (authorization code with PKCE S256, refresh with rotation) and the
// end-session endpoint.
#ifndef ZEPH_CLOUD_IDENTITY_API_H_
#define ZEPH_CLOUD_IDENTITY_API_H_

#include "emulator.h"
#include "router.h"

namespace zeph_cloud {

void AddIdentityApi(Router &router, Emulator &emulator);

}  // namespace zeph_cloud

#endif  // ZEPH_CLOUD_IDENTITY_API_H_
