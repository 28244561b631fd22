// The request an agent sends: the diff text and its cache key, the system
// blocks and user content, and which client call carries it.
#include <gtest/gtest.h>

#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <tessik/agent_loader/execution/detail/request.hpp>
#include <tessik/agent_loader/execution/detail/terminal_verdict.hpp>
#include <tessik/agent_loader/execution/loaded_agent.hpp>
#include <tessik/finding_schema.hpp>
#include <tessik/foundation/detail/sha256.hpp>
#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/text.hpp>

#include "fake_client.hpp"

namespace tessik {
namespace {

using detail::assemble_request;
using testing::ExampleClient;
using testing::FakeTool;

const CompletionResult kClean{R"({"status": "clean", "summary": "Read it.", "confidence": 0.9})"};
const std::vector<FileChange> kChanges{{"a.txt", "-x\n+y"}};

AgentDefinition definition(Value prompt = "Be strict.") {
  AgentDefinition d;
  d.name = "wynn";
  d.system_prompt = std::move(prompt);
  d.max_tool_iterations = 3;
  return d;
}

const detail::ReviewRequest kRequest = assemble_request(kChanges, nullptr, definition());

const Value& block(const detail::ReviewRequest& r, int i, const char* key) {
  return r.system_blocks.as_sequence()[i].as_mapping().at(key);
}

std::string sha256_hex(std::string_view text) {
  detail::Sha256 sha;
  sha.update(text);
  return sha.hex();
}

TEST(ReviewInstructions, IsTheExactReplyContract) {
  EXPECT_EQ(sha256_hex(detail::REVIEW_INSTRUCTIONS),
            "c95caf03e72398c3fefb88bc9bf6b3f6114aa2890ea9f03e7c2bf3b9db2c5eb7");
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
    const detail::ReviewRequest r = assemble_request(c.changes, nullptr, definition());
    EXPECT_EQ(block(r, 0, "text"), Value(c.text)) << c.name;
    EXPECT_EQ(r.cache_key, c.hash) << c.name;
  }
  // Neither the context nor the agent plays a part in the key.
  const SharedAnalysisResult shared{{"Go"}, {"auth"}, "s"};
  EXPECT_EQ(assemble_request(kChanges, &shared, definition("other")).cache_key, "38696b6c0a8df3ac");
}

TEST(DiffText, HashedWhileBuiltAcrossSliceBoundaries) {
  std::string big(300'001, 'x');
  for (std::size_t i = 0; i < big.size(); i += 97) big[i] = static_cast<char>('a' + i % 26);
  std::vector<FileChange> changes{{"big", big}};
  for (int i = 0; i < 2000; ++i) changes.push_back({std::to_string(i), big.substr(i, 37)});
  const detail::DiffText diff = detail::build_diff_text(changes);
  EXPECT_EQ(diff.hash, "2caee422ee3d7277");
  EXPECT_EQ(sha256_hex(diff.text).substr(0, 16), diff.hash);
  const detail::ReviewRequest r = assemble_request(changes, nullptr, definition());
  EXPECT_EQ(block(r, 0, "text").as_string(), diff.text);
  EXPECT_EQ(r.cache_key, diff.hash);
}

TEST(UserContent, IsSharedContextThenReviewSentenceThenContract) {
  const std::string tail =
      "Carefully review the code diff for bugs, security issues, performance problems, and code "
      "quality concerns. " +
      std::string(detail::REVIEW_INSTRUCTIONS);
  EXPECT_EQ(assemble_request({}, nullptr, definition()).user_content(), tail);
  const SharedAnalysisResult shared{{"Python", "Go"}, {"auth", "sql"}, "Adds login."};
  const std::string context =
      "Context from shared analysis:\nLanguages: Python, Go\nRisk areas: auth, sql\n"
      "Summary: Adds login.\n\n";
  const detail::ReviewRequest r = assemble_request({}, &shared, definition());
  EXPECT_EQ(r.messages,
            (Value::Sequence{Value::Mapping{{"role", "user"}, {"content", context + tail}}}));
  EXPECT_EQ(detail::build_shared_context(shared), context);
  EXPECT_EQ(detail::build_shared_context({}),
            "Context from shared analysis:\nLanguages: \nRisk areas: \nSummary: \n\n");
}

TEST(SystemBlocks, DiffBlockFirstAndCacheableAgentBlockNot) {
  const detail::ReviewRequest r = assemble_request(kChanges, nullptr, definition());
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
  EXPECT_EQ(block(assemble_request({}, nullptr, definition("")), 1, "text"),
            Value("The code diff above is what you must review. "));
  EXPECT_THROW(assemble_request({}, nullptr, definition(Value())), TypeError);
}

testing::RecordedCall run(bool offers_tools, const ReviewerTools& tools = {}) {
  auto client = std::make_shared<ExampleClient>(offers_tools, kClean);
  LoadedAgent(definition(), client, 4096, tools).analyse(kChanges);
  EXPECT_EQ(client->calls().size(), 1u);
  return client->calls().at(0);
}

TEST(Dispatch, ToolPathPassesToolsInFixedOrderWithHandlersCapSchemaAndReasoning) {
  std::vector<std::string> asked;
  const testing::RecordedCall call = run(true, {.read_file_tool = FakeTool::named("rf", &asked),
                                                .read_lines_tool = FakeTool::named("rl", &asked),
                                                .find_code_tool = FakeTool::named("fc", &asked)});
  ASSERT_EQ(call.method, "complete_with_tools");
  EXPECT_EQ(call.messages, kRequest.messages);
  const ToolCompleteOptions& o = *call.tools;
  EXPECT_EQ(o.system, kRequest.system_blocks);
  EXPECT_EQ(o.tools,
            (Value::Sequence{Value::Mapping{{"name", "rf"}}, Value::Mapping{{"name", "rl"}},
                             Value::Mapping{{"name", "fc"}}}));
  EXPECT_EQ(asked, (std::vector<std::string>{"rf", "rl", "fc", "rf", "rl", "fc"}));
  EXPECT_EQ(o.max_iterations, 3);
  EXPECT_EQ(o.agent_name, "wynn");
  EXPECT_EQ(o.max_tokens, 4096);
  EXPECT_EQ(o.output_config, output_config_for_three_state());
  EXPECT_TRUE(o.reasoning_enabled);
  ASSERT_EQ(o.tool_handlers.size(), 3u);
  EXPECT_EQ(o.tool_handlers.at("rl")(7), (Value::Mapping{{"tool", "rl"}, {"echo", 7}}));

  const ToolCompleteOptions one = *run(true, {.find_code_tool = FakeTool::named("fc")}).tools;
  EXPECT_EQ(one.tools, (Value::Sequence{Value::Mapping{{"name", "fc"}}}));
  EXPECT_EQ(one.tool_handlers.size(), 1u);
}

TEST(Dispatch, SendsExactlyTheRequestAssembledForTheAgent) {
  const SharedAnalysisResult shared{{"Go"}, {"auth"}, "s"};
  for (const bool offers_tools : {false, true}) {
    for (const bool with_tools : {false, true}) {
      auto client = std::make_shared<ExampleClient>(offers_tools, kClean);
      std::vector<std::string> asked;
      const ReviewerTools tools =
          with_tools ? ReviewerTools{.read_lines_tool = FakeTool::named("rl", &asked)}
                     : ReviewerTools{};
      const LoadedAgent agent(definition(), client, 4096, tools);
      const detail::ReviewRequest r = detail::request_for(agent, kChanges, &shared);
      agent.analyse(kChanges, &shared);
      const testing::RecordedCall call = client->calls().at(0);
      const std::string name = std::string(offers_tools ? "offered" : "not offered") +
                               (with_tools ? ", a tool" : ", no tool");
      ASSERT_EQ(r.tool_path, offers_tools && with_tools) << name;
      EXPECT_EQ(call.method, r.tool_path ? "complete_with_tools" : "complete") << name;
      EXPECT_EQ(call.messages, r.messages) << name;
      EXPECT_EQ(r.tool_path ? call.tools->system : call.plain->system, r.system_blocks) << name;
      if (!r.tool_path) {
        EXPECT_EQ(call.plain->cache_key, r.cache_key) << name;
        EXPECT_EQ(call.plain->agent_name, "wynn") << name;
        EXPECT_EQ(call.plain->max_tokens, 4096) << name;
        EXPECT_TRUE(r.tools.is_null() && r.tool_handlers.empty()) << name;
        EXPECT_TRUE(asked.empty()) << name << ": the plain path never asks for tool definitions";
      }
    }
  }
  // Without a client there is no tool path to take; sending then fails.
  const LoadedAgent orphan(definition(), nullptr, 1, {.read_file_tool = FakeTool::named("rf")});
  EXPECT_FALSE(detail::request_for(orphan, kChanges, nullptr).tool_path);
  EXPECT_THROW(orphan.analyse(kChanges), TypeError);
}

TEST(Dispatch, ToolsReportingOneNameKeepTheLaterHandler) {
  const Value read = Value::Mapping{{"name", "read"}};
  const ToolCompleteOptions o =
      *run(true, {.read_file_tool = std::make_shared<FakeTool>(read, "first"),
                  .find_code_tool = std::make_shared<FakeTool>(read, "second")})
           .tools;
  EXPECT_EQ(o.tools.as_sequence().size(), 2u);
  ASSERT_EQ(o.tool_handlers.size(), 1u);
  EXPECT_EQ(*o.tool_handlers.at("read")(1).find("tool"), Value("second"));
}

TEST(Dispatch, ToolDefinitionWithoutTextNameFailsBeforeTheCallUntagged) {
  for (const Value& bad :
       {Value(Value::Mapping{{"title", "x"}}), Value(Value::Mapping{{"name", 3}}), Value("x")}) {
    auto client = std::make_shared<ExampleClient>(/*offers_tools=*/true, kClean);
    const LoadedAgent agent(definition(), client, 1,
                            {.read_lines_tool = std::make_shared<FakeTool>(bad, "bad")});
    try {
      agent.analyse(kChanges);
      ADD_FAILURE() << bad << ": no failure";
    } catch (const Error& e) {
      EXPECT_EQ(e.call_site(), std::nullopt) << bad;
    }
    EXPECT_TRUE(client->calls().empty()) << bad;
  }
}

// A tessik::Error comes back as the very object thrown, its earlier tag
// replaced; anything else as a ClientError with the same message nesting it.
TEST(CallSite, ClientFailuresAreTaggedOnBothPaths) {
  TypeError tagged_before("bad body");
  tagged_before.set_call_site("Old.complete");
  for (const bool tool_path : {false, true}) {
    const std::string site =
        tool_path ? "ExampleClient.complete_with_tools" : "ExampleClient.complete";
    for (const std::exception_ptr& failure :
         {std::make_exception_ptr(tagged_before), std::make_exception_ptr(std::out_of_range("503")),
          std::make_exception_ptr(42)}) {
      auto client = std::make_shared<ExampleClient>(tool_path);
      client->responder = [failure](const Value&, const std::string&) -> CompletionResult {
        std::rethrow_exception(failure);
      };
      const LoadedAgent agent(definition(), client, 1, {.find_code_tool = FakeTool::named("f")});
      try {
        agent.analyse(kChanges);
        ADD_FAILURE() << site << ": no failure";
      } catch (const TypeError& e) {
        EXPECT_EQ(e.call_site(), site);
        try {
          std::rethrow_exception(failure);
        } catch (const TypeError& thrown) {
          EXPECT_EQ(&thrown, &e) << "not the object the client threw";
        }
      } catch (const ClientError& e) {
        EXPECT_EQ(e.call_site(), site);
        try {
          e.rethrow_nested();
        } catch (const std::out_of_range&) {
          EXPECT_STREQ(e.what(), "503");
        } catch (int) {
        }
      }
    }
  }
}

template <class T>
struct TemplatedClient final : AIClient {
  CompletionResult complete(const Value&, const CompleteOptions&) override { return {}; }
};

TEST(TypeName, IsTheDynamicTypeWithoutNamespacesOrTemplateArguments) {
  EXPECT_EQ(ExampleClient().type_name(), "ExampleClient");
  const std::unique_ptr<AIClient> templated = std::make_unique<TemplatedClient<std::string>>();
  EXPECT_EQ(templated->type_name(), "TemplatedClient");
  EXPECT_THROW(templated->complete_with_tools(Value::Sequence{}, {}), TypeError);
  for (const auto& [demangled, name] : {std::pair{"(anonymous namespace)::D", "D"},
                                        {"ns::E<std::map<int, x::Y>, 3>", "E"},
                                        {"Outer<a::b>::Inner<c::d>", "Inner"},
                                        {"run()::Local", "Local"}}) {
    EXPECT_EQ(detail::unqualified_type_name(demangled), name) << demangled;
  }
}

}  // namespace
}  // namespace tessik
