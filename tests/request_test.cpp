#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include <tessik/agent_loader/execution/detail/request.hpp>
#include <tessik/ai_client.hpp>
#include <tessik/detail/ai_client.hpp>
#include <tessik/foundation/detail/sha256.hpp>
#include <tessik/foundation/errors.hpp>

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

std::string sha256_hex(std::string_view text) {
  detail::Sha256 sha;
  sha.update(text);
  return sha.hex();
}

TEST(ReviewInstructions, IsTheExactReplyContract) {
  const std::string_view text = detail::REVIEW_INSTRUCTIONS;
  EXPECT_EQ(sha256_hex(text), "c95caf03e72398c3fefb88bc9bf6b3f6114aa2890ea9f03e7c2bf3b9db2c5eb7");
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 44);
}

TEST(DiffText, JoinsFilesWithOneBlankLineAndHashesOnlyTheDiff) {
  struct Case {
    const char* name;
    std::vector<FileChange> changes;
    std::string text;
    const char* hash;  // the first 16 hex digits of the text's SHA-256
  };
  const Case cases[] = {
      {"no changes give empty text", {}, "", "e3b0c44298fc1c14"},
      {"one change", {{"a.txt", "-x\n+y"}}, "File: a.txt\n-x\n+y", "38696b6c0a8df3ac"},
      {"one blank line between files",
       {{"a", "-1"}, {"b", "+2"}},
       "File: a\n-1\n\nFile: b\n+2",
       "6b968cb98a0b0880"},
      {"a diff's final break is kept",
       {{"a", "-\n"}, {"b", ""}},
       "File: a\n-\n\n\nFile: b\n",
       "a6f7d6b8e65b32c5"},
      {"nothing trimmed", {{" a ", "  "}}, "File:  a \n  ", "7effff014f43759b"},
  };
  for (const Case& c : cases) {
    const detail::DiffText diff = detail::build_diff_text(c.changes);
    EXPECT_EQ(diff.text, c.text) << c.name;
    EXPECT_EQ(diff.hash, c.hash) << c.name;
    const detail::ReviewRequest r = assemble_request(c.changes, nullptr, agent());
    EXPECT_EQ(block(r, 0, "text"), Value(c.text)) << c.name;
    EXPECT_EQ(r.cache_key, c.hash) << c.name;
  }
  // Neither the context nor the agent plays a part in the key.
  const std::vector<FileChange> one{{"a.txt", "-x\n+y"}};
  const SharedAnalysisResult shared{{"Go"}, {"auth"}, "s"};
  EXPECT_EQ(assemble_request(one, &shared, agent("other")).cache_key, "38696b6c0a8df3ac");
}

TEST(DiffText, HashedWhileBuiltAcrossSliceBoundaries) {
  std::string big(300'001, 'x');
  for (std::size_t i = 0; i < big.size(); i += 97) big[i] = static_cast<char>('a' + i % 26);
  std::vector<FileChange> changes{{"big", big}};
  for (int i = 0; i < 2000; ++i) changes.push_back({std::to_string(i), big.substr(i, 37)});
  const detail::DiffText diff = detail::build_diff_text(changes);
  EXPECT_EQ(diff.hash, "2caee422ee3d7277");
  EXPECT_EQ(sha256_hex(diff.text).substr(0, 16), diff.hash);
  const detail::ReviewRequest r = assemble_request(changes, nullptr, agent());
  EXPECT_EQ(block(r, 0, "text").as_string(), diff.text);
  EXPECT_EQ(r.cache_key, diff.hash);
}

TEST(UserContent, IsSharedContextThenReviewSentenceThenContract) {
  const std::string tail =
      "Carefully review the code diff for bugs, security issues, performance problems, and code "
      "quality concerns. " +
      std::string(detail::REVIEW_INSTRUCTIONS);
  EXPECT_EQ(assemble_request({}, nullptr, agent()).user_content(), tail);
  const SharedAnalysisResult shared{{"Python", "Go"}, {"auth", "sql"}, "Adds login."};
  const std::string context =
      "Context from shared analysis:\nLanguages: Python, Go\nRisk areas: auth, sql\n"
      "Summary: Adds login.\n\n";
  const detail::ReviewRequest r = assemble_request({}, &shared, agent());
  EXPECT_EQ(r.messages,
            (Value::Sequence{Value::Mapping{{"role", "user"}, {"content", context + tail}}}));
  EXPECT_EQ(detail::build_shared_context(shared), context);
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
