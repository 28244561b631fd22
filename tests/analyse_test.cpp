#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <tessik/agent_loader/agent.hpp>
#include <tessik/errors.hpp>
#include <tessik/logging_channels.hpp>
#include <tessik/text.hpp>

#include "fake_client.hpp"

namespace tessik {
namespace {

using testing::ExampleClient;

// ---- Log capture ------------------------------------------------------------

struct Line {
  std::string channel;
  LogLevel level;
  std::string message;
  friend bool operator==(const Line&, const Line&) = default;
};

std::ostream& operator<<(std::ostream& os, const Line& l) {
  return os << l.channel << "/" << static_cast<int>(l.level) << ": " << l.message;
}

// CAPTURE_ADAPTER

Line agent_info(std::string m) { return {"agent", LogLevel::info, std::move(m)}; }
Line agent_warning(std::string m) { return {"agent", LogLevel::warning, std::move(m)}; }
Line agent_debug(std::string m) { return {"agent", LogLevel::debug, std::move(m)}; }
Line position_info(std::string m) { return {"position", LogLevel::info, std::move(m)}; }

// ---- Fixtures -----------------------------------------------------------------

const std::vector<FileChange> kChanges{{"src/app.py", "-x\n+y"}};

AgentDefinition definition(std::string name = "wynn") {
  AgentDefinition d;
  d.name = std::move(name);
  d.system_prompt = "Find slow code.";
  d.severity_default = "major";
  return d;
}

AgentVerdict analyse_reply(CompletionResult reply, AgentDefinition def = definition()) {
  auto client = std::make_shared<ExampleClient>(false, std::move(reply));
  return LoadedAgent(std::move(def), client, 100).analyse(kChanges);
}

std::string raw_line(const std::string& raw) {
  return "[tessik]     [wynn] raw response (" + std::to_string(code_point_count(raw)) +
         " chars, starts: " + repr(first_code_points(raw, 80)) + ")";
}

// ---- The agent itself -----------------------------------------------------------

TEST(LoadedAgent, HoldsItsDefinitionAndSharesClientAndTools) {
  auto client = std::make_shared<ExampleClient>();
  auto tool = testing::FakeTool::named("read_file");
  const LoadedAgent agent(definition("corvin"), client, 77, {.read_file_tool = tool});
  EXPECT_EQ(agent.name(), "corvin");
  EXPECT_EQ(&agent.definition(), &agent.definition()) << "the held object, not a copy";
  EXPECT_EQ(agent.definition(), definition("corvin"));
  const AgentProtocol& protocol = agent;
  EXPECT_EQ(&protocol.definition(), &agent.definition());
  EXPECT_EQ(agent.client(), client);
  EXPECT_EQ(agent.tools().read_file_tool, tool);
  EXPECT_EQ(agent.max_tokens(), 77);
}

// ---- Verdict paths with their log lines ---------------------------------------

TEST(Analyse, FindingsReplyParsesEveryItemAndDropsRejectedOnes) {
  const std::string raw =
      R"({"status": "findings", "summary": "Two spots.", "findings": [)"
      R"({"file_path": "src/app.py", "line_number": 2, "issue": "Slow loop", "category": "perf"},)"
      R"("not an item"]})";
  LogCapture capture;
  const AgentVerdict v = analyse_reply({raw});

  ASSERT_TRUE(v.is_findings());
  EXPECT_EQ(v.summary(), "Two spots.");
  ASSERT_EQ(v.size(), 1u);
  EXPECT_EQ(v[0].agent_name, "wynn");
  EXPECT_EQ(v[0].severity, "medium") << "the definition's severity_default applies";
  EXPECT_EQ(v[0].category, "performance");
  EXPECT_EQ(captured(capture),
            (std::vector<Line>{
                agent_info(raw_line(raw)),
                position_info("[pos] agent.finding[0]  agent=wynn  raw_line=2  "
                              "raw_file='src/app.py'  issue='Slow loop'  "
                              "has_code_replacement=False  raw_rlc=None"),
                position_info("[pos] agent.finding[1]  agent=wynn  raw_line=None  "
                              "raw_file='(no file field)'  issue=''  "
                              "has_code_replacement=False  raw_rlc=None"),
                agent_info("[tessik]     [wynn] verdict=findings count=1"),
            }));
}

TEST(Analyse, CleanReplyConvertsConfidenceButLogsItAsGiven) {
  const std::string raw = R"({"status": "clean", "summary": "Read the loop.", "confidence": 1})";
  LogCapture capture;
  const AgentVerdict v = analyse_reply({raw});
  EXPECT_EQ(v, AgentVerdict::from_clean("Read the loop.", 1.0));
  EXPECT_EQ(captured(capture), (std::vector<Line>{
                                   agent_info(raw_line(raw)),
                                   agent_info("[tessik]     [wynn] verdict=clean confidence=1 "
                                              "summary='Read the loop.'"),
                               }));
}

TEST(Analyse, ErrorPathLogsTheWholeReplyAtDebugLevel) {
  // 200 code points, 210 bytes: lengths and cuts count code points.
  const std::string raw = "éééééééééé" + std::string(190, 'x');
  ASSERT_EQ(code_point_count(raw), 200u);
  LogCapture capture;
  const AgentVerdict v = analyse_reply({raw});
  ASSERT_TRUE(v.is_error());
  EXPECT_EQ(v.error_code(), "invalid_json");
  const std::vector<Line> lines = captured(capture);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0], agent_info("[tessik]     [wynn] raw response (200 chars, starts: '" +
                                 std::string("éééééééééé") + std::string(70, 'x') + "')"));
  EXPECT_EQ(lines[1], agent_warning("[tessik]     [wynn] verdict=error code=invalid_json message=" +
                                    *v.error_message()));
  EXPECT_EQ(lines[2], agent_debug("[tessik]     [wynn] full raw response (200 chars):\n" + raw));
}

// The completion facts reach the classifier: absent fields read as
// stop_reason absent, iterations_used 1, hit_iteration_cap false, and the cap
// is the definition's even without tools.
TEST(Analyse, CompletionFactsReachTheClassifier) {
  struct Case {
    const char* name;
    CompletionResult reply;
    const char* code;
    std::int64_t iterations_used;
  };
  const Case cases[] = {
      {"absent iterations read as 1", {""}, "empty_response", 1},
      {"given iterations pass through", {"", std::nullopt, 3}, "empty_response", 3},
      {"absent cap flag reads as false", {"", std::nullopt, 5}, "empty_response", 5},
      {"cap flag passes through", {"", std::nullopt, 5, true}, "max_iterations_no_verdict", 5},
      {"absent stop reason is no truncation", {"{\"status\":"}, "invalid_json", 1},
      {"stop reason passes through", {"{\"status\":", "max_tokens"}, "truncated_response", 1},
  };
  for (const Case& c : cases) {
    const AgentVerdict v = analyse_reply(c.reply);
    EXPECT_EQ(v.error_code(), c.code) << c.name;
    EXPECT_EQ(v.iterations_used(), c.iterations_used) << c.name;
  }
  AgentDefinition capped = definition();
  capped.max_tool_iterations = 9;
  const AgentVerdict v = analyse_reply({"", std::nullopt, 9, true}, capped);
  EXPECT_NE(v.error_message()->find("cap of 9 iterations"), std::string::npos)
      << "max_iterations is the definition's, tools or not";
}

// ---- Terminal states mapped directly ---------------------------------------------

TEST(VerdictFromTerminalState, EveryStateButFindingsAndCleanIsAnError) {
  const Value error_payload =
      Value::Mapping{{"error", Value::Mapping{{"code", "internal_error"}, {"message", "m"}}}};
  for (const char* state : {"error", "Clean", "FINDINGS", "", "done"}) {
    const AgentVerdict v =
        detail::verdict_from_terminal_state({state, error_payload}, "raw", definition());
    EXPECT_EQ(v, AgentVerdict::from_error("internal_error", "m")) << "'" << state << "'";
  }
}

TEST(VerdictFromTerminalState, ErrorIterationsComeFromThePayload) {
  const auto verdict = [](Value error) {
    const Value payload = Value::Mapping{{"error", std::move(error)}};
    return detail::verdict_from_terminal_state({"error", payload}, "", definition());
  };
  EXPECT_EQ(verdict(Value::Mapping{{"code", "c"}, {"message", "m"}}).iterations_used(),
            std::nullopt);
  EXPECT_EQ(verdict(Value::Mapping{{"code", "c"}, {"message", "m"}, {"iterations_used", 0}})
                .iterations_used(),
            0);
}

TEST(VerdictFromTerminalState, CleanWithEmptyOrLongSummary) {
  {
    LogCapture capture;
    const AgentVerdict v = detail::verdict_from_terminal_state(
        {"clean", Value::Mapping{{"summary", ""}, {"confidence", 0.5}}}, "", definition());
    EXPECT_EQ(v, AgentVerdict::from_clean("", 0.5));
    EXPECT_EQ(captured(capture),
              (std::vector<Line>{agent_info("[tessik]     [wynn] verdict=clean confidence=0.5 "
                                            "summary=''")}));
  }
  LogCapture capture;
  const std::string summary = std::string(79, 's') + "ΩΩ";
  detail::verdict_from_terminal_state(
      {"clean", Value::Mapping{{"summary", summary}, {"confidence", 0.25}}}, "", definition());
  EXPECT_EQ(captured(capture),
            (std::vector<Line>{agent_info("[tessik]     [wynn] verdict=clean confidence=0.25 "
                                          "summary='" +
                                          std::string(79, 's') + "Ω'")}));
}

TEST(VerdictFromTerminalState, TrustedPayloadFailuresPropagate) {
  const auto map = [](const char* state, Value payload) {
    return detail::verdict_from_terminal_state({state, std::move(payload)}, "", definition());
  };
  EXPECT_THROW(map("error", Value::Mapping{}), InvalidValueError);
  EXPECT_THROW(map("error", Value::Mapping{{"error", Value::Mapping{{"code", "c"}}}}),
               InvalidValueError);
  EXPECT_THROW(map("clean", Value::Mapping{{"summary", "s"}}), InvalidValueError);
  EXPECT_THROW(map("findings", Value::Mapping{{"findings", "abc"}}), TypeError);
}

// ---- The findings path ------------------------------------------------------

TEST(BuildFindingsVerdict, SummaryAndMissingOrRejectedItems) {
  const auto build = [](Value payload) {
    return detail::build_findings_verdict(payload, definition());
  };
  const AgentVerdict none = build(Value::Mapping{});
  EXPECT_TRUE(none.is_findings());
  EXPECT_TRUE(none.empty());
  const AgentVerdict rejected =
      build(Value::Mapping{{"findings", Value::Sequence{1, "x", Value()}}, {"summary", 3}});
  EXPECT_TRUE(rejected.is_findings());
  EXPECT_TRUE(rejected.empty());
  EXPECT_EQ(rejected.summary(), std::nullopt) << "a numeric summary is dropped";
  const AgentVerdict kept = build(Value::Mapping{
      {"findings", Value::Sequence{Value::Mapping{{"issue", "a"}}, Value::Mapping{{"issue", "b"}}}},
      {"summary", " as given "}});
  ASSERT_EQ(kept.size(), 2u);
  EXPECT_EQ(kept[0].issue, Value("a"));
  EXPECT_EQ(kept[1].issue, Value("b"));
  EXPECT_EQ(kept.summary(), " as given ");
}

TEST(BuildFindingsVerdict, PositionLineShowsTheRawPlacement) {
  struct Case {
    const char* name;
    Value item;
    std::string fields;  // the line after "agent=wynn  "
  };
  const std::string long_issue = std::string(120, 'i');
  const Case cases[] = {
      {"line 0 falls through to lines",
       Value::Mapping{{"line", 0}, {"lines", 12}, {"line_number", 3}, {"file", "f.py"}},
       "raw_line=12  raw_file='f.py'  issue=''  has_code_replacement=False  raw_rlc=None"},
      {"line_number is taken unchanged, even 0",
       Value::Mapping{{"line_number", 0}, {"filename", "g.py"}, {"replacement_line_count", "2"}},
       "raw_line=0  raw_file='g.py'  issue=''  has_code_replacement=False  raw_rlc='2'"},
      {"empty file_path falls through, none gives the placeholder",
       Value::Mapping{{"file_path", ""}},
       "raw_line=None  raw_file='(no file field)'  issue=''  has_code_replacement=False  "
       "raw_rlc=None"},
      {"empty issue falls through to message",
       Value::Mapping{{"issue", ""}, {"message", "from message"}, {"title", "t"}},
       "raw_line=None  raw_file='(no file field)'  issue='from message'  "
       "has_code_replacement=False  raw_rlc=None"},
      {"long issue is cut to 80",
       Value::Mapping{{"issue", long_issue}, {"code_replacement", Value::Sequence{"x"}}},
       "raw_line=None  raw_file='(no file field)'  issue='" + std::string(80, 'i') +
           "'  has_code_replacement=True  raw_rlc=None"},
      {"empty code_replacement is not set",
       Value::Mapping{{"code_replacement", Value::Sequence{}}, {"replacement_line_count", 4}},
       "raw_line=None  raw_file='(no file field)'  issue=''  has_code_replacement=False  "
       "raw_rlc=4"},
  };
  for (const Case& c : cases) {
    LogCapture capture;
    detail::build_findings_verdict(Value::Mapping{{"findings", Value::Sequence{c.item}}},
                                   definition());
    EXPECT_EQ(captured(capture),
              (std::vector<Line>{position_info("[pos] agent.finding[0]  agent=wynn  " + c.fields)}))
        << c.name;
  }
}

// ---- Threads ----------------------------------------------------------------

TEST(Analyse, ConcurrentAnalysesOnASharedClientMatchSerialOnes) {
  auto client = std::make_shared<ExampleClient>(true);
  client->set_responder([](const Value& messages, const std::string& agent) -> CompletionResult {
    const std::string& content = messages.as_sequence()[0].as_mapping().at("content").as_string();
    if (agent == "corvin") return {R"({"status": "clean", "summary": "ok", "confidence": 0.5})"};
    if (agent == "hesper") return {"not json", "max_tokens"};
    return {R"({"status": "findings", "findings": [{"file_path": "a", "line_number": )" +
            std::to_string(content.size() % 97) + R"(, "issue": ")" + agent + R"("}]})"};
  });
  auto tool = testing::FakeTool::named("read_file");
  std::vector<LoadedAgent> agents;
  for (const char* name : {"corvin", "hesper", "wynn", "custom"}) {
    agents.emplace_back(definition(name), client, 10, ReviewerTools{.read_file_tool = tool});
  }
  std::vector<std::vector<FileChange>> change_sets;
  for (int i = 0; i < 6; ++i) {
    change_sets.push_back({{"f" + std::to_string(i), std::string(i * 13, 'd')}});
  }
  const SharedAnalysisResult shared{{"Go"}, {"io"}, "s"};

  std::vector<AgentVerdict> serial;
  for (const auto& changes : change_sets) {
    for (const LoadedAgent& a : agents) serial.push_back(a.analyse(changes, &shared));
  }
  constexpr int kThreads = 8;
  std::vector<std::vector<AgentVerdict>> parallel(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (const auto& changes : change_sets) {
        for (const LoadedAgent& a : agents) parallel[t].push_back(a.analyse(changes, &shared));
      }
    });
  }
  for (std::thread& th : threads) th.join();
  for (int t = 0; t < kThreads; ++t) EXPECT_EQ(parallel[t], serial) << "thread " << t;
  EXPECT_EQ(client->calls().size(), (kThreads + 1) * serial.size());
}

}  // namespace
}  // namespace tessik
