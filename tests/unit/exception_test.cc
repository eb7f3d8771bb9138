#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <string>

#include "internal/backtrace.h"
#include "internal/string_utils.h"
#include "support/log_capture.h"
#include "vexozeph/zeph_exception.h"

namespace {

using vexozeph::ZephException;

size_t CountOf(const std::string &text, const std::string &needle) {
  size_t count = 0;
  for (size_t at = text.find(needle); at != std::string::npos; at = text.find(needle, at + 1)) {
    ++count;
  }
  return count;
}

TEST(ZephException, TextLayoutAndDefaults) {
  ZephException from_code(14);
  std::string text = from_code.what();
  EXPECT_EQ(text.rfind("Failed to auth [code=14]\n", 0), 0u) << text;
  EXPECT_EQ(from_code.GetCode(), 14u);
  // Full text ends with the frame lines and one blank line.
  ASSERT_GE(text.size(), 2u);
  EXPECT_EQ(text.substr(text.size() - 2), "\n\n");
  EXPECT_NE(text.find("\n- "), std::string::npos) << "no backtrace lines: " << text;

  ZephException from_message("boom");
  EXPECT_EQ(from_message.GetCode(), 24u);
  EXPECT_EQ(std::string(from_message.what()).rfind("boom [code=24]\n", 0), 0u);

  ZephException both(22, "Failed to lock file: /tmp/x");
  EXPECT_EQ(std::string(both.what()).rfind("Failed to lock file: /tmp/x [code=22]\n", 0), 0u);
  EXPECT_EQ(std::string(ZephException(22).what()).rfind("System error [code=22]", 0), 0u);
}

TEST(ZephException, CopyNestsTheWholeTextAndKeepsTheCode) {
  ZephException original(19);
  ZephException copy(original);
  EXPECT_EQ(copy.GetCode(), 19u);
  std::string text = copy.what();
  EXPECT_EQ(CountOf(text, " [code=19]"), 2u) << text;
  EXPECT_EQ(text.rfind(original.what(), 0), 0u);

  ZephException assigned(1);
  assigned = original;
  EXPECT_EQ(assigned.GetCode(), 19u);

  try {
    throw ZephException(6, "thrown");
  } catch (const std::exception &e) {
    EXPECT_NE(std::string(e.what()).find("thrown [code=6]"), std::string::npos);
  }
}

TEST(Backtrace, FramesDemanglingAndCallbacks) {
  vexozeph::Backtrace trace;
  trace.Capture(8);
  std::vector<std::string> lines;
  trace.EachLine([&lines](const std::string &line) { lines.push_back(line); });
  ASSERT_FALSE(lines.empty());
  for (const auto &line : lines) EXPECT_EQ(line.rfind("- ", 0), 0u) << line;

  std::ostringstream out;
  out << trace;
  EXPECT_EQ(CountOf(out.str(), "\n"), lines.size());

  EXPECT_EQ(trace.FormatFunctionName("_ZN8vexozeph9Backtrace7CaptureEi"),
            "vexozeph::Backtrace::Capture(int)");
  EXPECT_EQ(trace.FormatFunctionName("not a mangled name"), "not a mangled name");
  EXPECT_THROW(trace.EachLine(std::function<void(const std::string &)>()),
               std::bad_function_call);
}

TEST(Format, FormatsAndDegradesToEmptyWithOneLogLine) {
  EXPECT_EQ(vexozeph::format("/tmp/account_%s.lock", "tarn_save_token"),
            "/tmp/account_tarn_save_token.lock");
  EXPECT_EQ(vexozeph::format("%d-%s", 7, "x"), "7-x");
  std::string big(5000, 'a');
  EXPECT_EQ(vexozeph::format("%s", big.c_str()).size(), 5000u);

  vexozeph::testing::LogCapture log;
  // A width beyond INT_MAX makes the print fail with EOVERFLOW.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-overflow"
#pragma GCC diagnostic ignored "-Wformat"
  EXPECT_EQ(vexozeph::format("%2147483648d", 1), "");
#pragma GCC diagnostic pop
  EXPECT_EQ(log.Count("Failed to format: "), 1u);
  EXPECT_EQ(log.Lines().at(0).rfind("string_utils:", 0), 0u);
}

}  // namespace
