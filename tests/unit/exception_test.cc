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
  EXPECT_EQ(CountOf(copy.what(), " [code=19]"), 2u) << copy.what();
  EXPECT_TRUE(StartsWith(copy.what(), original.what()));
  ZephException assigned(1);
  assigned = original;
  EXPECT_EQ(assigned.GetCode(), 19u);
}

TEST(Backtrace, FramesDemanglingAndCallbacks) {
  vexozeph::Backtrace trace;
  trace.Capture(8);
  std::vector<std::string> lines;
  trace.EachLine([&lines](const std::string &line) { lines.push_back(line); });
  ASSERT_FALSE(lines.empty());
  for (const auto &line : lines) EXPECT_TRUE(StartsWith(line, "- ")) << line;
  std::ostringstream out;
  out << trace;
  EXPECT_EQ(CountOf(out.str(), "\n"), lines.size());

  EXPECT_EQ(trace.FormatFunctionName("_ZN8vexozeph9Backtrace7CaptureEi"),
            "vexozeph::Backtrace::Capture(int)");
  EXPECT_EQ(trace.FormatFunctionName("not a mangled name"), "not a mangled name");
  EXPECT_THROW(trace.EachLine(std::function<void(const std::string &)>()), std::bad_function_call);
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

}  // namespace
