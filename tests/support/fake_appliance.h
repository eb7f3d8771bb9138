// The unit tests' appliance: the programmable fake platform, reset for each test, under a
// fresh root, with the settable clock put back to the real one afterwards.
#ifndef VEXOZEPH_TESTS_SUPPORT_FAKE_APPLIANCE_H_
#define VEXOZEPH_TESTS_SUPPORT_FAKE_APPLIANCE_H_

#include <gtest/gtest.h>

#include <string>

#include "base/clock.h"
#include "fakes/fake_platform.h"
#include "support/appliance_files.h"
#include "support/temp_root.h"

namespace vexozeph {
namespace testing {

class FakeAppliance : public ::testing::Test {
 protected:
  void SetUp() override { fake::Reset(); }
  void TearDown() override {
    fake::Reset();
    clock::ResetForTesting();
  }

  // An account file whose account host is a port nothing listens on: a request that gets
  // as far as sending fails at once with error 4.
  void UseDeadAccountHost(const std::string &more_lines = "") {
    root_.WriteFile(kAccountFile, "account_host=\"https://127.0.0.1:9\"\n" + more_lines);
  }

  TempRoot root_;
};

}  // namespace testing
}  // namespace vexozeph

#endif  // VEXOZEPH_TESTS_SUPPORT_FAKE_APPLIANCE_H_
