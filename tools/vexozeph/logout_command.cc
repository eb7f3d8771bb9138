// `vexozeph logout`: signs the device out at the account service and then locally, or
// with --local only locally: the account file, the report's schedule and the token file
// of every OAuth client on the device go, but the service is not told.
#include <json/value.h>
#include <CLI/CLI.hpp>

#include <memory>
#include <string>

#include "command.h"
#include "exit_status.h"
#include "output.h"
#include "vexozeph/user.h"
#include "vexozeph/vexozeph.h"
#include "vexozeph/zeph_exception.h"

namespace vexozeph {
namespace cli {
namespace {

class LogoutCommand : public Command {
 public:
  void Define(CLI::App &app) override {
    app.add_flag("--local", local_,
                 "Only clear this device; the account service is not told (works offline)");
  }

  int Run(const Output &out) override {
    // For the message only: an account file that cannot be read must not keep the
    // device from signing out, which clears that very file.
    std::string email;
    try {
      email = User().GetEmail();
    } catch (const ZephException &) {
    }
    if (VEXOZEPHAccountLogout(!local_) != 0) return out.LastLibraryFailure();

    Json::Value document(Json::objectValue);
    document["signed_out"] = true;
    document["email"] = email;
    document["remote"] = !local_;
    std::string text;
    if (email.empty()) {
      text = "No account was stored; the device's session files are cleared.\n";
    } else if (local_) {
      text = "Signed out of " + Visible(email) +
             " on this device only; the account service was not told.\n";
    } else {
      text = "Signed out of " + Visible(email) + ".\n";
    }
    out.Document(document, text);
    return kExitSuccess;
  }

 private:
  bool local_ = false;
};

}  // namespace

std::unique_ptr<Command> MakeLogoutCommand() {
  return std::make_unique<LogoutCommand>();
}

}  // namespace cli
}  // namespace vexozeph
