// The account scan's relay step: whatever the relay service's configuration file holds,
// the scan finishes and answers an object of accounts, each with a list of services
// that have a type and a value as text.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fake_platform.h"
#include "fuzz/fuzz_root.h"
#include "internal/json_utils.h"
#include "vexozeph/zeph_account.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  vexozeph::fuzz::Root();
  vexozeph::fake::Reset();
  vexozeph::fuzz::Root().WriteFile("/usr/vexo/etc/vexorelayd/vexorelayd.conf",
                                   std::string(reinterpret_cast<const char *>(data), size));
  Json::Value accounts;
  FUZZ_CHECK(VEXOZEPHAccountScanExisting(accounts) == 0);
  FUZZ_CHECK(accounts.isObject());
  for (const std::string &name : accounts.getMemberNames()) {
    const Json::Value &services = vexozeph::json::ArrayMember(accounts[name], "services");
    FUZZ_CHECK(services.size() > 0);
    for (const Json::Value &service : services) {
      FUZZ_CHECK(vexozeph::json::Member(service, "type").isString());
      FUZZ_CHECK(vexozeph::json::Member(service, "value").isString());
    }
  }
  return 0;
}
