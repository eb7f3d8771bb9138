// `vexozeph status`: the account stored on this device, read from the account file alone.
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "command.h"
#include "exit_status.h"
#include "profile_fields.h"
#include "vexozeph/pkce_client.h"
#include "vexozeph/user.h"
#include "vexozeph/vexozeph.h"

namespace vexozeph {
namespace cli {
namespace {

// The device session's OAuth client: its token file tells whether a session is held.
const char kDeviceClient[] = "tarn";

class StatusCommand : public Command {
 public:
  void Define(CLI::App &) override {}

  int Run(const Output &out) override {
    std::unique_ptr<ZEPH_INFO> info(new ZEPH_INFO());
    if (VEXOZEPHAccountGet(info.get()) != 0) {
      const unsigned int code = static_cast<unsigned int>(VEXOZEPHErrGet());
      if (code != VEXOZEPH_ERR_NO_ACCOUNT) return out.LibraryFailure(code);
      // Not signed in is an answer, not a failure to report: stdout only, exit 3.
      Json::Value document(Json::objectValue);
      document["signed_in"] = false;
      out.Document(document, "This device is not signed in.\n");
      return ExitStatusForCode(code);
    }

    Json::Value profile(Json::objectValue);
    profile["email"] = info->email;
    profile["full_name"] = info->full_name;
    profile["country"] = info->country;
    profile["timezone"] = info->timezone;
    profile["notify_language"] = info->notify_language;
    profile["activated"] = info->activated != 0;
    profile["disabled"] = info->disabled != 0;
    profile["enews"] = info->enews != 0;
    profile["critical_release"] = info->critical_release != 0;
    profile["enews_local_promotion"] = info->enews_local_promotion != 0;

    const User user;
    const int64_t last_query = user.GetLastQueryTime();
    const Json::Value last_query_value =
        out.json() ? Json::Value(Json::Int64(last_query)) : Json::Value(UtcTime(last_query));
    std::vector<Field> fields = {{"signed_in", "Signed in", true},
                                 {"user_id", "User id", info->user_id}};
    for (Field &field : ProfileFields(profile)) fields.push_back(field);
    const std::vector<Field> more = {
        {"critical_version_list", "Critical versions", info->critical_version_list},
        {"last_query_time", "Last query", last_query_value},
        {"report_schedule", "Report schedule", user.GetReportCronTimestring()},
        {"account_host", "Account host", user.GetAccountHost()},
        {"identity_host", "Identity host", user.GetIdentityHost()},
        {"session_token", "Session token", PkceClient(kDeviceClient).HasTokenFile()},
    };
    for (const Field &field : more) fields.push_back(field);
    out.Record(fields);
    return kExitSuccess;
  }
};

}  // namespace

std::unique_ptr<Command> MakeStatusCommand() {
  return std::make_unique<StatusCommand>();
}

}  // namespace cli
}  // namespace vexozeph
