#include <gtest/gtest.h>

#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <tessik/agent_loader/agent.hpp>
#include <tessik/agent_loader/request.hpp>
#include <tessik/errors.hpp>
#include <tessik/finding_schema.hpp>

#include "fake_client.hpp"

namespace tessik {
namespace {

using testing::ExampleClient;
using testing::FakeTool;

const CompletionResult kClean{R"({"status": "clean", "summary": "Read it.", "confidence": 0.9})"};
const std::vector<FileChange> kChanges{{"a.txt", "-x\n+y"}};

AgentDefinition definition(std::int64_t max_tool_iterations = 5) {
  AgentDefinition d;
  d.name = "wynn";
  d.system_prompt = "Look for slow code.";
  d.max_tool_iterations = max_tool_iterations;
  return d;
}

Value expected_messages() {
  const detail::ReviewRequest r = detail::assemble_request(kChanges, nullptr, definition());
  return Value::Sequence{Value::Mapping{{"role", "user"}, {"content", r.user_content}}};
}

Value expected_system() {
  return detail::assemble_request(kChanges, nullptr, definition()).system_blocks;
}

TEST(Dispatch, AgentWithoutToolsUsesCompleteKeyedByTheDiffHash) {
  // Even a client that offers tools gets a plain completion.
  auto client = std::make_shared<ExampleClient>(/*offers_tools=*/true, kClean);
  LoadedAgent(definition(), client, 4096).analyse(kChanges);

  const testing::RecordedCall call = client->only_call();
  ASSERT_EQ(call.method, "complete");
  EXPECT_EQ(call.messages, expected_messages());
  const CompleteOptions& o = *call.plain;
  EXPECT_EQ(o.system, expected_system());
  EXPECT_EQ(o.cache_key, "38696b6c0a8df3ac");
  EXPECT_EQ(o.agent_name, "wynn");
  EXPECT_EQ(o.max_tokens, 4096);
}

TEST(Dispatch, AgentWithToolsOnAClientWithoutToolUseFallsBackToComplete) {
  auto client = std::make_shared<ExampleClient>(/*offers_tools=*/false, kClean);
  auto tool = FakeTool::named("read_file");
  LoadedAgent(definition(), client, 10, {.read_file_tool = tool}).analyse(kChanges);

  EXPECT_EQ(client->only_call().method, "complete");
  EXPECT_EQ(client->only_call().plain->cache_key, "38696b6c0a8df3ac");
  EXPECT_EQ(tool->definition_calls(), 0) << "the plain path never asks for tool definitions";
}

TEST(Dispatch, ToolPathPassesToolsHandlersCapSchemaAndReasoning) {
  auto client = std::make_shared<ExampleClient>(/*offers_tools=*/true, kClean);
  auto read_file = FakeTool::named("read_file");
  auto read_lines = FakeTool::named("read_lines");
  auto find_code = FakeTool::named("find_code");
  std::vector<std::string> order;
  for (auto* t : {read_file.get(), read_lines.get(), find_code.get()}) {
    t->on_definition([&order](const std::string& label) { order.push_back(label); });
  }
  // Given out of order on purpose: the fixed order is read-file, read-lines,
  // find-code.
  const ReviewerTools tools{
      .read_file_tool = read_file, .read_lines_tool = read_lines, .find_code_tool = find_code};
  LoadedAgent(definition(3), client, 2048, tools).analyse(kChanges);

  const testing::RecordedCall call = client->only_call();
  ASSERT_EQ(call.method, "complete_with_tools");
  EXPECT_EQ(call.messages, expected_messages());
  const ToolCompleteOptions& o = *call.tools;
  EXPECT_EQ(o.system, expected_system());
  EXPECT_EQ(o.tools, (Value::Sequence{Value::Mapping{{"name", "read_file"}},
                                      Value::Mapping{{"name", "read_lines"}},
                                      Value::Mapping{{"name", "find_code"}}}));
  EXPECT_EQ(o.max_iterations, 3);
  EXPECT_EQ(o.agent_name, "wynn");
  EXPECT_EQ(o.max_tokens, 2048);
  EXPECT_EQ(o.output_config, output_config_for_three_state());
  EXPECT_TRUE(o.reasoning_enabled);
  // All definitions for the tool list first, then one more each for the
  // handler names.
  EXPECT_EQ(order, (std::vector<std::string>{"read_file", "read_lines", "find_code", "read_file",
                                             "read_lines", "find_code"}));
  ASSERT_EQ(o.tool_handlers.size(), 3u);
  EXPECT_EQ(o.tool_handlers.at("read_lines")(Value(7)),
            (Value::Mapping{{"tool", "read_lines"}, {"echo", 7}}));
}

TEST(Dispatch, OneWiredToolGivesOneDefinitionAndOneHandler) {
  auto client = std::make_shared<ExampleClient>(/*offers_tools=*/true, kClean);
  auto find_code = FakeTool::named("find_code");
  LoadedAgent(definition(), client, 1, {.find_code_tool = find_code}).analyse(kChanges);

  const ToolCompleteOptions& o = *client->only_call().tools;
  EXPECT_EQ(o.tools, (Value::Sequence{Value::Mapping{{"name", "find_code"}}}));
  ASSERT_EQ(o.tool_handlers.size(), 1u);
  EXPECT_EQ(o.tool_handlers.at("find_code")("q"),
            (Value::Mapping{{"tool", "find_code"}, {"echo", "q"}}));
  EXPECT_EQ(find_code->definition_calls(), 2);
}

TEST(Dispatch, ToolsReportingTheSameNameLeaveTheLaterHandler) {
  auto client = std::make_shared<ExampleClient>(/*offers_tools=*/true, kClean);
  auto first = std::make_shared<FakeTool>(Value::Mapping{{"name", "read"}}, "first");
  auto second = std::make_shared<FakeTool>(Value::Mapping{{"name", "read"}}, "second");
  LoadedAgent(definition(), client, 1, {.read_file_tool = first, .find_code_tool = second})
      .analyse(kChanges);

  const ToolCompleteOptions& o = *client->only_call().tools;
  EXPECT_EQ(o.tools.as_sequence().size(), 2u);
  ASSERT_EQ(o.tool_handlers.size(), 1u);
  EXPECT_EQ(o.tool_handlers.at("read")(1).find("tool")->as_string(), "second");
}

TEST(Dispatch, ToolDefinitionWithoutTextNameFailsBeforeTheCallUntagged) {
  struct Case {
    const char* name;
    Value definition;
    bool type_error;
  };
  const Case cases[] = {
      {"missing name", Value::Mapping{{"description", "x"}}, false},
      {"numeric name", Value::Mapping{{"name", 3}}, true},
      {"definition not a mapping", Value("read_file"), true},
  };
  for (const Case& c : cases) {
    auto client = std::make_shared<ExampleClient>(/*offers_tools=*/true, kClean);
    auto tool = std::make_shared<FakeTool>(c.definition);
    const LoadedAgent agent(definition(), client, 1, {.read_lines_tool = tool});
    try {
      agent.analyse(kChanges);
      ADD_FAILURE() << c.name << ": no failure";
    } catch (const Error& e) {
      EXPECT_EQ(dynamic_cast<const TypeError*>(&e) != nullptr, c.type_error) << c.name;
      EXPECT_FALSE(e.call_site().has_value()) << c.name;
    }
    EXPECT_TRUE(client->calls().empty()) << c.name;
  }
}

// A responder that throws `failure` itself (not a copy).
ExampleClient::Responder throwing(std::exception_ptr failure) {
  return [failure](const Value&, const std::string&) -> CompletionResult {
    std::rethrow_exception(failure);
  };
}

TEST(CallSite, TessikErrorIsTaggedAndRethrownAsTheSameObject) {
  for (const bool tools : {false, true}) {
    const std::string site =
        tools ? "ExampleClient.complete_with_tools" : "ExampleClient.complete";
    auto client = std::make_shared<ExampleClient>(tools);
    // A stale tag from an earlier call site is replaced.
    TypeError original("bad request body");
    original.set_call_site("Old.complete");
    const std::exception_ptr failure = std::make_exception_ptr(original);
    client->set_responder(throwing(failure));
    const LoadedAgent agent(definition(), client, 1, {.find_code_tool = FakeTool::named("f")});
    try {
      agent.analyse(kChanges);
      ADD_FAILURE() << site << ": no failure";
    } catch (const TypeError& e) {
      EXPECT_STREQ(e.what(), "bad request body");
      EXPECT_EQ(e.call_site(), site);
      try {
        std::rethrow_exception(failure);
      } catch (const TypeError& same) {
        EXPECT_EQ(&same, &e) << "the very object the client threw";
      }
    }
  }
}

TEST(CallSite, ForeignFailureBecomesATaggedClientErrorNestingIt) {
  for (const bool tools : {false, true}) {
    const std::string site =
        tools ? "ExampleClient.complete_with_tools" : "ExampleClient.complete";
    auto client = std::make_shared<ExampleClient>(tools);
    client->set_responder(throwing(std::make_exception_ptr(std::out_of_range("HTTP 503"))));
    const LoadedAgent agent(definition(), client, 1, {.read_file_tool = FakeTool::named("r")});
    try {
      agent.analyse(kChanges);
      ADD_FAILURE() << site << ": no failure";
    } catch (const ClientError& e) {
      EXPECT_STREQ(e.what(), "HTTP 503");
      EXPECT_EQ(e.call_site(), site);
      EXPECT_THROW(e.rethrow_nested(), std::out_of_range);
    }
  }
}

TEST(CallSite, NonExceptionThrowIsStillAClientError) {
  auto client = std::make_shared<ExampleClient>();
  client->set_responder(throwing(std::make_exception_ptr(42)));
  try {
    LoadedAgent(definition(), client, 1).analyse(kChanges);
    ADD_FAILURE() << "no failure";
  } catch (const ClientError& e) {
    EXPECT_EQ(e.call_site(), "ExampleClient.complete");
    EXPECT_THROW(e.rethrow_nested(), int);
  }
}

template <class T>
class TemplatedClient final : public AIClient {
 public:
  CompletionResult complete(const Value&, const CompleteOptions&) override { return {}; }
  struct Inner final : AIClient {
    CompletionResult complete(const Value&, const CompleteOptions&) override { return {}; }
  };
};

TEST(TypeName, IsTheDynamicTypeWithoutNamespacesOrTemplateArguments) {
  EXPECT_EQ(ExampleClient().type_name(), "ExampleClient");
  const std::unique_ptr<AIClient> templated = std::make_unique<TemplatedClient<std::string>>();
  EXPECT_EQ(templated->type_name(), "TemplatedClient");
  EXPECT_EQ(TemplatedClient<int>::Inner().type_name(), "Inner");

  struct Case {
    const char* demangled;
    const char* expected;
  };
  const Case cases[] = {
      {"Plain", "Plain"},
      {"a::b::C", "C"},
      {"(anonymous namespace)::D", "D"},
      {"ns::E<std::map<int, x::Y>, 3>", "E"},
      {"Outer<a::b>::Inner<c::d>", "Inner"},
      {"run()::Local", "Local"},
      {"", ""},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(detail::unqualified_type_name(c.demangled), c.expected) << c.demangled;
  }
}

TEST(AIClientDefaults, NoToolUseUnlessOffered) {
  struct Bare final : AIClient {
    CompletionResult complete(const Value&, const CompleteOptions&) override { return {}; }
  } bare;
  EXPECT_FALSE(bare.offers_tools());
  EXPECT_THROW(bare.complete_with_tools(Value::Sequence{}, {}), TypeError);
}

}  // namespace
}  // namespace tessik
