// Uses the classes, the JSON-answer calls and the platform library through the imported
// target vexozeph::vexozeph, which must bring the headers, both libraries and JsonCpp.
#include <json/value.h>

#include <cstdio>
#include <string>

#include "vexo_platform/vlib_string.h"
#include "vexozeph/user.h"
#include "vexozeph/zeph_account.h"
#include "vexozeph/zeph_exception.h"

int main() {
  int failures = 0;
  auto expect = [&failures](bool ok, const char *what) {
    if (!ok) {
      std::fprintf(stderr, "FAILED: %s\n", what);
      ++failures;
    }
  };

  // The consumer runs in an empty root: nothing is signed in.
  vexozeph::User user;
  expect(!user.Exists(), "an empty root holds no account");

  Json::Value accounts;
  expect(VEXOZEPHAccountScanExisting(accounts) == 0, "the scan runs");
  expect(accounts.isObject(), "the scan answers an object");

  try {
    throw vexozeph::ZephException(14u);
  } catch (const vexozeph::ZephException &e) {
    expect(e.GetCode() == 14, "the exception carries its code");
  }

  PVLIBSZHASH hash = VLIBCSzHashAlloc(2);
  expect(hash != nullptr && VLIBCSzHashSetValue(&hash, "k", "v") >= 0, "the platform hash");
  expect(hash != nullptr && std::string(VLIBCSzHashGetValue(hash, "k")) == "v", "read back");
  VLIBCSzHashFree(hash);

  if (failures == 0) std::printf("c++ consumer ok\n");
  return failures == 0 ? 0 : 1;
}
