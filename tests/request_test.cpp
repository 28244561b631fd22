#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include <tessik/agent_loader/request.hpp>
#include <tessik/ai_client.hpp>
#include <tessik/errors.hpp>

namespace tessik {
namespace {

using detail::assemble_request;

AgentDefinition agent(Value prompt = "Be strict.") {
  AgentDefinition d;
  d.name = "hesper";
  d.system_prompt = std::move(prompt);
  return d;
}

const Value& block(const detail::ReviewRequest& r, int i, const char* key) {
  return r.system_blocks.as_sequence()[i].as_mapping().at(key);
}

TEST(ReviewInstructions, IsTheExactReplyContract) {
  const std::string_view text = detail::REVIEW_INSTRUCTIONS;
  EXPECT_EQ(detail::sha256_hex(text),
            "c95caf03e72398c3fefb88bc9bf6b3f6114aa2890ea9f03e7c2bf3b9db2c5eb7");
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 44);
}

TEST(DiffText, JoinsFilesWithOneBlankLineAndHashesOnlyTheDiff) {
  struct Case {
    const char* name;
    std::vector<FileChange> changes;
    std::string text;
  };
  const Case cases[] = {
      {"no changes give empty text", {}, ""},
      {"one change", {{"a.txt", "-x\n+y"}}, "File: a.txt\n-x\n+y"},
      {"one blank line between files", {{"a", "-1"}, {"b", "+2"}}, "File: a\n-1\n\nFile: b\n+2"},
      {"a diff's final break is kept", {{"a", "-\n"}, {"b", ""}}, "File: a\n-\n\n\nFile: b\n"},
      {"nothing trimmed", {{" a ", "  "}}, "File:  a \n  "},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(detail::build_diff_text(c.changes), c.text) << c.name;
    const detail::ReviewRequest r = assemble_request(c.changes, nullptr, agent());
    EXPECT_EQ(block(r, 0, "text"), Value(c.text)) << c.name;
    EXPECT_EQ(r.diff_hash, detail::sha256_hex(c.text).substr(0, 16)) << c.name;
  }
  EXPECT_EQ(assemble_request({}, nullptr, agent()).diff_hash, "e3b0c44298fc1c14");
  const std::vector<FileChange> one{{"a.txt", "-x\n+y"}};
  const SharedAnalysisResult shared{{"Go"}, {"auth"}, "s"};
  EXPECT_EQ(assemble_request(one, &shared, agent("other")).diff_hash, "38696b6c0a8df3ac");
}

TEST(DiffText, HashedWhileBuiltAcrossSliceBoundaries) {
  std::string big(300'001, 'x');
  for (std::size_t i = 0; i < big.size(); i += 97) big[i] = static_cast<char>('a' + i % 26);
  std::vector<FileChange> changes{{"big", big}};
  for (int i = 0; i < 2000; ++i) changes.push_back({std::to_string(i), big.substr(i, 37)});
  const std::string text = detail::build_diff_text(changes);
  const detail::ReviewRequest r = assemble_request(changes, nullptr, agent());
  EXPECT_EQ(block(r, 0, "text").as_string(), text);
  EXPECT_EQ(r.diff_hash, detail::diff_hash(text));
}

TEST(UserContent, IsSharedContextThenReviewSentenceThenContract) {
  const std::string tail =
      "Carefully review the code diff for bugs, security issues, performance problems, and code "
      "quality concerns. " +
      std::string(detail::REVIEW_INSTRUCTIONS);
  EXPECT_EQ(assemble_request({}, nullptr, agent()).user_content, tail);
  const SharedAnalysisResult shared{{"Python", "Go"}, {"auth", "sql"}, "Adds login."};
  const std::string context =
      "Context from shared analysis:\nLanguages: Python, Go\nRisk areas: auth, sql\n"
      "Summary: Adds login.\n\n";
  const detail::ReviewRequest r = assemble_request({}, &shared, agent());
  EXPECT_EQ(r.shared_context, context);
  EXPECT_EQ(r.user_content, context + tail);
  EXPECT_EQ(detail::build_shared_context({}),
            "Context from shared analysis:\nLanguages: \nRisk areas: \nSummary: \n\n");
}

TEST(SystemBlocks, DiffBlockFirstAndCacheableAgentBlockNot) {
  const std::vector<FileChange> one{{"a", "+"}};
  const detail::ReviewRequest r = assemble_request(one, nullptr, agent());
  std::vector<std::string> keys;
  for (const auto& entry : r.system_blocks.as_sequence()[0].as_mapping()) {
    keys.push_back(entry.first.as_string());
  }
  EXPECT_EQ(keys, (std::vector<std::string>{"type", "text", "cache_control"}));
  EXPECT_EQ(block(r, 0, "type"), Value("text"));
  EXPECT_EQ(block(r, 0, "cache_control"), (Value::Mapping{{"type", "ephemeral"}, {"ttl", "1h"}}));
  EXPECT_EQ(r.system_blocks.as_sequence()[1],
            (Value::Mapping{{"type", "text"},
                            {"text", "The code diff above is what you must review. Be strict."}}));
  EXPECT_EQ(block(assemble_request({}, nullptr, agent("")), 1, "text"),
            Value("The code diff above is what you must review. "));
  EXPECT_THROW(assemble_request({}, nullptr, agent(Value())), TypeError);
}

}  // namespace
}  // namespace tessik
