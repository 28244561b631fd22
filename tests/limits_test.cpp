// The input limits at their value and just past it, with the failure kind
// and message a user sees.
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include <tessik/agent_loader.hpp>
#include <tessik/limits.hpp>
#include <tessik/terminal_state.hpp>

namespace tessik {
namespace {

namespace fs = std::filesystem;

class Limits : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() / ("tessik-limits-" + std::to_string(::getpid()));
    fs::create_directories(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }
  // A valid YAML definition padded with a comment to exactly `size` bytes.
  fs::path definition_of_size(std::size_t size) {
    const std::string head = "name: padded\n#";
    std::string text = head + std::string(size - head.size() - 1, 'x') + "\n";
    const fs::path p = dir_ / "padded.yaml";
    std::ofstream(p, std::ios::binary) << text;
    return p;
  }
  fs::path dir_;
};

TEST_F(Limits, DefinitionFileSize) {
  EXPECT_EQ(load_agent_definition(definition_of_size(limits::kDefinitionFileBytes)).name, "padded");
  const fs::path p = definition_of_size(limits::kDefinitionFileBytes + 1);
  try {
    load_agent_definition(p);
    FAIL() << "a file past the limit loaded";
  } catch (const InvalidValueError& e) {
    EXPECT_EQ(e.class_name(), "ValueError");
    EXPECT_NE(std::string(e.what()).find(std::to_string(limits::kDefinitionFileBytes)),
              std::string::npos)
        << e.what();
  }
}

TEST_F(Limits, ReplySize) {
  // A reply at the limit is parsed (here: found not to be JSON); one byte
  // more is refused unread.
  const std::string at_limit(limits::kReplyBytes, ' ');
  const std::string at_limit_reply = "x" + at_limit.substr(1);
  EXPECT_EQ(classify_terminal_state({.raw_text = at_limit_reply})
                .payload.find("error")
                ->find("code")
                ->as_string(),
            "invalid_json");
  const std::string past = at_limit_reply + "x";
  EXPECT_EQ(
      classify_terminal_state({.raw_text = past}).payload.find("error")->find("code")->as_string(),
      "response_too_large");
}

}  // namespace
}  // namespace tessik
