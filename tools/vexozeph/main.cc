// vexozeph: the appliance's command-line tool over libvexozeph's public interface. The
// report's cron job runs it as "vexozeph --report_info"; an engineer at a shell uses its
// subcommands (docs/cli.md).
#include <CLI/CLI.hpp>

#include <cstdlib>
#include <exception>
#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "command.h"
#include "exit_status.h"
#include "output.h"
#include "report_info.h"
#include "vexozeph/zeph_exception.h"

namespace {

using vexozeph::cli::Command;
using vexozeph::cli::Output;

const char kDescription[] =
    "vexozeph links this device to its owner's cloud account: sign-in, the account's\n"
    "profile, the periodic report. Every command takes --json and -v.";

const char kCommandFooter[] =
    "The tool's options --json and -v apply to every command; `vexozeph --help` lists them\n"
    "and the exit statuses.";

const char kFooter[] =
    "Exit status: 0 on success; a library error code (1-27, see `man vexozeph`) when the\n"
    "library fails; 64 for a wrong command line or an unreadable password or key; 69 for\n"
    "an operation this build lacks; 70 when the library failed without a code; 78 when\n"
    "`report` went well but the cron manager refused the schedule the service sent.\n"
    "Run `vexozeph COMMAND --help` for a command's options.";

struct Defined {
  CLI::App *app;
  std::unique_ptr<Command> command;
};

// Whether a command's parser is built. Building all of them costs about a quarter of a
// millisecond, some 3% of a report, paid on every device every day by the cron job: so
// a command line builds only the commands it names, and the cron job's "--report_info"
// alone builds none. Help and a line that names no command build every one, so that the
// help and a mistake's message list them all as before.
bool Builds(const char *name, int argc, char **argv) {
  bool report = false;
  bool named = false;
  bool names_this = false;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "-h" || arg == "--help") return true;
    report = report || arg == "--report_info";
    for (const vexozeph::cli::CommandEntry &entry : vexozeph::cli::Commands()) {
      if (arg != entry.name) continue;
      named = true;
      names_this = names_this || arg == name;
    }
  }
  return named || report ? names_this : true;
}

// Runs one job of the tool, turning a ZephException into the library failure it is.
int RunGuarded(const Output &out, const std::function<int(const Output &)> &job) {
  try {
    return job(out);
  } catch (const vexozeph::ZephException &e) {
    // what() carries a backtrace: for the system log, not for the user.
    return out.LibraryFailure(e.GetCode());
  }
}

int Run(int argc, char **argv) {
  CLI::App app(kDescription, "vexozeph");
  // Options of the tool itself may also follow the subcommand: `vexozeph status --json`.
  app.fallthrough();
  app.set_version_flag("--version", VEXOZEPH_VERSION);
  bool json = false;
  bool verbose = false;
  bool report_info = false;
  bool no_wait = false;
  app.add_flag("--json", json, "Machine-readable output: one JSON document on stdout");
  app.add_flag("-v,--verbose", verbose, "Mirror the library's log lines to stderr");
  CLI::Option *report =
      app.add_flag("--report_info", report_info,
                   "Send the periodic device report (what the report's cron job runs), "
                   "after waiting this device's second of the minute");
  app.add_flag("--no-wait", no_wait, "With --report_info: send at once, without the wait")
      ->needs(report);
  app.require_subcommand(0, 1);

  std::vector<Defined> defined;
  for (const vexozeph::cli::CommandEntry &entry : vexozeph::cli::Commands()) {
    if (!Builds(entry.name, argc, argv)) continue;
    CLI::App *sub = app.add_subcommand(entry.name, entry.summary);
    sub->excludes(report);
    std::unique_ptr<Command> command = entry.make();
    command->Define(*sub);
    const std::string own_footer = sub->get_footer();
    sub->footer(own_footer.empty() ? kCommandFooter : own_footer + "\n\n" + kCommandFooter);
    defined.push_back({sub, std::move(command)});
  }
  app.footer(kFooter);

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError &e) {
    const int status = app.exit(e);  // prints help, the version, or the error
    return status == 0 ? vexozeph::cli::kExitSuccess : vexozeph::cli::kExitUsage;
  }

  // The library reads this at every log line; set it before the first call.
  if (verbose) setenv("VEXOZEPH_LOG_STDERR", "1", 1);

  if (report_info) {
    const vexozeph::cli::ReportStart start{
        !no_wait, verbose, [](std::chrono::seconds pause) { std::this_thread::sleep_for(pause); }};
    return RunGuarded(Output(json, ""), [&start](const Output &out) {
      return vexozeph::cli::RunReportInfo(out, start);
    });
  }
  for (Defined &entry : defined) {
    if (!entry.app->parsed()) continue;
    Command *command = entry.command.get();
    return RunGuarded(Output(json, entry.app->get_name()),
                      [command](const Output &out) { return command->Run(out); });
  }
  std::cerr << app.help();
  return vexozeph::cli::kExitUsage;
}

}  // namespace

int main(int argc, char **argv) {
  try {
    return Run(argc, argv);
  } catch (const std::exception &e) {
    std::cerr << "vexozeph: " << vexozeph::Visible(e.what()) << '\n';
  } catch (...) {
    std::cerr << "vexozeph: unexpected failure\n";
  }
  return vexozeph::cli::kExitNoCode;
}
