// Runs the command-line tool through its entry point and keeps what it wrote.
#ifndef TESSIK_TESTS_TOOLS_RUN_CLI_HPP_
#define TESSIK_TESTS_TOOLS_RUN_CLI_HPP_

#include <gtest/gtest.h>

#include <initializer_list>
#include <sstream>
#include <string>
#include <vector>

#include "cli/cli.hpp"

namespace tessik::testing {

struct Outcome {
  int status;
  std::string out, err;
};

// `input` is the tool's standard input.
inline Outcome run(const std::vector<std::string>& args, const std::string& input = "") {
  std::istringstream in(input);
  std::ostringstream out, err;
  const int status = cli::run_cli(args, {in, out, err});
  return {status, out.str(), err.str()};
}

// The blank-separated words of `text`, then `more`: a command line written
// as one text, with the arguments that hold blanks or computed values after.
inline std::vector<std::string> words(const std::string& text,
                                      std::initializer_list<std::string> more = {}) {
  std::vector<std::string> out;
  std::istringstream in(text);
  for (std::string word; in >> word;) out.push_back(word);
  out.insert(out.end(), more);
  return out;
}

// Fails the test for each of `parts` missing from `text`.
inline void expect_contains(const std::string& text, std::initializer_list<std::string> parts) {
  for (const std::string& part : parts) {
    EXPECT_NE(text.find(part), std::string::npos) << "missing: " << part << "\nin:\n" << text;
  }
}

}  // namespace tessik::testing

#endif  // TESSIK_TESTS_TOOLS_RUN_CLI_HPP_
