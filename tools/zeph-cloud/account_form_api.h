// The account host's form API: password login, token launch, account query, periodic
// report, registration and update. Every request must carry "bx_sn" and a "bx_token"
// made from it (and from "zephID"/"zephPW" when sent).
#ifndef ZEPH_CLOUD_ACCOUNT_FORM_API_H_
#define ZEPH_CLOUD_ACCOUNT_FORM_API_H_

#include <json/json.h>

#include "emulator.h"
#include "router.h"

namespace zeph_cloud {

void AddAccountFormApi(Router &router, Emulator &emulator);

// The profile members of the login and query answers.
Json::Value AccountProfile(const Account &account);

}  // namespace zeph_cloud

#endif  // ZEPH_CLOUD_ACCOUNT_FORM_API_H_
