// `vexozeph register`: creates a new cloud account from this device. Nothing is stored
// locally; the new account signs in with `vexozeph login` afterwards.
#include <json/value.h>
#include <CLI/CLI.hpp>

#include <memory>
#include <string>

#include "command.h"
#include "exit_status.h"
#include "secret_input.h"
#include "vexozeph/vexozeph.h"

namespace vexozeph {
namespace cli {
namespace {

class RegisterCommand : public Command {
 public:
  void Define(CLI::App &app) override {
    app.add_option("--email", email_, "The new account's e-mail")->type_name("EMAIL")->required();
    app.add_option("--name", full_name_, "The owner's full name")->type_name("NAME")->required();
    app.add_option("--country", country_, "Country code")->type_name("COUNTRY");
    app.add_flag("--critical-release", critical_release_, "Mail about critical releases");
    app.add_flag("--enews", enews_, "Mail the newsletter");
    app.add_flag("--local-promotion", local_promotion_, "Mail local promotions");
    app.add_flag("--password-stdin", password_stdin_,
                 "Read the password from the first line of stdin instead of a prompt");
  }

  int Run(const Output &out) override {
    Secret password;
    std::string why;
    SecretInput input(password_stdin_ ? SecretInput::Source::kStdin
                                      : SecretInput::Source::kTerminal);
    if (!input.ReadNew("Password for the new account", &password, &why)) {
      return out.Usage("no password: " + why);
    }
    if (VEXOZEPHAccountRegister(email_.c_str(), password.c_str(), full_name_.c_str(),
                                critical_release_, enews_, local_promotion_,
                                country_.empty() ? nullptr : country_.c_str()) != 0) {
      return out.LastLibraryFailure();
    }
    Json::Value document(Json::objectValue);
    document["email"] = email_;
    document["created"] = true;
    out.Document(document, "Created the account " + Visible(email_) +
                               ". Sign in with: vexozeph login --email " + Visible(email_) + "\n");
    return kExitSuccess;
  }

 private:
  std::string email_;
  std::string full_name_;
  std::string country_;
  bool critical_release_ = false;
  bool enews_ = false;
  bool local_promotion_ = false;
  bool password_stdin_ = false;
};

}  // namespace

std::unique_ptr<Command> MakeRegisterCommand() {
  return std::make_unique<RegisterCommand>();
}

}  // namespace cli
}  // namespace vexozeph
