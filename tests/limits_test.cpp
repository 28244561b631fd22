// The input limits at their value and just past it, with the failure kind
// and message a user sees.
#include <string>

#include <gtest/gtest.h>

#include <tessik/agent_loader.hpp>
#include <tessik/foundation/limits.hpp>
#include <tessik/terminal_state.hpp>

#include "failure.hpp"
#include "temp_dir.hpp"

namespace tessik {
namespace {

TEST(Limits, DefinitionFileSize) {
  const testing::TempDir tmp;
  // A valid YAML definition padded with a comment to exactly `size` bytes.
  const auto definition_of_size = [&](std::size_t size) {
    return tmp.write("padded.yaml", "name: padded\n#" + std::string(size - 15, 'x') + "\n");
  };
  EXPECT_EQ(load_agent_definition(definition_of_size(limits::kDefinitionFileBytes)).name, "padded");
  const testing::Failure past = testing::failure_of(
      [&] { load_agent_definition(definition_of_size(limits::kDefinitionFileBytes + 1)); });
  EXPECT_EQ(past.kind, "ValueError");
  EXPECT_NE(past.message.find(std::to_string(limits::kDefinitionFileBytes)), std::string::npos)
      << past.message;
}

TEST(Limits, ReplySize) {
  // A reply at the limit is parsed (here: found not to be JSON); one byte
  // more is refused unread.
  const auto code = [](const std::string& raw) {
    const Value payload = classify_terminal_state({.raw_text = raw}).payload;
    return payload.find("error")->find("code")->as_string();
  };
  const std::string at_limit = "x" + std::string(limits::kReplyBytes - 1, ' ');
  EXPECT_EQ(code(at_limit), "invalid_json");
  EXPECT_EQ(code(at_limit + "x"), "response_too_large");
}

}  // namespace
}  // namespace tessik
