// `vexozeph hosts`: the server bases the library uses now (a base stored with the
// signed-in account wins over the built-in ones).
#include <memory>

#include "command.h"
#include "exit_status.h"
#include "vexozeph/server_info.h"

namespace vexozeph {
namespace cli {
namespace {

class HostsCommand : public Command {
 public:
  void Define(CLI::App &) override {}

  int Run(const Output &out) override {
    const ServerInfo hosts;
    out.Record({{"account_host", "Account host", hosts.GetAccountHost()},
                {"identity_host", "Identity host", hosts.GetIdentityHost()},
                {"payment_host", "Payment host", hosts.GetPaymentHost()}});
    return kExitSuccess;
  }
};

}  // namespace

std::unique_ptr<Command> MakeHostsCommand() {
  return std::make_unique<HostsCommand>();
}

}  // namespace cli
}  // namespace vexozeph
