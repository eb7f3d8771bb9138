#include <gtest/gtest.h>

#include <string>

#include "internal/log.h"
#include "internal/string_utils.h"
#include "support/log_capture.h"

namespace {

using vexozeph::ShortenSecret;
using vexozeph::testing::LogCapture;

TEST(LogLine, SecretsShowTheirFirstTenCharactersAndAlwaysTheEllipsis) {
  EXPECT_EQ(ShortenSecret("eyJhbGciOiJSUzI1NiJ9.payload.signature"), "eyJhbGciOi...");
  EXPECT_EQ(ShortenSecret("0123456789A"), "0123456789...");
  EXPECT_EQ(ShortenSecret("0123456789"), "0123456789...");
  EXPECT_EQ(ShortenSecret("short"), "short...");
  EXPECT_EQ(ShortenSecret(""), "...");
}

TEST(LogLine, CredentialsInAnAnswerAreShortenedWhereverTheyStandAndTheRestIsKept) {
  using vexozeph::ShortenSecretsIn;
  const struct {
    const char *text;
    const char *shown;
  } cases[] = {
      {R"({"access_token":"0123456789ABCDEF","scope":"0123456789ABCDEF"})",
       R"({"access_token":"0123456789...","scope":"0123456789ABCDEF"})"},
      {R"([{"auth_key" : "0123456789ABCDEF"}, {"grant_code":"0123456789\"AB"}])",
       R"([{"auth_key" : "0123456789..."}, {"grant_code":"0123456789..."}])"},
      // Cut inside the value, as a text cut for a log line or a body cut by the server.
      {R"({"refresh_token":"0123456789ABC)", R"({"refresh_token":"0123456789...)"},
      {R"({"id_token":"0123456789..."})", R"({"id_token":"0123456789..."})"},
      {R"({"id_token":42,"auth_key"})", R"({"id_token":42,"auth_key"})"},
      {"not json at all", "not json at all"},
  };
  for (const auto &c : cases) EXPECT_EQ(ShortenSecretsIn(c.text), c.shown) << c.text;
}

TEST(LogLine, OneCallWritesOneLineWhateverTheValuesHold) {
  LogCapture log;
  ZLOG("Failed to set zeph config for %s:%s", "bx_auth_key", "evil\nforged: line\r");
  // Past the short-line buffer too.
  const std::string long_value = std::string(2000, 'a') + "\r\n" + std::string(10, 'b');
  ZLOG("value=%s", long_value.c_str());
  auto lines = log.Lines();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_NE(lines[0].find("bx_auth_key:evil forged: line "), std::string::npos) << lines[0];
  for (const auto &line : lines) {
    EXPECT_EQ(line.find_first_of("\r\n"), std::string::npos);
    EXPECT_EQ(line.rfind("log_line_test:", 0), 0u) << line;
  }
  EXPECT_NE(lines[1].find(std::string(2000, 'a') + "  bbbbbbbbbb"), std::string::npos);
}

}  // namespace
