// A C program built outside the project's targets, against the two installed shared
// libraries only, sends a form to the emulator: the platform's string hash is usable from
// C and the sender takes it, and no TLS secret leaves the process.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "base/request_token.h"
#include "support/child_process.h"
#include "support/cloud_emulator.h"
#include "support/temp_root.h"

namespace {

using vexozeph::testing::CloudEmulator;
using vexozeph::testing::NamedPairs;
using vexozeph::testing::TempRoot;

const char kSerial[] = "SN0C01";

std::vector<std::string> Words(const std::string &text) {
  std::istringstream in(text);
  std::vector<std::string> words;
  for (std::string word; in >> word;) words.push_back(word);
  return words;
}

// Runs `argv` with its output in `log` and, when given, the shared libraries looked up
// in `library_path` and a key log file named in its environment; the exit code.
int RunProgram(std::vector<std::string> argv, const std::string &log,
               const std::string &library_path = "", const std::string &key_log = "") {
  return vexozeph::testing::RunInChild([&] {
    std::vector<char *> raw;
    for (auto &arg : argv) raw.push_back(&arg[0]);
    raw.push_back(nullptr);
    if (!std::freopen(log.c_str(), "w", stdout) || ::dup2(STDOUT_FILENO, STDERR_FILENO) < 0) {
      return 126;
    }
    if (!library_path.empty()) ::setenv("LD_LIBRARY_PATH", library_path.c_str(), 1);
    if (!key_log.empty()) ::setenv("SSLKEYLOGFILE", key_log.c_str(), 1);
    ::execv(raw[0], raw.data());
    return 127;
  });
}

std::string Slurp(const std::string &path) {
  std::ifstream in(path);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

TEST(CProgram, BuildsAFormWithThePlatformHashAndSendsItSigned) {
  TempRoot root;
  root.WriteFile("/etc/vexozeph/serial", std::string(kSerial) + "\n");
  CloudEmulator emulator(ZEPH_CLOUD_BINARY, root);
  // "good" comes back only when the request token matches serial, account and password.
  emulator.SetAnswer("device/api/user/query", "good", 1);

  const std::string program = root.Dir() + "/https_form_send";
  std::vector<std::string> compile = {C_COMPILER, "-std=c11", "-Wall", "-Werror"};
  for (const auto &flag : Words(C_EXTRA_FLAGS)) compile.push_back(flag);
  for (const auto &dir : Words(C_INCLUDE_DIRS)) compile.push_back("-I" + dir);
  compile.insert(compile.end(), {C_PROGRAM_SOURCE, "-o", program});
  for (const auto &dir : Words(C_LIBRARY_DIRS)) compile.push_back("-L" + dir);
  compile.insert(compile.end(), {"-lvexozeph", "-lvexoplatform"});
  const std::string compile_log = root.Dir() + "/compile.log";
  ASSERT_EQ(RunProgram(compile, compile_log), 0) << Slurp(compile_log);

  std::string library_path;
  for (const auto &dir : Words(C_LIBRARY_DIRS))
    library_path += (library_path.empty() ? "" : ":") + dir;
  const std::string run_log = root.Dir() + "/run.log";
  // The environment asks for the session's secrets: none are written.
  const std::string key_log = root.Dir() + "/tls-keys.log";
  ASSERT_EQ(RunProgram({program, emulator.AccountOrigin()}, run_log, library_path, key_log), 0)
      << Slurp(run_log);
  EXPECT_EQ(Slurp(key_log), "");

  std::string token;
  ASSERT_TRUE(vexozeph::RequestTokenFromInput("SN0C01c@example.comc-secret", token));
  auto seen = emulator.Requests("account", "device/api/user/query");
  ASSERT_EQ(seen.size(), 1u);
  EXPECT_EQ(seen[0].form, (NamedPairs{{"bx_sn", kSerial},
                                      {"bx_token", token},
                                      {"zephID", "c@example.com"},
                                      {"zephPW", "c-secret"},
                                      {"type", "c program"},
                                      {"id", "42"}}));
}

}  // namespace
