// Where the generic-Linux platform finds the appliance's identity: serial number, MAC
// address, user agent and cloud-service API key, all under the test's root.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <set>
#include <string>
#include <vector>

#include "base/request_token.h"
#include "support/child_process.h"
#include "support/temp_root.h"
#include "vexo_platform/vexo_cloud_service.h"
#include "vexo_platform/vlib_device.h"

namespace {

using vexozeph::testing::StartChild;
using vexozeph::testing::TempRoot;
using vexozeph::testing::WaitChild;

std::string Serial(int *rc = nullptr) {
  char serial[36] = {0};
  int result = VLIBGetSerialNumber(serial, sizeof(serial));
  if (rc != nullptr) *rc = result;
  return serial;
}

std::string Mac(int *rc = nullptr) {
  char mac[24] = {0};
  int result = VEXOBxinfoCloudServiceGetMacAddress(mac, sizeof(mac));
  if (rc != nullptr) *rc = result;
  return mac;
}

std::string Md5UpperPrefix(const std::string &text, size_t digits) {
  char hex[33] = {0};
  EXPECT_EQ(ZephGetMd5String(text.c_str(), hex, sizeof(hex)), 0);
  std::string prefix(hex, digits);
  for (char &c : prefix) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return prefix;
}

TEST(PlatformDeviceIdentity, SerialComesFromTheFirstUsableSource) {
  TempRoot root;
  int rc = 0;
  Serial(&rc);
  EXPECT_LT(rc, 0) << "no source at all must fail";

  root.WriteFile("/etc/machine-id", "0123456789abcdef0123456789abcdef\n");
  EXPECT_EQ(Serial(), "VZ" + Md5UpperPrefix("0123456789abcdef0123456789abcdef", 10));

  // Firmware placeholders are not serial numbers.
  for (const char *placeholder : {"To Be Filled By O.E.M.\n", "0000000\n", "None\n", "\n"}) {
    root.WriteFile("/sys/class/dmi/id/product_serial", placeholder);
    EXPECT_EQ(Serial().substr(0, 2), "VZ") << placeholder;
  }
  root.WriteFile("/sys/class/dmi/id/product_serial", "2150ABC123\n");
  EXPECT_EQ(Serial(), "2150ABC123");

  root.WriteFile("/etc/vexozeph/serial", "  1930PDN012345 \nsecond line\n");
  EXPECT_EQ(Serial(), "1930PDN012345");

  char tiny[5];
  ASSERT_EQ(VLIBGetSerialNumber(tiny, sizeof(tiny)), 0);
  EXPECT_STREQ(tiny, "1930");
}

TEST(PlatformDeviceIdentity, MacPrefersARealNicOverVirtualOnesAndLoopback) {
  TempRoot root;
  int rc = 0;
  Mac(&rc);
  EXPECT_LT(rc, 0);

  root.WriteFile("/sys/class/net/lo/address", "00:00:00:00:00:00\n");
  root.WriteFile("/sys/class/net/br-1/address", "02:42:AC:11:00:01\n");  // virtual: no device
  EXPECT_EQ(Mac(), "02:42:ac:11:00:01") << "a virtual interface is better than nothing";

  root.WriteFile("/sys/class/net/eth0/address", "00:00:00:00:00:00\n");
  root.WriteFile("/sys/class/net/eth0/device", "");
  root.WriteFile("/sys/class/net/eth1/address", "00:11:32:AB:CD:EF\n");
  root.WriteFile("/sys/class/net/eth1/device", "");
  root.WriteFile("/sys/class/net/tun0/address", "\n");
  EXPECT_EQ(Mac(), "00:11:32:ab:cd:ef");

  root.WriteFile("/etc/vexozeph/mac", "00-11-32-01-02-0A\n");
  EXPECT_EQ(Mac(), "00:11:32:01:02:0a");
  root.WriteFile("/etc/vexozeph/mac", "garbage\n");
  EXPECT_EQ(Mac(), "00:11:32:ab:cd:ef");

  char small[17];
  EXPECT_LT(VEXOBxinfoCloudServiceGetMacAddress(small, sizeof(small)), 0);
}

TEST(PlatformDeviceIdentity, UserAgentNamesLibrarySystemAndMachineAndStaysOneHeaderLine) {
  TempRoot root;
  root.WriteFile("/etc/os-release",
                 "NAME=\"Debian GNU/Linux\"\nPRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\n");
  char agent[256];
  ASSERT_EQ(VLIBBxinfoUserAgentGet(agent, sizeof(agent)), 0);
  std::string text(agent);
  EXPECT_EQ(text.rfind("vexozeph/", 0), 0u) << text;
  EXPECT_NE(text.find(" (Debian GNU/Linux 12 (bookworm); "), std::string::npos) << text;
  EXPECT_EQ(text.back(), ')');

  root.WriteFile("/etc/os-release", "ID=evil\nVERSION_ID=\"1\r\nX-Injected: yes\"\n");
  ASSERT_EQ(VLIBBxinfoUserAgentGet(agent, sizeof(agent)), 0);
  text = agent;
  EXPECT_NE(text.find("(evil "), std::string::npos) << text;
  EXPECT_EQ(text.find("Injected"), std::string::npos) << text;
  for (char c : text) EXPECT_TRUE(std::isprint(static_cast<unsigned char>(c))) << text;

  char tiny[8];
  EXPECT_LT(VLIBBxinfoUserAgentGet(tiny, sizeof(tiny)), 0);
}

TEST(PlatformCloudService, ApiKeyIsRegisteredOnceStoredPrivatelyAndRenewable) {
  TempRoot root;
  char key[1024] = {0};
  EXPECT_LT(VEXOCloudServiceGetApiKey(key, sizeof(key), 0), 0);
  EXPECT_EQ(VEXOCloudServiceGetErrorCode(), VEXO_CLOUD_SERVICE_ERR_OTHER);

  // Processes asking at the same moment on a fresh device must all end up with the one
  // key that is stored, not each with its own.
  std::vector<pid_t> children;
  for (int i = 0; i < 4; ++i) {
    children.push_back(StartChild([&, i] {
      char mine[1024] = {0};
      if (VEXOCloudServiceGetApiKey(mine, sizeof(mine), 1) != 0) return 1;
      root.WriteFile("/tmp/key" + std::to_string(i), mine);
      return 0;
    }));
  }
  std::set<std::string> distinct;
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(WaitChild(children[i]), 0);
    distinct.insert(root.ReadFile("/tmp/key" + std::to_string(i)));
  }
  ASSERT_EQ(distinct.size(), 1u);

  ASSERT_EQ(VEXOCloudServiceGetApiKey(key, sizeof(key), 0), 0);
  EXPECT_EQ(VEXOCloudServiceGetErrorCode(), VEXO_CLOUD_SERVICE_OK);
  const std::string first = key;
  EXPECT_EQ(first, *distinct.begin());
  EXPECT_EQ(first.size(), 32u);
  EXPECT_EQ(first.find_first_not_of("0123456789abcdef"), std::string::npos);
  struct stat info {};
  EXPECT_EQ(stat(root.Path("/usr/vexo/etc/cloud_service/apikey").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0600u);

  char renewed[1024] = {0};
  ASSERT_EQ(VEXOCloudServiceRegisterApiKey(renewed, sizeof(renewed)), 0);
  EXPECT_NE(std::string(renewed), first);
  ASSERT_EQ(VEXOCloudServiceGetApiKey(key, sizeof(key), 1), 0);
  EXPECT_STREQ(key, renewed);

  char small[32];
  EXPECT_LT(VEXOCloudServiceRegisterApiKey(small, sizeof(small)), 0);
  ASSERT_EQ(VEXOCloudServiceGetApiKey(key, sizeof(key), 0), 0);
  EXPECT_STREQ(key, renewed) << "a refused registration must not replace the stored key";
}

}  // namespace
