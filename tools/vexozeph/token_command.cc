// `vexozeph token`: prints a token of an OAuth session on this device, renewed first when
// it has lapsed. The one command that prints a secret, because that is what it is asked
// for: a script that calls the cloud as this device takes it from here.
#include <json/value.h>
#include <CLI/CLI.hpp>

#include <memory>
#include <string>

#include "command.h"
#include "exit_status.h"
#include "output.h"
#include "vexozeph/account_pkce_service.h"
#include "vexozeph/package_pkce_client.h"

namespace vexozeph {
namespace cli {
namespace {

class TokenCommand : public Command {
 public:
  void Define(CLI::App &app) override {
    app.add_flag("--id", id_token_, "The identity token instead of the access token");
    app.add_option("--package", package_, "A package's token instead of the device session's")
        ->type_name("NAME");
    app.footer("The token is a secret: whoever holds it acts as this device until it expires.");
  }

  int Run(const Output &out) override {
    if (!package_.empty()) return PackageToken(out);
    const AccountPkceService session;
    return Print(out, id_token_ ? session.GetIdToken() : session.GetAccessToken());
  }

 private:
  // A package borrows the device's session to be granted its own tokens; they are
  // printed like the device's, with the package named in the JSON form.
  int PackageToken(const Output &out) const {
    const PackagePkceClient package(package_);
    return Print(out, id_token_ ? package.GetIdToken() : package.GetAccessToken());
  }

  int Print(const Output &out, const std::string &token) const {
    Json::Value document(Json::objectValue);
    document[id_token_ ? "id_token" : "access_token"] = token;
    if (!package_.empty()) document["package"] = package_;
    out.Document(document, Visible(token) + "\n");
    return kExitSuccess;
  }

  bool id_token_ = false;
  std::string package_;
};

}  // namespace

std::unique_ptr<Command> MakeTokenCommand() {
  return std::make_unique<TokenCommand>();
}

}  // namespace cli
}  // namespace vexozeph
