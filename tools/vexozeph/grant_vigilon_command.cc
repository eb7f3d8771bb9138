// `vexozeph grant-vigilon`: an authorization code for the cloud monitoring service, asked
// of the account host through the device's "vigilon" package, as the monitoring side's
// sign-in hands its own client, scope, redirect address and state to the appliance. It
// prints the finished redirect address, code included: the code is the answer asked for,
// short-lived and good only to that client.
#include <json/value.h>
#include <CLI/CLI.hpp>

#include <memory>
#include <string>

#include "command.h"
#include "exit_status.h"
#include "output.h"
#include "vexozeph/account_vigilon_service.h"

namespace vexozeph {
namespace cli {
namespace {

class GrantVigilonCommand : public Command {
 public:
  void Define(CLI::App &app) override {
    app.add_option("CLIENT_ID", client_id_, "The monitoring service's client id")->required();
    app.add_option("SCOPE", scope_, "The scope asked for, sent whole as one value")->required();
    app.add_option("REDIRECT", redirect_, "The address the code is handed back to")->required();
    app.add_option("STATE", state_, "The monitoring side's state, handed back unchanged")
        ->required();
    app.footer(
        "Prints REDIRECT?scope=...&state=...&code=...: the address the monitoring side's "
        "browser goes to next.");
  }

  int Run(const Output &out) override {
    const std::string address =
        AccountVigilonService().Grant(client_id_, scope_, redirect_, state_);
    Json::Value document(Json::objectValue);
    document["redirect"] = address;
    out.Document(document, Visible(address) + "\n");
    return kExitSuccess;
  }

 private:
  std::string client_id_;
  std::string scope_;
  std::string redirect_;
  std::string state_;
};

}  // namespace

std::unique_ptr<Command> MakeGrantVigilonCommand() {
  return std::make_unique<GrantVigilonCommand>();
}

}  // namespace cli
}  // namespace vexozeph
