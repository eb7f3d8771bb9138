// An appliance in a throwaway root whose device session is signed in through the
// browser, at a fixed time on the library's clock, for the tests of the clients that
// borrow that session (packages, the monitoring grant).
#ifndef VEXOZEPH_TESTS_SUPPORT_SIGNED_IN_APPLIANCE_H_
#define VEXOZEPH_TESTS_SUPPORT_SIGNED_IN_APPLIANCE_H_

#include <gtest/gtest.h>
#include <json/json.h>

#include <cstdint>
#include <string>

#include "base/clock.h"
#include "internal/json_utils.h"
#include "support/account_appliance.h"
#include "support/browser_sign_in.h"
#include "support/cloud_steps.h"
#include "vexozeph/account_pkce_service.h"

namespace vexozeph {
namespace testing {

class SignedInAppliance : public AccountAppliance {
 protected:
  static constexpr int64_t kSignedInAt = 1700000000;

  void SetUp() override {
    AccountAppliance::SetUp();
    owner_ = MakeAccount("pat@example.com");
    clock::SetForTesting(kSignedInAt);
    AccountPkceService().Login(
        SignInWithBrowser(*cloud_, AccountPkceService().GetLoginPkceConfig(), owner_));
    cloud_->ClearRequests();
  }

  std::string SessionToken() const {
    return json::StringOr(JsonFile(kSessionTokenFile), "access_token");
  }

  Account owner_;
};

}  // namespace testing
}  // namespace vexozeph

#endif  // VEXOZEPH_TESTS_SUPPORT_SIGNED_IN_APPLIANCE_H_
