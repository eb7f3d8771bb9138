// `vexozeph scan`: the cloud accounts that other features of this device (the antivirus
// package, the relay connection, DDNS) are bound to.
#include <json/value.h>

#include <memory>
#include <string>

#include "command.h"
#include "exit_status.h"
#include "vexozeph/zeph_account.h"

namespace vexozeph {
namespace cli {
namespace {

// Values are kept as the features store them (a DDNS line keeps its line end); a person
// reads them without it.
std::string Trimmed(const Json::Value &value) {
  std::string text = value.isString() ? value.asString() : "";
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
  return text;
}

class ScanCommand : public Command {
 public:
  void Define(CLI::App &) override {}

  int Run(const Output &out) override {
    Json::Value accounts(Json::objectValue);
    if (VEXOZEPHAccountScanExisting(accounts) != 0) return out.LastLibraryFailure();

    const Json::Value &found = accounts;
    std::string text;
    for (const std::string &name : found.getMemberNames()) {
      text += Visible(Trimmed(Json::Value(name))) + "\n";
      for (const Json::Value &service : found[name]["services"]) {
        const std::string type = Visible(Trimmed(service["type"]));
        text += "  " + type + std::string(type.size() < 10 ? 10 - type.size() : 1, ' ') +
                Visible(Trimmed(service["value"])) + "\n";
      }
    }
    if (text.empty()) text = "No feature of this device is bound to a cloud account.\n";
    out.Document(accounts, text);
    return kExitSuccess;
  }
};

}  // namespace

std::unique_ptr<Command> MakeScanCommand() {
  return std::make_unique<ScanCommand>();
}

}  // namespace cli
}  // namespace vexozeph
