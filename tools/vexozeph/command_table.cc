// The subcommands of vexozeph. A new command is one file with its Command and its maker,
// and one entry here.
#include "command.h"

namespace vexozeph {
namespace cli {

std::unique_ptr<Command> MakeStatusCommand();
std::unique_ptr<Command> MakeQueryCommand();
std::unique_ptr<Command> MakeLoginCommand();
std::unique_ptr<Command> MakeLogoutCommand();
std::unique_ptr<Command> MakeTokenCommand();
std::unique_ptr<Command> MakeGrantVigilonCommand();
std::unique_ptr<Command> MakeScanCommand();
std::unique_ptr<Command> MakeHostsCommand();
std::unique_ptr<Command> MakeRegisterCommand();
std::unique_ptr<Command> MakeUpdateCommand();
std::unique_ptr<Command> MakeReportCommand();
std::unique_ptr<Command> MakePurchasesCommand();
std::unique_ptr<Command> MakeStorePageCommand();

const std::vector<CommandEntry> &Commands() {
  static const std::vector<CommandEntry> commands = {
      {"status", "Show the account this device is signed in to (local, no network)",
       MakeStatusCommand},
      {"query", "Show the account's profile, asking the account service when stale",
       MakeQueryCommand},
      {"login", "Sign this device in: in a browser, by e-mail and password, or by auth key",
       MakeLoginCommand},
      {"logout", "Sign this device out, at the account service and locally", MakeLogoutCommand},
      {"token", "Print the device session's or a package's access or identity token (a secret)",
       MakeTokenCommand},
      {"grant-vigilon",
       "Obtain a code for the cloud monitoring service; print its redirect address",
       MakeGrantVigilonCommand},
      {"scan", "List the cloud accounts other features of this device are bound to",
       MakeScanCommand},
      {"hosts", "Show the server bases this device talks to", MakeHostsCommand},
      {"register", "Create a new cloud account from this device", MakeRegisterCommand},
      {"update", "Change the signed-in account's profile, e-mail or password", MakeUpdateCommand},
      {"report", "Send the periodic report now and show the schedule it leaves", MakeReportCommand},
      {"purchases", "List the signed-in account's purchases at the payment host",
       MakePurchasesCommand},
      {"store-page",
       "Print the store page's address for this device and account (a single-use ticket)",
       MakeStorePageCommand},
  };
  return commands;
}

}  // namespace cli
}  // namespace vexozeph
