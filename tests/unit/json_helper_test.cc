// The one JSON parse: nesting up to the limit parses, one level more is "not JSON" and never
// an exception; a failed parse is logged once, cut to its start however long the text was.
#include <gtest/gtest.h>

#include <string>

#include "internal/json_utils.h"
#include "support/log_capture.h"

namespace {

using vexozeph::testing::LogCapture;

std::string Nested(int depth) {
  return std::string(depth, '[') + std::string(depth, ']');
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
  EXPECT_TRUE(vexozeph::json::ResultWord(answer, word, "s"));
  EXPECT_EQ(word, "good");
  EXPECT_TRUE(vexozeph::json::ResultWord(answer, word, "n"));
  EXPECT_EQ(word, "7");
  EXPECT_TRUE(vexozeph::json::ResultWord(answer, word, "b"));
  EXPECT_EQ(word, "true");
  for (const char *missing : {"z", "a", "o", "absent"}) {
    EXPECT_FALSE(vexozeph::json::ResultWord(answer, word, missing)) << missing;
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
