// The Messages client against the stub server: what goes on the wire, the
// tool-use exchange through real handlers, the iteration cap and usage.
#include <string>

#include <gtest/gtest.h>

#include <tessik/clients/messages_client.hpp>
#include <tessik/finding_schema.hpp>
#include <tessik/foundation/json.hpp>

#include "client_fixtures.hpp"
#include "strict_schema.hpp"

namespace tessik::testing {
namespace {

using clients::MessagesClient;

const char kVerdict[] = R"({"status": "clean", "summary": "ok", "confidence": 1})";

TEST(MessagesClient, PlainCallSendsTheRequestAsBuiltAndReadsTheReply) {
  StubServer stub(replies({answer(messages_text("{\"status\": \"clean\"}", "max_tokens"))}));
  MessagesClient client(messages_options(stub.url()));
  const Value system = system_blocks();
  const CompletionResult result = client.complete(
      user_turn("review this"),
      {.system = system, .cache_key = "k", .agent_name = "wynn", .max_tokens = 512});

  EXPECT_EQ(fields(result), std::tuple("{\"status\": \"clean\"}", "max_tokens", 1, false));

  const auto requests = stub.requests();
  ASSERT_EQ(requests.size(), 1u);
  const StubRequest& r = requests[0];
  EXPECT_EQ(r.path, "/v1/messages");
  EXPECT_EQ(r.header("x-api-key"), kApiKey);
  EXPECT_EQ(r.header("anthropic-version"), "2023-06-01");
  EXPECT_EQ(r.header("content-type"), "application/json");
  // The system blocks byte for byte, cache marker included.
  EXPECT_NE(r.body.find("\"system\": " + to_json(system)), std::string::npos) << r.body;
  const Value body = r.json();
  EXPECT_EQ(*body.find("model"), Value("test-model"));
  EXPECT_EQ(*body.find("max_tokens"), Value(512));
  EXPECT_EQ(*body.find("messages"), user_turn("review this"));
  EXPECT_EQ(body.find("tools"), nullptr);
  EXPECT_EQ(body.find("output_config"), nullptr);
  EXPECT_EQ(body.find("thinking"), nullptr);

  EXPECT_EQ(client.usage().by_agent().at("wynn"), (clients::TokenUsage{.input_tokens = 10,
                                                                       .output_tokens = 5,
                                                                       .cache_write_tokens = 100,
                                                                       .cache_read_tokens = 7,
                                                                       .requests = 1}));
}

TEST(MessagesClient, ToolExchangeRunsTheHandlersAndSendsTheResultsBack) {
  StubServer stub(replies({
      answer(messages_tool_use({{"t1", "read_file", Value::Mapping{{"path", "a.py"}}}}),
             {{"times", 1}}),
      answer(messages_tool_use({{"t2", "delete_repo", Value::Mapping{}},
                                {"t3", "read_file", Value("a.py")},
                                {"t4", "read_file", Value::Mapping{{"path", "missing.py"}}}}),
             {{"times", 1}}),
      answer(messages_text(kVerdict)),
  }));
  MessagesClient client(messages_options(stub.url()));
  FileTool files;
  const CompletionResult result = client.complete_with_tools(
      user_turn("review"), {.system = system_blocks(),
                            .tools = Value::Sequence{read_file_definition()},
                            .tool_handlers = {{"read_file", files.handler()}},
                            .max_iterations = 5,
                            .agent_name = "corvin",
                            .max_tokens = 8192,
                            .output_config = output_config_for_three_state(),
                            .reasoning_enabled = true});
  EXPECT_EQ(fields(result), std::tuple(kVerdict, "end_turn", 3, false));
  // The string input and the unknown tool never reach a handler.
  EXPECT_EQ(files.inputs(), (std::vector<Value>{Value::Mapping{{"path", "a.py"}},
                                                Value::Mapping{{"path", "missing.py"}}}));

  const auto requests = stub.requests();
  ASSERT_EQ(requests.size(), 3u);
  for (const StubRequest& r : requests) {
    const Value body = r.json();
    EXPECT_EQ(*body.find("tools"), Value(Value::Sequence{read_file_definition()}));
    EXPECT_EQ(*body.find("system"), system_blocks());
    EXPECT_EQ(body.find("output_config"), nullptr);  // the last reply is a verdict
    EXPECT_EQ(*body.find("thinking"),
              Value(Value::Mapping{{"type", "enabled"}, {"budget_tokens", 4096}}));
  }
  const Value second = requests[1].json();
  const Value& turns = *second.find("messages");
  ASSERT_EQ(turns.as_sequence().size(), 3u);
  EXPECT_EQ(
      *turns.as_sequence()[1].find("content"),
      *messages_tool_use({{"t1", "read_file", Value::Mapping{{"path", "a.py"}}}}).find("content"));
  EXPECT_EQ(*turns.as_sequence()[2].find("content"),
            Value(Value::Sequence{Value::Mapping{
                {"type", "tool_result"}, {"tool_use_id", "t1"}, {"content", "x = 1\n"}}}));

  const Value third = requests[2].json();
  const Value& results = *third.find("messages")->as_sequence().back().find("content");
  ASSERT_EQ(results.as_sequence().size(), 3u);
  const char* const kErrors[][2] = {
      {"t2", "there is no tool named 'delete_repo'; the tools are: read_file"},
      {"t3", "the input of tool 'read_file' must be an object, not a string"},
      {"t4", "tool 'read_file' failed: no file missing.py"},
  };
  for (std::size_t i = 0; i < 3; ++i) {
    const Value& item = results.as_sequence()[i];
    EXPECT_EQ(*item.find("tool_use_id"), Value(kErrors[i][0]));
    EXPECT_EQ(*item.find("content"), Value(kErrors[i][1]));
    EXPECT_EQ(*item.find("is_error"), Value(true));
  }
  EXPECT_EQ(client.usage().by_agent().at("corvin").requests, 3);
}

TEST(MessagesClient, EndlessToolUseStopsAtTheIterationCap) {
  StubServer stub(
      replies({answer(messages_tool_use({{"t", "read_file", Value::Mapping{{"path", "a.py"}}}}))}));
  MessagesClient client(messages_options(stub.url()));
  FileTool files;
  const CompletionResult result = client.complete_with_tools(
      user_turn("review"), {.tools = Value::Sequence{read_file_definition()},
                            .tool_handlers = {{"read_file", files.handler()}},
                            .max_iterations = 3,
                            .max_tokens = 100});
  EXPECT_EQ(fields(result), std::tuple("Let me look.", "tool_use", 3, true));
  EXPECT_EQ(stub.requests().size(), 3u);
  EXPECT_EQ(files.inputs().size(), 2u);  // the capped round's call is not run
}

TEST(MessagesClient, ThinkingBudgetFollowsMaxTokensAndToolRoundsMayCarryTheConstraint) {
  struct Case {
    const char* name;
    std::int64_t max_tokens;
    bool constrain_tool_rounds;
    Value thinking;  // null: no thinking sent
  };
  const Case kCases[] = {
      {"budget lowered below max_tokens", 2000, true,
       Value::Mapping{{"type", "enabled"}, {"budget_tokens", 1999}}},
      {"too small a budget leaves thinking off", 1024, false, Value()},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.name);
    StubServer stub(replies({answer(messages_text("x"))}));
    auto options = messages_options(stub.url());
    options.constrain_tool_rounds = c.constrain_tool_rounds;
    MessagesClient client(options);
    client.complete_with_tools(user_turn("u"), {.max_iterations = 1,
                                                .max_tokens = c.max_tokens,
                                                .output_config = output_config_for_three_state(),
                                                .reasoning_enabled = true});
    const Value body = stub.requests().at(0).json();
    const Value* thinking = body.find("thinking");
    EXPECT_EQ(thinking ? *thinking : Value(), c.thinking);
    EXPECT_EQ(body.find("output_config") != nullptr, c.constrain_tool_rounds);
  }
}

// A conversation holding tool_use blocks must define the tools, so the
// request that asks for the verdict keeps them and rules their use out.
TEST(MessagesClient, TheVerdictRequestKeepsTheToolsButRulesThemOut) {
  StubServer stub(replies({
      answer(messages_tool_use({{"t1", "read_file", Value::Mapping{{"path", "a.py"}}}}),
             {{"times", 1}}),
      answer(messages_text("Looks fine."), {{"times", 1}}),
      answer(messages_text(kVerdict)),
  }));
  MessagesClient client(messages_options(stub.url()));
  FileTool files;
  const Value output_config = output_config_for_three_state();
  const CompletionResult result = client.complete_with_tools(
      user_turn("review"), {.tools = Value::Sequence{read_file_definition()},
                            .tool_handlers = {{"read_file", files.handler()}},
                            .max_iterations = 4,
                            .max_tokens = 100,
                            .output_config = output_config});
  EXPECT_EQ(fields(result), std::tuple(kVerdict, "end_turn", 3, false));
  const auto requests = stub.requests();
  ASSERT_EQ(requests.size(), 3u);
  for (std::size_t i = 0; i < 2; ++i) {
    EXPECT_EQ(requests[i].json().find("output_config"), nullptr) << i;
    EXPECT_EQ(requests[i].json().find("tool_choice"), nullptr) << i;
  }
  const Value last = requests[2].json();
  EXPECT_EQ(*last.find("tools"), Value(Value::Sequence{read_file_definition()}));
  EXPECT_EQ(*last.find("tool_choice"), Value(Value::Mapping{{"type", "none"}}));
  EXPECT_EQ(*last.find("messages"), *requests[1].json().find("messages"));
  const Value& format = *last.find("output_config")->find("format");
  EXPECT_EQ(*format.find("type"), Value("json_schema"));
  EXPECT_EQ(*format.find("schema"), *output_config.find("schema"));
  EXPECT_EQ(strict_schema_problems(*format.find("schema")), std::vector<std::string>{});
}

}  // namespace
}  // namespace tessik::testing
