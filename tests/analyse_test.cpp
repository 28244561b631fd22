#include <gtest/gtest.h>

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include <tessik/agent_loader/execution/detail/terminal_verdict.hpp>
#include <tessik/agent_loader/execution/loaded_agent.hpp>
#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/text.hpp>
#include <tessik/logging_channels.hpp>

#include "fake_client.hpp"

namespace tessik {

static void PrintTo(const ScopedLogCapture::Line& line, std::ostream* os) {
  *os << static_cast<int>(line.level) << " " << line.message;
}

namespace {

using testing::ExampleClient;

using Lines = std::vector<ScopedLogCapture::Line>;
constexpr LogLevel kInfo = LogLevel::info;

// Captures both channels the analysis writes to, at every level.
struct Logs {
  ScopedLogCapture agent{Log::agent};
  ScopedLogCapture position{Log::position};
};

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

TEST(Analyse, FindingsReplyParsesEveryItemAndDropsRejectedOnes) {
  const std::string raw =
      R"({"status": "findings", "summary": "Two spots.", "findings": [)"
      R"({"file_path": "src/app.py", "line_number": 2, "issue": "Slow loop", "category": "perf"},)"
      R"("not an item"]})";
  const Logs logs;
  const AgentVerdict v = analyse_reply({raw});
  ASSERT_EQ(v.size(), 1u);
  EXPECT_EQ(v.summary(), "Two spots.");
  EXPECT_EQ(v[0].severity, "medium") << "the definition's severity_default applies";
  EXPECT_EQ(v[0].category, "performance");
  EXPECT_EQ(logs.agent.lines(), (Lines{{kInfo, raw_line(raw)},
                                       {kInfo, "[tessik]     [wynn] verdict=findings count=1"}}));
  EXPECT_EQ(logs.position.lines(),
            (Lines{{kInfo,
                    "[pos] agent.finding[0]  agent=wynn  raw_line=2  raw_file='src/app.py'  "
                    "issue='Slow loop'  has_code_replacement=False  raw_rlc=None"},
                   {kInfo,
                    "[pos] agent.finding[1]  agent=wynn  raw_line=None  raw_file='(no file "
                    "field)'  issue=''  has_code_replacement=False  raw_rlc=None"}}));
}

TEST(Analyse, CleanReplyConvertsConfidenceButLogsItAsGivenWithSummaryCut) {
  const std::string summary = std::string(79, 's') + "ΩΩ";
  const std::string raw =
      R"({"status": "clean", "summary": ")" + summary + R"(", "confidence": 1})";
  const Logs logs;
  EXPECT_EQ(analyse_reply({raw}), AgentVerdict::from_clean(summary, 1.0));
  EXPECT_EQ(logs.agent.lines(),
            (Lines{{kInfo, raw_line(raw)},
                   {kInfo, "[tessik]     [wynn] verdict=clean confidence=1 summary='" +
                               std::string(79, 's') + "Ω'"}}));
}

TEST(Analyse, ErrorPathCountsCodePointsAndLogsTheWholeReplyAtDebug) {
  const std::string raw = "éééééééééé" + std::string(190, 'x');  // 200 code points
  const Logs logs;
  const AgentVerdict v = analyse_reply({raw});
  ASSERT_EQ(v.error_code(), "invalid_json");
  EXPECT_EQ(
      logs.agent.lines(),
      (Lines{{kInfo, "[tessik]     [wynn] raw response (200 chars, starts: 'éééééééééé" +
                         std::string(70, 'x') + "')"},
             {LogLevel::warning,
              "[tessik]     [wynn] verdict=error code=invalid_json message=" + *v.error_message()},
             {LogLevel::debug, "[tessik]     [wynn] full raw response (200 chars):\n" + raw}}));
}

// Absent result fields reach the classifier as: no stop reason, 1 iteration,
// cap not hit; the cap is the definition's even without tools.
TEST(Analyse, CompletionFactsReachTheClassifier) {
  const Logs quiet;
  const struct {
    CompletionResult reply;
    const char* code;
    std::int64_t iterations_used;
  } cases[] = {
      {{""}, "empty_response", 1},
      {{"", std::nullopt, 3}, "empty_response", 3},
      {{"", std::nullopt, 3, true}, "max_iterations_no_verdict", 3},
      {{"{"}, "invalid_json", 1},
      {{"{", "max_tokens"}, "truncated_response", 1},
  };
  for (const auto& c : cases) {
    const AgentVerdict v = analyse_reply(c.reply);
    EXPECT_EQ(v.error_code(), c.code) << c.reply.text;
    EXPECT_EQ(v.iterations_used(), c.iterations_used) << c.code;
  }
  AgentDefinition capped = definition();
  capped.max_tool_iterations = 9;
  const AgentVerdict v = analyse_reply({"", std::nullopt, 9, true}, capped);
  EXPECT_NE(v.error_message()->find("cap of 9 iterations"), std::string::npos);
}

TEST(VerdictFromTerminalState, EveryOtherStateIsAnErrorFromThePayload) {
  const auto map = [](const char* state, Value payload) {
    return detail::verdict_from_terminal_state({state, std::move(payload)}, "", definition());
  };
  const Value error = Value::Mapping{{"code", "internal_error"}, {"message", "m"}};
  for (const char* state : {"error", "Clean", "FINDINGS", ""}) {
    EXPECT_EQ(map(state, Value::Mapping{{"error", error}}),
              AgentVerdict::from_error("internal_error", "m"))
        << state;
  }
  const Value counted = Value::Mapping{{"code", "c"}, {"message", "m"}, {"iterations_used", 0}};
  EXPECT_EQ(map("error", Value::Mapping{{"error", counted}}).iterations_used(), 0);
  // An empty summary is logged and kept as empty text.
  const Logs logs;
  EXPECT_EQ(map("clean", Value::Mapping{{"summary", ""}, {"confidence", 0.5}}),
            AgentVerdict::from_clean("", 0.5));
  EXPECT_EQ(logs.agent.messages().at(0),
            "[tessik]     [wynn] verdict=clean confidence=0.5 summary=''");
  // The payload is trusted: a failed lookup propagates.
  EXPECT_THROW(map("error", Value::Mapping{}), InvalidValueError);
  EXPECT_THROW(map("clean", Value::Mapping{{"summary", "s"}}), InvalidValueError);
  EXPECT_THROW(map("findings", Value::Mapping{{"findings", "abc"}}), TypeError);
}

TEST(BuildFindingsVerdict, MissingOrRejectedItemsAndNonTextSummary) {
  const auto build = [](Value payload) {
    return detail::build_findings_verdict(payload, definition());
  };
  EXPECT_EQ(build(Value::Mapping{}), AgentVerdict::from_findings({}));
  EXPECT_EQ(build(Value::Mapping{{"findings", Value::Sequence{1, "x"}}, {"summary", 3}}),
            AgentVerdict::from_findings({}));
}

TEST(BuildFindingsVerdict, PositionLineShowsTheRawPlacement) {
  const struct {
    Value item;
    std::string fields;  // after "agent=wynn  "
  } cases[] = {
      {Value::Mapping{{"line", 0}, {"lines", 12}, {"line_number", 3}, {"file", "f.py"}},
       "raw_line=12  raw_file='f.py'  issue=''  has_code_replacement=False  raw_rlc=None"},
      {Value::Mapping{{"line_number", 0}, {"filename", "g.py"}, {"replacement_line_count", "2"}},
       "raw_line=0  raw_file='g.py'  issue=''  has_code_replacement=False  raw_rlc='2'"},
      {Value::Mapping{{"file_path", ""}, {"issue", ""}, {"message", "msg"}, {"title", "t"}},
       "raw_line=None  raw_file='(no file field)'  issue='msg'  has_code_replacement=False  "
       "raw_rlc=None"},
      {Value::Mapping{{"issue", std::string(120, 'i')}, {"code_replacement", Value::Sequence{}}},
       "raw_line=None  raw_file='(no file field)'  issue='" + std::string(80, 'i') +
           "'  has_code_replacement=False  raw_rlc=None"},
      {Value::Mapping{{"code_replacement", Value::Sequence{"x"}}, {"replacement_line_count", 4}},
       "raw_line=None  raw_file='(no file field)'  issue=''  has_code_replacement=True  "
       "raw_rlc=4"},
  };
  for (const auto& c : cases) {
    const Logs logs;
    detail::build_findings_verdict(Value::Mapping{{"findings", Value::Sequence{c.item}}},
                                   definition());
    EXPECT_EQ(logs.position.messages(),
              std::vector<std::string>{"[pos] agent.finding[0]  agent=wynn  " + c.fields});
  }
}

}  // namespace
}  // namespace tessik
