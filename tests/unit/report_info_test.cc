// The periodic report on the fake platform: the steps before the request, each failing
// with its own code and line, in their order, and the two cases that never get that far.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "support/log_capture.h"
#include "support/fake_appliance.h"
#include "vexozeph/vexozeph.h"

namespace {

namespace fake = vexozeph::fake;
using vexozeph::testing::kAccountFile;
using vexozeph::testing::LogCapture;

class ReportWithoutServer : public vexozeph::testing::FakeAppliance {
 protected:
  void SetUp() override {
    FakeAppliance::SetUp();
    UseDeadAccountHost(
        "zephID=\"iris@example.com\"\nzephIDSerial=\"2000001\"\n"
        "bx_auth_key=\"0123456789abcdef0123\"\n");
  }

  // The report with a stale last error, which it must clear on entry.
  static int Report() {
    VEXOZEPHErrSet(VEXOZEPH_ERR_ACCOUNT_UNVERIFIED);
    return VEXOZEPHReportInfo();
  }
};

TEST_F(ReportWithoutServer, EachStepBeforeTheRequestFailsWithItsOwnCodeAndLineInOrder) {
  struct Case {
    const char *what;
    std::vector<const char *> failing;
    int expected_error;
    const char *line;
  };
  const std::vector<Case> cases = {
      // The zone name's failure is the one that leaves no code.
      {"zone name before serial",
       {"VEXOZoneGet", "VLIBGetSerialNumber"},
       0,
       "failed to get time zone, size need: 0, err=[0x0005 "},
      {"zone hash",
       {"VLIBCSzHashAlloc"},
       VEXOZEPH_ERR_SYSTEM,
       "Failed to alloc pTZInfo, err=[0x0005 "},
      {"zone information before serial",
       {"VEXOZoneGetInfo", "VLIBGetSerialNumber"},
       VEXOZEPH_ERR_SYSTEM,
       "failed to get timezone info[0x0005 "},
      {"serial before form",
       {"VLIBGetSerialNumber", "VLIBCSzHashSetValue"},
       VEXOZEPH_ERR_SERIAL,
       "Failed to get serial number, err=[0x0005 "},
      {"form",
       {"VLIBCSzHashSetValue"},
       VEXOZEPH_ERR_SYSTEM,
       "Failed to alloc https request, err=[0x0005 "},
      // Everything in place: the request itself is what fails.
      {"nothing", {}, VEXOZEPH_ERR_SEND, "Failed to send https request. err=[0x"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    fake::Reset();
    for (const char *function : c.failing) fake::FailNext(function);
    LogCapture log;
    EXPECT_EQ(Report(), -1);
    EXPECT_EQ(VEXOZEPHErrGet(), c.expected_error);
    EXPECT_EQ(log.Count(std::string("zeph_report_info:")), 1u) << log.Lines().size();
    EXPECT_EQ(log.Count(c.line), 1u) << (log.Lines().empty() ? "" : log.Lines()[0]);
  }
}

TEST_F(ReportWithoutServer, AZoneNameTooLongOrWithoutADatabaseNameIsRefusedWithItsOwnCode) {
  // A name longer than the buffer: the size it would need is in the line.
  fake::SetZone(std::string(300, 'z'));
  LogCapture log;
  EXPECT_EQ(Report(), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), 0);
  EXPECT_EQ(log.Count("failed to get time zone, size need: 301, err=[0x0022 "), 1u);

  fake::Reset();
  fake::SetZoneInfo({{"offset", "+08:00"}});
  log.Clear();
  EXPECT_EQ(Report(), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), VEXOZEPH_ERR_SYSTEM);
  EXPECT_EQ(log.Count("failed to get tmz[0x"), 1u);

  // The zone is asked about by the name the appliance knows it by.
  fake::Reset();
  fake::FailNext("VEXOZoneGetInfo");
  EXPECT_EQ(Report(), -1);
  const std::vector<fake::Call> asked = fake::CallsTo("VEXOZoneGetInfo");
  ASSERT_EQ(asked.size(), 1u);
  EXPECT_EQ(asked[0].args[0], "Taipei");
}

TEST_F(ReportWithoutServer, NoAccountOrASwitchedOffReportEndsBeforeTheFirstPlatformQuestion) {
  root_.WriteFile("/etc/vexoinfo.conf", "zeph_disable_report=\"yes\"\n");
  EXPECT_EQ(Report(), 0);
  EXPECT_EQ(VEXOZEPHErrGet(), 0);
  EXPECT_EQ(fake::CallsTo("VLIBCFileCheckKeyValue").size(), 1u);

  fake::Reset();
  root_.WriteFile(kAccountFile, "zephID=\"iris@example.com\"\n");
  EXPECT_EQ(Report(), 0);
  EXPECT_EQ(VEXOZEPHErrGet(), 0) << "no account is nothing to report, not an error";
  EXPECT_TRUE(fake::CallsTo("VLIBCFileCheckKeyValue").empty()) << "the account is asked first";

  for (const char *function :
       {"VEXOZoneGet", "VLIBGetSerialNumber", "VLIBCSzHashAlloc", "VEXOSysNotifySendNotifiction"}) {
    EXPECT_TRUE(fake::CallsTo(function).empty()) << function;
  }
}

}  // namespace
