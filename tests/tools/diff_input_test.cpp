// A diff is bytes: a file and standard input must hand the agents the same
// text, CR LF line ends and bytes that are not UTF-8 included.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include <tessik/foundation/limits.hpp>

#include "cli.hpp"
#include "temp_dir.hpp"

namespace tessik::cli {
namespace {

struct Invocation {
  int status;
  std::string out, err;
};

Invocation prompt(const std::string& diff_arg, const std::string& input) {
  std::istringstream in(input);
  std::ostringstream out, err;
  const std::vector<std::string> args{"prompt", "--diff", diff_arg, "--agent", "hesper"};
  const int status = run_cli(args, {in, out, err});
  return {status, out.str(), err.str()};
}

TEST(DiffInput, FileAndStandardInputGiveTheSameBytes) {
  const std::string diff =
      "diff --git a/x.txt b/x.txt\n--- a/x.txt\n+++ b/x.txt\n@@ -1,2 +1,2 @@\n"
      " kept\r\n-old\r\n+caf\xe9\r\n";
  testing::TempDir dir;
  const Invocation from_file = prompt(dir.write("change.diff", diff).string(), "");
  const Invocation from_stdin = prompt("-", diff);
  ASSERT_EQ(from_file.status, 0) << from_file.err;
  EXPECT_EQ(from_file.out, from_stdin.out);
  EXPECT_NE(from_file.out.find("File: x.txt\n@@ -1,2 +1,2 @@\n kept\r\n-old\r\n+caf\xe9\r\n"),
            std::string::npos)
      << from_file.out.substr(0, 400);
}

TEST(DiffInput, StandardInputIsBoundByTheTextFileLimit) {
  const std::string at_limit(limits::kTextFileBytes, 'x');
  const Invocation ok = prompt("-", at_limit);
  EXPECT_EQ(ok.err.find("limit"), std::string::npos) << ok.err;
  EXPECT_NE(ok.err.find("holds no file changes"), std::string::npos) << ok.err;
  const Invocation past = prompt("-", at_limit + "x");
  EXPECT_EQ(past.status, 1);
  EXPECT_NE(past.err.find("standard input holds more than the text-file limit of 67108864 bytes"),
            std::string::npos)
      << past.err;
}

}  // namespace
}  // namespace tessik::cli
