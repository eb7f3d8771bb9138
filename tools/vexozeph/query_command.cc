// `vexozeph query [--fresh]`: the account's profile through the library's cache: from the
// account file while recent, else from the account service (which also refreshes the
// file, and signs the device out when the service refuses the stored key).
#include <json/value.h>
#include <CLI/CLI.hpp>

#include <memory>

#include "command.h"
#include "exit_status.h"
#include "profile_fields.h"
#include "vexozeph/zeph_account.h"

namespace vexozeph {
namespace cli {
namespace {

class QueryCommand : public Command {
 public:
  void Define(CLI::App &app) override {
    app.add_flag("--fresh", fresh_,
                 "Ask the service unless the last query is under 5 minutes old (default: a day)");
    app.add_flag("--short-timeout", short_timeout_,
                 "15-second time-outs and two attempts instead of 120 seconds and three");
  }

  int Run(const Output &out) override {
    Json::Value profile(Json::objectValue);
    if (VEXOZEPHAccountQueryInfo(profile, fresh_, short_timeout_) != 0) {
      return out.LastLibraryFailure();
    }
    out.Record(ProfileFields(profile));
    return kExitSuccess;
  }

 private:
  bool fresh_ = false;
  bool short_timeout_ = false;
};

}  // namespace

std::unique_ptr<Command> MakeQueryCommand() {
  return std::make_unique<QueryCommand>();
}

}  // namespace cli
}  // namespace vexozeph
