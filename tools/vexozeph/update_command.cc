// `vexozeph update`: changes the signed-in account at the account service. Only what is
// given is sent. A new e-mail or password needs the current password, which is asked for
// (or read from stdin) only then.
#include <json/value.h>
#include <CLI/CLI.hpp>

#include <memory>
#include <string>
#include <vector>

#include "command.h"
#include "exit_status.h"
#include "secret_input.h"
#include "vexozeph/vexozeph.h"

namespace vexozeph {
namespace cli {
namespace {

// A text option: null (not sent) when not given.
const char *Given(const std::string &value, const CLI::Option *option) {
  return option->count() > 0 ? value.c_str() : nullptr;
}

// A yes/no option: negative (left as it is) when not given.
int Flag(const std::string &value) {
  return value.empty() ? -1 : (value == "yes" ? 1 : 0);
}

class UpdateCommand : public Command {
 public:
  void Define(CLI::App &app) override {
    name_ = app.add_option("--name", full_name_, "New full name")->type_name("NAME");
    new_email_ =
        app.add_option("--new-email", new_email_text_, "New e-mail (asks the current password)")
            ->type_name("EMAIL");
    country_ = app.add_option("--country", country_text_, "New country code")->type_name("COUNTRY");
    language_ = app.add_option("--language", language_text_, "New notification language")
                    ->type_name("LANG");
    timezone_ = app.add_option("--timezone", timezone_text_, "New time zone")->type_name("ZONE");
    versions_ = app.add_option("--critical-versions", versions_text_,
                               "New list of critical versions (comma-separated)")
                    ->type_name("LIST");
    const auto yes_no = CLI::IsMember({"yes", "no"});
    flags_.push_back(app.add_option("--enews", enews_, "Mail the newsletter")
                         ->check(yes_no)
                         ->option_text("yes|no"));
    flags_.push_back(
        app.add_option("--critical-release", critical_release_, "Mail about critical releases")
            ->check(yes_no)
            ->option_text("yes|no"));
    flags_.push_back(app.add_option("--local-promotion", local_promotion_, "Mail local promotions")
                         ->check(yes_no)
                         ->option_text("yes|no"));
    new_password_ = app.add_flag("--new-password", "Choose a new password (asks the current one)");
    app.add_flag("--password-stdin", password_stdin_,
                 "Read the current password, then the new one, as lines of stdin");
  }

  int Run(const Output &out) override {
    std::vector<std::string> changed;
    for (const CLI::Option *option : {name_, new_email_, country_, language_, timezone_, versions_,
                                      flags_[0], flags_[1], flags_[2], new_password_}) {
      if (option->count() > 0) changed.push_back(option->get_name().substr(2));
    }
    if (changed.empty()) return out.Usage("nothing to change (see --help)");

    SecretInput input(password_stdin_ ? SecretInput::Source::kStdin
                                      : SecretInput::Source::kTerminal);
    Secret current;
    Secret chosen;
    std::string why;
    const bool needs_current = new_email_->count() > 0 || new_password_->count() > 0;
    if (needs_current && !input.Read("Current password", &current, &why)) {
      return out.Usage("no current password: " + why);
    }
    if (new_password_->count() > 0 && !input.ReadNew("New password", &chosen, &why)) {
      return out.Usage("no new password: " + why);
    }

    if (VEXOZEPHAccountSetInfo(Given(full_name_, name_), Given(new_email_text_, new_email_),
                               needs_current ? current.c_str() : nullptr,
                               new_password_->count() > 0 ? chosen.c_str() : nullptr,
                               Given(country_text_, country_), Given(language_text_, language_),
                               Given(timezone_text_, timezone_), Flag(enews_),
                               Flag(critical_release_), Flag(local_promotion_),
                               Given(versions_text_, versions_)) != 0) {
      return out.LastLibraryFailure();
    }
    Json::Value document(Json::objectValue);
    document["updated"] = Json::Value(Json::arrayValue);
    std::string text = "Updated:";
    for (const std::string &name : changed) {
      document["updated"].append(name);
      text += " " + name;
    }
    out.Document(document, text + ".\n");
    return kExitSuccess;
  }

 private:
  std::string full_name_;
  std::string new_email_text_;
  std::string country_text_;
  std::string language_text_;
  std::string timezone_text_;
  std::string versions_text_;
  std::string enews_;
  std::string critical_release_;
  std::string local_promotion_;
  bool password_stdin_ = false;
  CLI::Option *name_ = nullptr;
  CLI::Option *new_email_ = nullptr;
  CLI::Option *country_ = nullptr;
  CLI::Option *language_ = nullptr;
  CLI::Option *timezone_ = nullptr;
  CLI::Option *versions_ = nullptr;
  std::vector<CLI::Option *> flags_;
  CLI::Option *new_password_ = nullptr;
};

}  // namespace

std::unique_ptr<Command> MakeUpdateCommand() {
  return std::make_unique<UpdateCommand>();
}

}  // namespace cli
}  // namespace vexozeph
