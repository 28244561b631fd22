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
using detail::build_diff_text;
using detail::build_shared_context;

AgentDefinition agent(Value prompt = "Review for security.") {
  AgentDefinition d;
  d.name = "hesper";
  d.system_prompt = std::move(prompt);
  return d;
}

const std::string& diff_of(const detail::ReviewRequest& r) {
  return r.system_blocks.as_sequence()[0].as_mapping().at("text").as_string();
}

TEST(ReviewInstructions, IsTheExactReplyContract) {
  const std::string_view text = detail::REVIEW_INSTRUCTIONS;
  EXPECT_EQ(detail::sha256_hex(text),
            "c95caf03e72398c3fefb88bc9bf6b3f6114aa2890ea9f03e7c2bf3b9db2c5eb7");
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 44) << "45 lines";
  EXPECT_NE(text.back(), '\n');
}

struct DiffCase {
  const char* name;
  std::vector<FileChange> changes;
  std::string expected;
};

TEST(BuildDiffText, JoinsFilesWithOneBlankLine) {
  const DiffCase cases[] = {
      {"no changes give empty text", {}, ""},
      {"one change has no separator", {{"a.txt", "-x\n+y"}}, "File: a.txt\n-x\n+y"},
      {"two changes are separated by one blank line",
       {{"a", "-1"}, {"b", "+2"}},
       "File: a\n-1\n\nFile: b\n+2"},
      {"a diff's own final line break is kept",
       {{"a", "-1\n"}, {"b", "+2\n"}},
       "File: a\n-1\n\n\nFile: b\n+2\n"},
      {"path and diff are not trimmed", {{" a b ", "  "}}, "File:  a b \n  "},
      {"an empty diff still gets its header", {{"a", ""}, {"b", ""}}, "File: a\n\n\nFile: b\n"},
  };
  for (const DiffCase& c : cases) {
    EXPECT_EQ(build_diff_text(c.changes), c.expected) << c.name;
    // The hashing build inside assembly must produce the same text.
    EXPECT_EQ(diff_of(assemble_request(c.changes, nullptr, agent())), c.expected) << c.name;
  }
}

TEST(DiffHash, IsTheFirst16HexDigitsOfSha256OfTheDiffText) {
  EXPECT_EQ(assemble_request({}, nullptr, agent()).diff_hash, "e3b0c44298fc1c14");
  const std::vector<FileChange> one{{"a.txt", "-x\n+y"}};
  EXPECT_EQ(assemble_request(one, nullptr, agent()).diff_hash, "38696b6c0a8df3ac");
}

TEST(DiffHash, DependsOnTheDiffOnly) {
  const std::vector<FileChange> one{{"a.txt", "-x\n+y"}};
  const SharedAnalysisResult shared{{"C++"}, {"auth"}, "s"};
  EXPECT_EQ(assemble_request(one, &shared, agent("other prompt")).diff_hash, "38696b6c0a8df3ac");
}

TEST(DiffHash, LargeDiffsHashedWhileBuiltMatchTheWholeText) {
  // Pieces longer than the hashing slice, and many small pieces, both cross
  // slice boundaries at odd offsets.
  std::string big(300'001, 'x');
  for (std::size_t i = 0; i < big.size(); i += 97) big[i] = static_cast<char>('a' + i % 26);
  std::vector<FileChange> changes{{"big.cc", big}};
  for (int i = 0; i < 2000; ++i) changes.push_back({"f" + std::to_string(i), big.substr(i, 37)});
  const detail::ReviewRequest r = assemble_request(changes, nullptr, agent());
  EXPECT_EQ(diff_of(r), build_diff_text(changes));
  EXPECT_EQ(r.diff_hash, detail::diff_hash(build_diff_text(changes)));
  EXPECT_EQ(detail::sha256_hex(diff_of(r)).substr(0, 16), r.diff_hash);
}

TEST(BuildSharedContext, ListsLanguagesRisksAndSummaryThenABlankLine) {
  EXPECT_EQ(build_shared_context({{"Python", "Go"}, {"auth", "sql"}, "Adds login."}),
            "Context from shared analysis:\nLanguages: Python, Go\nRisk areas: auth, sql\n"
            "Summary: Adds login.\n\n");
  EXPECT_EQ(build_shared_context({}),
            "Context from shared analysis:\nLanguages: \nRisk areas: \nSummary: \n\n");
}

TEST(UserContent, IsContextThenReviewSentenceThenContract) {
  const std::string sentence =
      "Carefully review the code diff for bugs, security issues, performance problems, and code "
      "quality concerns. ";
  const detail::ReviewRequest bare = assemble_request({}, nullptr, agent());
  EXPECT_EQ(bare.shared_context, "");
  EXPECT_EQ(bare.user_content, sentence + std::string(detail::REVIEW_INSTRUCTIONS));

  const SharedAnalysisResult shared{{"Go"}, {}, "x"};
  const detail::ReviewRequest with = assemble_request({}, &shared, agent());
  EXPECT_EQ(with.shared_context, build_shared_context(shared));
  EXPECT_EQ(with.user_content,
            build_shared_context(shared) + sentence + std::string(detail::REVIEW_INSTRUCTIONS));
}

TEST(SystemBlocks, DiffBlockIsCacheableAndAgentBlockIsNot) {
  const std::vector<FileChange> one{{"a.txt", "-x\n+y"}};
  const detail::ReviewRequest r = assemble_request(one, nullptr, agent("Be strict."));
  const Value expected = Value::Sequence{
      Value::Mapping{{"type", "text"},
                     {"text", "File: a.txt\n-x\n+y"},
                     {"cache_control", detail::CACHE_CONTROL_1H}},
      Value::Mapping{{"type", "text"},
                     {"text", "The code diff above is what you must review. Be strict."}},
  };
  EXPECT_EQ(r.system_blocks, expected);
  // Equality ignores key order; the client sees the order too.
  std::vector<std::string> keys;
  for (const auto& [k, v] : r.system_blocks.as_sequence()[0].as_mapping()) {
    keys.push_back(k.as_string());
  }
  EXPECT_EQ(keys, (std::vector<std::string>{"type", "text", "cache_control"}));
  EXPECT_EQ(detail::CACHE_CONTROL_1H, (Value::Mapping{{"type", "ephemeral"}, {"ttl", "1h"}}));
}

TEST(SystemBlocks, EmptyPromptKeepsTheLeadSentenceWithItsBlank) {
  const detail::ReviewRequest r = assemble_request({}, nullptr, agent(""));
  EXPECT_EQ(r.system_blocks.as_sequence()[1].as_mapping().at("text"),
            Value("The code diff above is what you must review. "));
}

TEST(SystemBlocks, NonTextPromptIsATypeError) {
  EXPECT_THROW(assemble_request({}, nullptr, agent(Value())), TypeError);
  EXPECT_THROW(assemble_request({}, nullptr, agent(Value(3))), TypeError);
}

}  // namespace
}  // namespace tessik
