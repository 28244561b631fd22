// The chat-completions client against the stub server: the single system
// message, response_format, function tools and tool messages.
#include <string>

#include <gtest/gtest.h>

#include <tessik/clients/chat_client.hpp>
#include <tessik/finding_schema.hpp>
#include <tessik/foundation/json.hpp>

#include "client_fixtures.hpp"
#include "strict_schema.hpp"

namespace tessik::testing {
namespace {

using clients::ChatCompletionsClient;

const char kVerdict[] = R"({"status": "clean", "summary": "ok", "confidence": 1})";

Value strict_format() {
  const Value config = output_config_for_three_state();
  return Value::Mapping{{"type", "json_schema"},
                        {"json_schema", Value::Mapping{{"name", *config.find("name")},
                                                       {"strict", true},
                                                       {"schema", *config.find("schema")}}}};
}

TEST(ChatCompletionsClient, PlainCallJoinsTheSystemBlocksIntoOneMessage) {
  for (const bool constrained : {false, true}) {
    SCOPED_TRACE(constrained ? "constrained" : "free");
    StubServer stub(replies({answer(chat_text("{}", "length"))}));
    auto options = chat_options(stub.url());
    options.constrain_plain_replies = constrained;
    ChatCompletionsClient client(options);
    const CompletionResult result =
        client.complete(user_turn("review this"),
                        {.system = system_blocks(), .agent_name = "hesper", .max_tokens = 300});
    EXPECT_EQ(fields(result), std::tuple("{}", "max_tokens", 1, false));

    const auto requests = stub.requests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].path, "/v1/chat/completions");
    EXPECT_EQ(requests[0].header("authorization"), "Bearer " + kApiKey);
    EXPECT_EQ(requests[0].header("x-api-key"), "");
    const Value body = requests[0].json();
    const Value expected_messages = Value::Sequence{
        Value::Mapping{{"role", "system"},
                       {"content",
                        "File: a.py\n+x = \"ü\\n\"\n\n\nThe code diff above is what you "
                        "must review. Be brief."}},
        user_turn("review this").as_sequence()[0]};
    EXPECT_EQ(*body.find("messages"), expected_messages);
    EXPECT_EQ(requests[0].body.find("cache_control"), std::string::npos);
    EXPECT_EQ(*body.find("model"), Value("local-model"));
    EXPECT_EQ(*body.find("max_tokens"), Value(300));
    const Value* format = body.find("response_format");
    EXPECT_EQ(format ? *format : Value(), constrained ? strict_format() : Value());

    EXPECT_EQ(client.usage().by_agent().at("hesper"),
              (clients::TokenUsage{
                  .input_tokens = 10, .output_tokens = 4, .cache_read_tokens = 20, .requests = 1}));
  }
}

TEST(ChatCompletionsClient, ToolCallsAreAnsweredAsToolMessages) {
  StubServer stub(replies({
      answer(chat_tool_calls({{"c1", "read_file", R"({"path": "a.py"})"},
                              {"c2", "read_file", "{not json"},
                              {"c3", "grep", "{}"}}),
             {{"times", 1}}),
      answer(chat_text(kVerdict)),
  }));
  ChatCompletionsClient client(chat_options(stub.url()));
  FileTool files;
  const CompletionResult result = client.complete_with_tools(
      user_turn("review"), {.system = system_blocks(),
                            .tools = Value::Sequence{read_file_definition()},
                            .tool_handlers = {{"read_file", files.handler()}},
                            .max_iterations = 4,
                            .agent_name = "peregrin",
                            .max_tokens = 900,
                            .output_config = output_config_for_three_state()});
  EXPECT_EQ(fields(result), std::tuple(kVerdict, "end_turn", 2, false));  // one round, 3 calls
  EXPECT_EQ(files.inputs(), (std::vector<Value>{Value::Mapping{{"path", "a.py"}}}));

  const auto requests = stub.requests();
  ASSERT_EQ(requests.size(), 2u);
  const Value first = requests[0].json();
  const Value function_tool = Value::Mapping{
      {"type", "function"},
      {"function", Value::Mapping{{"name", "read_file"},
                                  {"description", "Reads a file of the change."},
                                  {"parameters", *read_file_definition().find("input_schema")}}}};
  EXPECT_EQ(*first.find("tools"), Value(Value::Sequence{function_tool}));

  const Value second = requests[1].json();
  const Value& turns = *second.find("messages");
  ASSERT_EQ(turns.as_sequence().size(), 6u);  // system, user, assistant, three tool messages
  const Value& assistant = turns.as_sequence()[2];
  EXPECT_EQ(*assistant.find("role"), Value("assistant"));
  EXPECT_EQ(assistant.find("tool_calls")->as_sequence().size(), 3u);
  const std::string kAnswers[][2] = {
      {"c1", "x = 1\n"},
      {"c2", "error: the arguments of tool 'read_file' are not JSON: ..."},
      {"c3", "error: there is no tool named 'grep'; the tools are: read_file"},
  };
  for (std::size_t i = 0; i < 3; ++i) {
    const Value& m = turns.as_sequence()[3 + i];
    EXPECT_EQ(*m.find("role"), Value("tool"));
    EXPECT_EQ(*m.find("tool_call_id"), Value(kAnswers[i][0]));
    EXPECT_EQ(up_to(m.find("content")->as_string(), kAnswers[i][1]), kAnswers[i][1]);
  }
}

// Tool rounds go out without response_format (a server that forces it over
// the whole reply rules tool calls out); the verdict is held by one more
// request, without tools, within the cap.
TEST(ChatCompletionsClient, ToolRoundsAreFreeAndTheVerdictIsAskedForWithinTheCap) {
  const Value call = chat_tool_calls({{"c", "read_file", R"({"path": "a.py"})"}});
  const Value verdict = chat_text(kVerdict), prose = chat_text("Looks fine to me.");
  const struct {
    const char* name;
    std::int64_t cap;
    std::vector<Value> replies;  // one request each, in order
    bool constrain_tool_rounds;
    std::string requests;  // f: tools alone, F: tools and format, v: format alone
    std::int64_t iterations;
    bool hit_cap;
    const char* stop_reason = "end_turn";
    bool structured_output = true;
  } kCases[] = {
      // clang-format off
      {"prose after a tool round: asked again", 4, {call, prose, verdict}, false, "ffv", 3, false},
      {"a verdict needs no further request", 4, {call, verdict}, false, "ff", 2, false},
      {"tools wanted, one iteration left: answered, then asked", 2, {call, verdict}, false, "fv",
       2, false},
      {"the request the cap forced, no verdict: the cap is reported", 2, {call, prose}, false,
       "fv", 2, true},
      {"a refusal stands", 4, {chat_text(Value(), "content_filter")}, false, "f", 1, false,
       "refusal"},
      {"one iteration leaves no room to ask", 1, {prose}, false, "f", 1, false},
      {"tool rounds constrained on request", 3, {call, prose, verdict}, true, "FFv", 3, false},
      {"no structured output: endless tool calls stop at the cap", 2, {call, call}, false, "ff",
       2, true, "tool_use", false},
      // clang-format on
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    Value::Sequence script;
    for (const Value& reply : c.replies) script.push_back(answer(reply, {{"times", 1}}));
    StubServer stub(replies(script));
    auto options = chat_options(stub.url());
    options.constrain_tool_rounds = c.constrain_tool_rounds;
    options.structured_output = c.structured_output;
    ChatCompletionsClient client(options);
    FileTool files;
    const CompletionResult result = client.complete_with_tools(
        user_turn("review"), {.tools = Value::Sequence{read_file_definition()},
                              .tool_handlers = {{"read_file", files.handler()}},
                              .max_iterations = c.cap,
                              .max_tokens = 100,
                              .output_config = output_config_for_three_state()});
    EXPECT_EQ(std::tuple(result.stop_reason, result.iterations_used, result.hit_iteration_cap),
              std::tuple(c.stop_reason, c.iterations, c.hit_cap));
    const auto requests = stub.requests();
    ASSERT_EQ(requests.size(), c.requests.size());
    for (std::size_t i = 0; i < requests.size(); ++i) {
      const Value body = requests[i].json();
      const Value* format = body.find("response_format");
      EXPECT_EQ(body.find("tools") != nullptr, c.requests[i] != 'v') << i;
      EXPECT_EQ(format != nullptr, c.requests[i] != 'f') << i;
      if (format) {
        EXPECT_EQ(*format, strict_format());
        EXPECT_EQ(strict_schema_problems(*format->find("json_schema")->find("schema")),
                  std::vector<std::string>{});
      }
      // Asked again after prose: the same conversation, the prose left out.
      if (c.requests[i] == 'v' &&
          !c.replies[i - 1].find("choices")->as_sequence()[0].find("message")->find("tool_calls")) {
        EXPECT_EQ(*body.find("messages"), *requests[i - 1].json().find("messages"));
      }
    }
  }
}

}  // namespace
}  // namespace tessik::testing
