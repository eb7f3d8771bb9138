// The base helpers: the exception's text, backtraces, format, log lines and secrets in
// them, and the one JSON parse.
#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <string>

#include "base/log.h"
#include "base/terminal_text.h"
#include "core/backtrace.h"
#include "internal/json_utils.h"
#include "internal/string_utils.h"
#include "support/log_capture.h"
#include "support/occurrences.h"
#include "vexozeph/zeph_exception.h"

namespace {

using vexozeph::ShortenSecret;
using vexozeph::ZephException;
using vexozeph::testing::LogCapture;
using vexozeph::testing::Occurrences;

bool StartsWith(const std::string &text, const std::string &start) {
  return text.rfind(start, 0) == 0;
}

// The text is the message (the code's own when none is given), the code, the frames and
// one blank line; a copy nests the whole text of the original and keeps its code.
TEST(ZephException, TextLayoutCodesAndCopies) {
  const std::string text = ZephException(14).what();
  EXPECT_TRUE(StartsWith(text, "Failed to auth [code=14]\n")) << text;
  EXPECT_EQ(text.substr(text.size() - 2), "\n\n");
  EXPECT_NE(text.find("\n- "), std::string::npos) << "no backtrace lines: " << text;
  EXPECT_EQ(ZephException("boom").GetCode(), 24u);
  EXPECT_TRUE(StartsWith(ZephException("boom").what(), "boom [code=24]\n"));
  EXPECT_TRUE(StartsWith(ZephException(22, "Failed to lock file: /tmp/x").what(),
                         "Failed to lock file: /tmp/x [code=22]\n"));
  EXPECT_TRUE(StartsWith(ZephException(22).what(), "System error [code=22]"));

  ZephException original(19);
  ZephException copy(original);
  EXPECT_EQ(copy.GetCode(), 19u);
  EXPECT_EQ(Occurrences(copy.what(), " [code=19]"), 2u) << copy.what();
  EXPECT_TRUE(StartsWith(copy.what(), original.what()));
  ZephException assigned(1);
  assigned = original;
  EXPECT_EQ(assigned.GetCode(), 19u);
}

TEST(Backtrace, FramesAreDashedLinesWithDemangledNames) {
  vexozeph::Backtrace trace;
  trace.Capture(8);
  std::vector<std::string> lines;
  trace.EachLine([&lines](const std::string &line) { lines.push_back(line); });
  ASSERT_FALSE(lines.empty());
  for (const auto &line : lines) EXPECT_TRUE(StartsWith(line, "- ")) << line;
  std::ostringstream out;
  out << trace;
  EXPECT_EQ(Occurrences(out.str(), "\n"), lines.size());

  EXPECT_EQ(trace.FormatFunctionName("_ZN8vexozeph9Backtrace7CaptureEi"),
            "vexozeph::Backtrace::Capture(int)");
  EXPECT_EQ(trace.FormatFunctionName("not a mangled name"), "not a mangled name");
}

TEST(Format, FormatsAndDegradesToEmptyWithOneLogLine) {
  EXPECT_EQ(vexozeph::format("/tmp/account_%s_%d.lock", "tarn", 7), "/tmp/account_tarn_7.lock");
  EXPECT_EQ(vexozeph::format("%s", std::string(5000, 'a').c_str()).size(), 5000u);

  vexozeph::testing::LogCapture log;
  // A width beyond INT_MAX makes the print fail with EOVERFLOW.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-overflow"
#pragma GCC diagnostic ignored "-Wformat"
  EXPECT_EQ(vexozeph::format("%2147483648d", 1), "");
#pragma GCC diagnostic pop
  EXPECT_EQ(log.Count("Failed to format: "), 1u);
  EXPECT_TRUE(StartsWith(log.Lines().at(0), "string_utils:"));
}

// A secret shows its first ten characters and always the ellipsis, alone or wherever it
// stands in an answer, and the rest of the answer is kept.
TEST(LogLine, SecretsAreShortenedAloneOrWhereverTheyStandInAnAnswer) {
  const std::pair<const char *, const char *> alone[] = {
      {"eyJhbGciOiJSUzI1NiJ9.payload.signature", "eyJhbGciOi..."},
      {"0123456789A", "0123456789..."},
      {"0123456789", "0123456789..."},
      {"short", "short..."},
      {"", "..."}};
  for (const auto &c : alone) EXPECT_EQ(ShortenSecret(c.first), c.second) << c.first;
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
    EXPECT_EQ(line.rfind("base_helpers_test:", 0), 0u) << line;
  }
  EXPECT_NE(lines[1].find(std::string(2000, 'a') + "  bbbbbbbbbb"), std::string::npos);
}

std::string Nested(int depth) {
  return std::string(depth, '[') + std::string(depth, ']');
}

// The one JSON parse: nesting up to the limit parses, one level more is "not JSON" and never
// an exception; a failed parse is logged once, cut to its start however long the text was.
TEST(TerminalText, ControlCharactersBecomeEscapesAndEverythingElseStands) {
  const struct {
    std::string text;
    std::string shown;
  } cases[] = {
      {"plain owner@example.com", "plain owner@example.com"},
      {"Zoë Ŝ 日本 😀", "Zoë Ŝ 日本 😀"},  // letters of every length stand
      {"a\nb\r\tc", "a\\nb\\r\\tc"},
      {"\x1b[2J\x1b]0;title\x07\x7f", "\\x1b[2J\\x1b]0;title\\x07\\x7f"},
      {std::string("nul\0end", 7), "nul\\x00end"},
      {"\xc2\x9b"
       "31m \xc2\x80 \xc2\xa0",
       "\\u009b31m \\u0080 \xc2\xa0"},  // C1 only
      {"\\x1b", "\\\\x1b"},             // a backslash is doubled, so nothing passes for an escape
      // Bytes that are not UTF-8: a lone lead, a stray continuation, overlong forms, a
      // surrogate, past U+10FFFF, a sequence cut short at the end.
      {"\xc3(\x80\xc0\xaf\xe0\x80\xaf\xed\xa0\x80\xf4\x90\x80\x80\xe2\x82",
       "\\xc3(\\x80\\xc0\\xaf\\xe0\\x80\\xaf\\xed\\xa0\\x80\\xf4\\x90\\x80\\x80\\xe2\\x82"},
  };
  for (const auto &c : cases) EXPECT_EQ(vexozeph::Visible(c.text), c.shown) << c.text;
}

TEST(JsonHelper, NestingUpToTheLimitParsesAndDeeperIsNotJsonWithoutThrowing) {
  Json::Value out;
  EXPECT_TRUE(vexozeph::json::Parse(Nested(vexozeph::json::kMaxDepth), out));
  EXPECT_FALSE(vexozeph::json::Parse(Nested(vexozeph::json::kMaxDepth + 1), out));
  EXPECT_FALSE(vexozeph::json::Parse(std::string(100000, '['), out));
  EXPECT_TRUE(vexozeph::json::Parse("{\"a\": 1 /* comments are allowed */}", out));
  EXPECT_EQ(out["a"].asInt(), 1);
}

TEST(JsonHelper, AResultWordIsAStringOrTheJsonTextOfAScalarAndNothingElse) {
  Json::Value answer;
  std::string word;
  ASSERT_TRUE(vexozeph::json::Parse(
      R"({"s":"good","n":7,"b":true,"z":null,"a":["good"],"o":{"good":1}})", answer));
  const std::pair<const char *, const char *> cases[] = {
      {"s", "good"},  {"n", "7"},     {"b", "true"},      {"z", nullptr},
      {"a", nullptr}, {"o", nullptr}, {"absent", nullptr}};
  for (const auto &c : cases) {
    word = "unset";
    EXPECT_EQ(vexozeph::json::ResultWord(answer, word, c.first), c.second != nullptr) << c.first;
    if (c.second != nullptr) {
      EXPECT_EQ(word, c.second);
    }
  }
  EXPECT_FALSE(vexozeph::json::ResultWord(Json::Value("good"), word));
}

TEST(JsonHelper, AFailedParseLogsOneLineWithOnlyTheStartOfALongText) {
  LogCapture log;
  Json::Value out;
  EXPECT_FALSE(vexozeph::json::FromString("<html>short</html>", out));
  EXPECT_EQ(log.Count("Failed to parse json: <html>short</html>"), 1u);

  const std::string huge = "<" + std::string(1 << 20, 'x');
  EXPECT_FALSE(vexozeph::json::FromString(huge, out));
  ASSERT_EQ(log.Count("Failed to parse json: <xxx"), 1u);
  for (const auto &line : log.Lines()) EXPECT_LT(line.size(), 2200u);
}

}  // namespace
