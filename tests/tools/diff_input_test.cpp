// A diff is bytes: a file and standard input must hand the agents the same
// text, CR LF line ends and bytes that are not UTF-8 included.
#include <gtest/gtest.h>

#include <string>

#include <tessik/foundation/limits.hpp>

#include "run_cli.hpp"

namespace tessik::cli {
namespace {

// Every agent's prompt.
testing::Outcome prompt(const std::string& diff_arg, const std::string& input) {
  return testing::run({"prompt", "--diff", diff_arg}, input);
}

TEST(DiffInput, FileAndStandardInputGiveTheSameBytes) {
  const std::string diff =
      "diff --git a/x.txt b/x.txt\n--- a/x.txt\n+++ b/x.txt\n@@ -1,2 +1,2 @@\n"
      " kept\r\n-old\r\n+caf\xe9\r\n";
  testing::TempDir dir;
  const testing::Outcome from_file = prompt(dir.write("change.diff", diff).string(), "");
  const testing::Outcome from_stdin = prompt("-", diff);
  ASSERT_EQ(from_file.status, 0) << from_file.err;
  EXPECT_EQ(from_file.out, from_stdin.out);
  testing::expect_contains(from_stdin.out,
                           {"=== corvin: plain completion", "=== wynn: plain completion",
                            "File: x.txt\n@@ -1,2 +1,2 @@\n kept\r\n-old\r\n+caf\xe9\r\n"});
}

TEST(DiffInput, StandardInputIsBoundByTheTextFileLimit) {
  const std::string at_limit(limits::kTextFileBytes, 'x');
  const testing::Outcome ok = prompt("-", at_limit);
  EXPECT_EQ(ok.err.find("limit"), std::string::npos) << ok.err;
  testing::expect_contains(ok.err, {"holds no file changes"});
  const testing::Outcome coloured =
      prompt("-", "\x1b[1mdiff --git a/x b/x\x1b[m\n\x1b[36m@@ -1 +1 @@\x1b[m\n\x1b[31m-a\x1b[m\n");
  EXPECT_EQ(coloured.status, 1);
  testing::expect_contains(coloured.err,
                           {"standard input holds a coloured diff (terminal colour codes) and no "
                            "file changes this tool can read: write it again with --no-color"});
  const testing::Outcome past = prompt("-", at_limit + "x");
  EXPECT_EQ(past.status, 1);
  testing::expect_contains(
      past.err, {"standard input holds more than the text-file limit of 67108864 bytes"});
}

}  // namespace
}  // namespace tessik::cli
