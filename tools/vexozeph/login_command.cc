// `vexozeph login`: signs the device in. Each way of signing in is one mode below, chosen
// by its option; the password or key comes from a no-echo prompt or from stdin, never
// from the command line (where other users could read it in the process list). The
// browser's sign-in lives in browser_login.cc.
#include <json/value.h>
#include <CLI/CLI.hpp>

#include <memory>
#include <string>

#include "browser_login.h"
#include "command.h"
#include "exit_status.h"
#include "output.h"
#include "secret_input.h"
#include "vexozeph/zeph_account.h"

namespace vexozeph {
namespace cli {
namespace {

// The server's user id, a number or a text.
std::string UserId(const Json::Value &response) {
  if (!response.isObject()) return "";
  const Json::Value &id = response["id"];
  return id.isString() || id.isIntegral() ? id.asString() : "";
}

class LoginCommand : public Command {
 public:
  void Define(CLI::App &app) override {
    CLI::Option *email =
        app.add_option("--email", email_, "Sign in with this account's e-mail and password")
            ->type_name("EMAIL");
    CLI::Option *key = app.add_option("--key", user_id_,
                                      "Sign in with this user id and its auth key, read from stdin")
                           ->type_name("USERID");
    email->excludes(key);
    app.add_flag("--password-stdin", password_stdin_,
                 "Read the password from the first line of stdin instead of a prompt")
        ->needs(email);
    app.add_flag("--verify-only", verify_only_,
                 "Only check the e-mail and password; store and schedule nothing")
        ->needs(email);
    CLI::Option *browser = app.add_flag(
        "--browser", browser_, "Sign in in a browser: print the sign-in address, take the answer");
    browser->excludes(email)->excludes(key);
    CLI::Option *listen =
        app.add_flag("--listen", browser_options_.listen,
                     "With --browser: receive the browser's answer on a loopback port (127.0.0.1)")
            ->needs(browser);
    app.add_option("--port", browser_options_.port,
                   "With --listen: the loopback port (default: a free one)")
        ->type_name("PORT")
        ->check(CLI::Range(0, 65535))
        ->needs(listen);
    app.add_option("--timeout", browser_options_.timeout_seconds,
                   "With --listen: seconds to wait for the browser (default 300)")
        ->type_name("SECONDS")
        ->check(CLI::Range(1, 86400))
        ->needs(listen);
    app.footer(
        "One of --email, --key or --browser is required.\n"
        "With --browser the address to open is printed on stderr; the exit status is 65 when\n"
        "the browser's answer is unusable (refused, no code, another sign-in's state) and 75\n"
        "when --listen gets no answer in time.");
  }

  int Run(const Output &out) override {
    if (!email_.empty()) return LoginWithPassword(out);
    if (!user_id_.empty()) return LoginWithKey(out);
    if (browser_) return RunBrowserLogin(out, browser_options_);
    return out.Usage("give --email EMAIL, --key USERID or --browser (see --help)");
  }

 private:
  int LoginWithPassword(const Output &out) {
    SecretInput input(password_stdin_ ? SecretInput::Source::kStdin
                                      : SecretInput::Source::kTerminal);
    Secret password;
    std::string why;
    if (!input.Read("Password for " + email_, &password, &why)) {
      return out.Usage("no password: " + why);
    }
    Json::Value response;
    if (VEXOZEPHAccountLogin(email_.c_str(), password.c_str(), response, verify_only_) != 0) {
      return out.LastLibraryFailure();
    }
    const std::string user_id = UserId(response);
    Json::Value document(Json::objectValue);
    document["email"] = email_;
    document["user_id"] = user_id;
    document["stored"] = !verify_only_;
    out.Document(document,
                 verify_only_
                     ? "The password of " + Visible(email_) + " is right. Nothing was stored.\n"
                     : "Signed in as " + Visible(email_) + " (user " + Visible(user_id) + ").\n");
    return kExitSuccess;
  }

  int LoginWithKey(const Output &out) {
    Secret auth_key;
    std::string why;
    if (!SecretInput(StdinOrTerminal()).Read("Auth key of user " + user_id_, &auth_key, &why)) {
      return out.Usage("no auth key: " + why);
    }
    Json::Value result;
    if (VEXOZEPHAccountLoginByKey(user_id_.c_str(), auth_key.c_str(), result) != 0) {
      return out.LastLibraryFailure();
    }
    const std::string email = StringMember(result, "email");
    Json::Value document(Json::objectValue);
    document["email"] = email;
    document["user_id"] = user_id_;
    document["activated"] = BoolMember(result, "activated");
    document["stored"] = true;
    out.Document(document, "Signed in as " + Visible(email) + " (user " + Visible(user_id_) +
                               ") with its auth key.\n");
    return kExitSuccess;
  }

  std::string email_;
  std::string user_id_;
  bool password_stdin_ = false;
  bool verify_only_ = false;
  bool browser_ = false;
  BrowserLoginOptions browser_options_;
};

}  // namespace

std::unique_ptr<Command> MakeLoginCommand() {
  return std::make_unique<LoginCommand>();
}

}  // namespace cli
}  // namespace vexozeph
