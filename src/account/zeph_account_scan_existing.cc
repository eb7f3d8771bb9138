#include <json/value.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "account/account_operations.h"
#include "base/log.h"
#include "base/root_path.h"
#include "core/c_edge.h"
#include "internal/json_utils.h"
#include "vexo_platform/vexo_payment.h"
#include "vexo_platform/vlib_process.h"
#include "vexozeph/zeph_account.h"

namespace {

// The antivirus package is always bound to the signed-in account.
const char kAntivirusDisplayName[] = "Vexo Antivirus Essential";
const size_t kAccountRecordSize = 20248;
const char kRelayConfig[] = "/usr/vexo/etc/vexorelayd/vexorelayd.conf";
const char kDdnsTool[] = "/usr/vexo/sbin/vexoddnsinfo";
const size_t kLineSize = 1024;

void AddService(Json::Value &accounts, const std::string &account, const char *type,
                const std::string &value) {
  if (!accounts.isMember(account)) accounts[account] = Json::Value(Json::objectValue);
  Json::Value &entry = accounts[account];
  if (!entry.isMember("services")) entry["services"] = Json::Value(Json::arrayValue);
  Json::Value service(Json::objectValue);
  service["type"] = type;
  service["value"] = value;
  entry["services"].append(service);
}

void ScanPackage(Json::Value &accounts) {
  std::vector<char> record(kAccountRecordSize, '\0');
  if (VEXOPaymentZephAccountGet(record.data(), record.size()) < 0) return;
  record.back() = '\0';
  AddService(accounts, record.data(), "package", kAntivirusDisplayName);
}

void ScanRelay(Json::Value &accounts) {
  Json::Value config;
  if (!vexozeph::json::FromFile(vexozeph::RootedPath(kRelayConfig), config)) return;
  std::string alias;
  std::string account;
  if (!vexozeph::json::GetString(vexozeph::json::Member(config, "server_alias"), "alias", alias) ||
      !vexozeph::json::GetString(vexozeph::json::Member(config, "server_zeph"), "account",
                                 account) ||
      account.empty()) {
    return;
  }
  AddService(accounts, account, "zipreach", alias);
}

struct PipeCloser {
  void operator()(FILE *stream) const { VLIBCPclose(stream); }
};

// One line of the DDNS tool's output, line end included, into `line`. False when the tool
// could not be run or read.
bool RunDdnsTool(const char *option, char (&line)[kLineSize]) {
  std::unique_ptr<FILE, PipeCloser> pipe(
      VLIBCPopen(kDdnsTool, "r", option, static_cast<const char *>(nullptr)));
  if (!pipe) {
    ZLOG("Failed to open pipe");
    return false;
  }
  if (std::fgets(line, sizeof(line), pipe.get()) == nullptr && std::ferror(pipe.get())) {
    ZLOG("Failed to execute ddns command, option=%s", option);
    return false;
  }
  return true;
}

void ScanDdns(Json::Value &accounts) {
  char account[kLineSize] = {0};
  if (!RunDdnsTool("--get-vexo-account", account) || account[0] == '\0') return;
  char hostname[kLineSize] = {0};
  if (!RunDdnsTool("--get-vexo-hostname", hostname) || hostname[0] == '\0') return;
  AddService(accounts, account, "ddns", hostname);
}

}  // namespace

namespace vexozeph {

Json::Value ScanExistingAccounts() {
  Json::Value accounts(Json::objectValue);
  ScanPackage(accounts);
  ScanRelay(accounts);
  ScanDdns(accounts);
  return accounts;
}

}  // namespace vexozeph

VEXOZEPH_API int VEXOZEPHAccountScanExisting(Json::Value &accounts) {
  return vexozeph::GuardCInterface("VEXOZEPHAccountScanExisting", [&] {
    accounts = vexozeph::ScanExistingAccounts();
    return 0;
  });
}
