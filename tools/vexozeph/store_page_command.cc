// `vexozeph store-page`: the address and parameters with which a management page embeds
// the store for this device and account. The ticket in them is a secret for a few
// minutes and one page load; the auth key never appears.
#include <json/value.h>

#include <memory>
#include <string>
#include <vector>

#include "command.h"
#include "exit_status.h"
#include "vexozeph/zeph_account.h"

namespace vexozeph {
namespace cli {
namespace {

class StorePageCommand : public Command {
 public:
  void Define(CLI::App &) override {}

  int Run(const Output &out) override {
    Json::Value page(Json::objectValue);
    if (VEXOZEPHGetIframeInfo(page) != 0) return out.LastLibraryFailure();
    if (out.json()) {
      out.Document(page, "");
      return kExitSuccess;
    }
    const int64_t expires_at = page["expires_at"].asInt64();
    out.Record({
        {"url", "Store page", Visible(StringMember(page, "url"))},
        {"address", "Address", Visible(StringMember(page, "address"))},
        {"ticket", "Ticket", Visible(StringMember(page["params"], "ticket"))},
        {"expires_at", "Valid until", UtcTime(expires_at) + " (one page load)"},
    });
    return kExitSuccess;
  }
};

}  // namespace

std::unique_ptr<Command> MakeStorePageCommand() {
  return std::make_unique<StorePageCommand>();
}

}  // namespace cli
}  // namespace vexozeph
