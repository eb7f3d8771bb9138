// A C program built outside the project's targets, against the two installed shared
// libraries only, sends a form to the emulator: the platform's string hash is usable from
// C and the sender takes it, and no TLS secret leaves the process.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/request_token.h"
#include "support/cloud_emulator.h"
#include "support/run_program.h"
#include "support/temp_root.h"

namespace {

using vexozeph::testing::CloudEmulator;
using vexozeph::testing::NamedPairs;
using vexozeph::testing::RunProgram;
using vexozeph::testing::TempRoot;
using vexozeph::testing::Words;

const char kSerial[] = "SN0C01";

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
  std::string library_path;
  for (const auto &dir : Words(C_LIBRARY_DIRS)) {
    compile.push_back("-L" + dir);
    library_path += (library_path.empty() ? "" : ":") + dir;
  }
  compile.insert(compile.end(), {"-lvexozeph", "-lvexoplatform"});
  ASSERT_EQ(RunProgram(compile, root.Path("/compile.log")), 0) << root.ReadFile("/compile.log");

  // The environment asks for the session's secrets: none are written.
  ASSERT_EQ(RunProgram(
                {program, emulator.AccountOrigin()}, root.Path("/run.log"),
                {{"LD_LIBRARY_PATH", library_path}, {"SSLKEYLOGFILE", root.Path("/tls-keys.log")}}),
            0)
      << root.ReadFile("/run.log");
  EXPECT_EQ(root.ReadFile("/tls-keys.log"), "");

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
