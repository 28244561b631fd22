// An agent's analysis from reply to verdict: the reply's terminal state, the
// verdict and its log lines, the verdict as a read-only sequence of findings,
// and agents sharing one client in parallel.
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include <tessik/agent_loader/execution/detail/terminal_verdict.hpp>
#include <tessik/agent_loader/execution/loaded_agent.hpp>
#include <tessik/agent_loader/verdict/agent_verdict.hpp>
#include <tessik/finding_schema.hpp>
#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/json.hpp>
#include <tessik/foundation/text.hpp>
#include <tessik/logging_channels.hpp>
#include <tessik/terminal_state.hpp>

#include "fake_client.hpp"
#include "strict_schema.hpp"

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

AgentDefinition definition() {
  AgentDefinition d;
  d.name = "wynn";
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

struct ReplyCase {
  const char* name;
  std::string text;
  const char* want;                   // the state of a valid reply, else the classifier's code
  const char* stop_reason = nullptr;  // nullptr: absent
  bool hit_cap = false;
};

TEST(ClassifyTerminalState, Table) {
  const std::string F = R"({"status": "findings", "findings": [{"line_number": 1}]})";
  const std::string C = R"({"status": "clean", "summary": "Read it.", "confidence": 1})";
  const std::string E =
      R"({"status": "error", "error": {"code": "tool_unavailable", "message": ""}})";
  const std::string at_limit = C + std::string(MAX_REPLY_BYTES - C.size(), ' ');
  const char* kSchema = "invalid_response_schema";
  const ReplyCase cases[] = {
      {"findings reply", F, "findings", "stop"},
      {"clean reply, integer confidence", C, "clean"},
      {"model's own error reply", E, "error"},
      {"strict-schema findings, unused members null",
       R"({"status": "findings", "findings": [{"line_number": 1}], "summary": null,)"
       R"( "confidence": null, "error": null})",
       "findings"},
      {"strict-schema clean",
       R"({"status": "clean", "findings": null, "summary": "s",)"
       R"( "confidence": 0.5, "error": null})",
       "clean"},
      {"strict-schema clean with a null summary still needs one",
       R"({"status": "clean", "findings": null, "summary": null, "confidence": 1, "error": null})",
       "invalid_response_schema"},
      {"white space around is ignored", " \n" + C + "\n\t", "clean"},
      {"json fence unwrapped", "```json\n" + C + "\n```", "clean"},
      {"bare fence unwrapped", "```\n" + F + "\n```\n", "findings"},
      {"valid reply wins over the cap", C, "clean", nullptr, true},
      {"valid reply at the token limit kept", C, "clean", "max_tokens"},
      {"empty", "", "empty_response"},
      {"blank, Unicode spaces too", " \n\u00a0\u3000", "empty_response"},
      {"refusal beats a valid text", C, "model_refusal", "refusal"},
      {"refusal beats the cap", "", "model_refusal", "refusal", true},
      {"prose", "Looks fine.", "invalid_json"},
      {"cut-off JSON at token limit", F.substr(0, 30), "truncated_response", "max_tokens"},
      {"text around a fence", "Here:\n```json\n" + C + "\n```", "invalid_json"},
      {"two fenced blocks", "```\n" + C + "\n```\n```\n" + C + "\n```", "invalid_json"},
      {"fence of another language", "```py\n" + C + "\n```", "invalid_json"},
      {"trailing comma", C.substr(0, C.size() - 1) + ",}", "invalid_json"},
      {"a reply at the size limit is parsed", at_limit, "clean"},
      {"one byte more is not", at_limit + " ", "response_too_large"},
      {"array", "[]", kSchema},
      {"legacy bare findings", R"({"findings": []})", kSchema},
      {"status in other case", R"({"status": "Clean"})", kSchema},
      {"status not text", R"({"status": 1})", kSchema},
      {"empty findings", R"({"status": "findings", "findings": []})", kSchema},
      {"findings not an array", R"({"status": "findings", "findings": {"a": 1}})", kSchema},
      {"clean, blank summary", R"({"status": "clean", "summary": " ", "confidence": 1})", kSchema},
      {"clean, no summary", R"({"status": "clean", "confidence": 1})", kSchema},
      {"clean, text confidence", R"({"status": "clean", "summary": "s", "confidence": "1"})",
       kSchema},
      {"clean, boolean confidence", R"({"status": "clean", "summary": "s", "confidence": true})",
       kSchema},
      {"error, text error", R"({"status": "error", "error": "boom"})", kSchema},
      {"error, no message", R"({"status": "error", "error": {"code": "x"}})", kSchema},
      {"error, numeric code", R"({"status": "error", "error": {"code": 5, "message": ""}})",
       kSchema},
      {"cap explains an empty reply", "", "max_iterations_no_verdict", nullptr, true},
      {"cap explains a cut-off reply", "{", "max_iterations_no_verdict", "max_tokens", true},
      {"cap explains a schema error", R"({"findings": []})", "max_iterations_no_verdict", nullptr,
       true},
  };
  for (const ReplyCase& c : cases) {
    const TerminalState t = classify_terminal_state(
        {.raw_text = c.text,
         .stop_reason = c.stop_reason ? std::optional<std::string>(c.stop_reason) : std::nullopt,
         .iterations_used = 4,
         .hit_iteration_cap = c.hit_cap});
    const std::string want = c.want;
    const bool valid = want == "findings" || want == "clean" || want == "error";
    if (!c.stop_reason || std::string_view(c.stop_reason) != "refusal") {
      EXPECT_EQ(is_verdict_reply(c.text), valid) << c.name;
    }
    if (valid) {
      EXPECT_EQ(t.state, want) << c.name;
      const std::size_t open = c.text.find('{');
      const Value reply = parse_json(c.text.substr(open, c.text.rfind('}') - open + 1));
      EXPECT_EQ(to_json(t.payload), to_json(reply)) << c.name << ": payload is the reply itself";
      continue;
    }
    EXPECT_EQ(t.state, "error") << c.name;
    ASSERT_EQ(t.payload.as_mapping().size(), 1u) << c.name;
    const Value::Mapping& error = t.payload.as_mapping().at("error").as_mapping();
    EXPECT_EQ(error.at("code"), Value(want)) << c.name;
    EXPECT_NE(error.at("message"), Value("")) << c.name;
    EXPECT_EQ(error.at("iterations_used"), Value(4)) << c.name;
  }
}

// The schema keeps both protocols' strict-mode rules, and its enums match
// what the finding parser and the reply contract accept.
TEST(OutputConfig, IsStrictModeValidAndNamesTheAcceptedWords) {
  const Value config = output_config_for_three_state();
  EXPECT_EQ(*config.find("name"), Value("three_state_review_reply"));
  const Value& schema = *config.find("schema");
  EXPECT_EQ(testing::strict_schema_problems(schema), std::vector<std::string>{});
  const auto prop = [](const Value& object, const char* key) -> const Value& {
    return *object.find("properties")->find(key);
  };
  const auto words = [](std::initializer_list<const char*> items) {
    return Value(Value::Sequence(items.begin(), items.end()));
  };
  EXPECT_EQ(*prop(schema, "status").find("enum"), words({"findings", "clean", "error"}));
  const Value& findings = prop(schema, "findings").find("anyOf")->as_sequence()[0];
  EXPECT_EQ(*findings.find("minItems"), Value(1));
  const Value& finding = *findings.find("items");
  EXPECT_EQ(*prop(finding, "severity").find("enum"), words({"high", "medium", "low", "info"}));
  EXPECT_EQ(*prop(finding, "category").find("enum"),
            words({"architecture", "security", "performance", "code-quality"}));

  // The checker itself catches each rule broken.
  const struct {
    const char* name;
    const char* schema;
    std::vector<std::string> problems;
  } kBroken[] = {
      {"anyOf root", R"({"anyOf": [{"type": "null"}]})", {"root: not of type object"}},
      {"optional property",
       R"({"type": "object", "properties": {"a": {"type": "string"}}, "required": [],)"
       R"( "additionalProperties": false})",
       {"root: not every property required"}},
      {"open nested object and a length",
       R"({"type": "object", "properties": {"a": {"type": "object", "properties": {},)"
       R"( "required": []}, "b": {"type": "string", "minLength": 1}}, "required": ["a", "b"],)"
       R"( "additionalProperties": false})",
       {"root/a: additionalProperties is not false", "root/b: keyword minLength"}},
      {"minItems above 1",
       R"({"type": "object", "properties": {"a": {"type": "array", "minItems": 2}},)"
       R"( "required": ["a"], "additionalProperties": false})",
       {"root/a: minItems 2"}},
  };
  for (const auto& c : kBroken) {
    EXPECT_EQ(testing::strict_schema_problems(parse_json(c.schema)), c.problems) << c.name;
  }
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
  // Missing or rejected items leave no findings; a summary that is not text, none.
  EXPECT_EQ(map("findings", Value::Mapping{}), AgentVerdict::from_findings({}));
  EXPECT_EQ(map("findings", Value::Mapping{{"findings", Value::Sequence{1, "x"}}, {"summary", 3}}),
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

AIReview finding(std::int64_t line) {
  return AIReview{
      .file_path = "a.py", .line_number = line, .severity = "low", .agent_name = "wynn"};
}

std::vector<std::int64_t> lines_of(const std::vector<AIReview>& findings) {
  std::vector<std::int64_t> lines;
  for (const AIReview& f : findings) lines.push_back(f.line_number);
  return lines;
}

// No field can be changed through a verdict: every accessor and the
// iterators give const access only.
static_assert(
    std::is_const_v<std::remove_reference_t<decltype(std::declval<AgentVerdict&>().findings())>>);
static_assert(
    std::is_const_v<std::remove_reference_t<decltype(*std::declval<AgentVerdict&>().begin())>>);
static_assert(std::is_const_v<std::remove_reference_t<decltype(std::declval<AgentVerdict&>()[0])>>);
static_assert(
    std::is_const_v<std::remove_reference_t<decltype(std::declval<AgentVerdict&>().status())>>);

TEST(AgentVerdictSequence, IteratesAndIndexesFromBothEnds) {
  const AgentVerdict v = AgentVerdict::from_findings({finding(10), finding(20), finding(30)});
  EXPECT_EQ(v.size(), 3u);
  EXPECT_EQ(lines_of(std::vector<AIReview>(v.begin(), v.end())),
            (std::vector<std::int64_t>{10, 20, 30}));
  EXPECT_EQ(v[0].line_number, 10);
  EXPECT_EQ(v[2].line_number, 30);
  EXPECT_EQ(v[-1].line_number, 30);
  EXPECT_EQ(v[-3].line_number, 10);
  for (std::ptrdiff_t outside : {std::ptrdiff_t{3}, std::ptrdiff_t{-4}, PTRDIFF_MAX, PTRDIFF_MIN}) {
    EXPECT_THROW(v[outside], std::out_of_range) << outside;
  }
  const AgentVerdict clean = AgentVerdict::from_clean("nothing", 0.9);
  EXPECT_TRUE(clean.empty());
  EXPECT_EQ(clean.begin(), clean.end());
  EXPECT_THROW(clean[0], std::out_of_range);
  EXPECT_THROW(clean[-1], std::out_of_range);
}

TEST(AgentVerdictSequence, SliceClampsLikeAHalfOpenRange) {
  const AgentVerdict v = AgentVerdict::from_findings({finding(0), finding(1), finding(2)});
  struct Case {
    const char* name;
    std::ptrdiff_t start, stop;
    std::vector<std::int64_t> expected;
  };
  const Case cases[] = {
      {"whole range", 0, 3, {0, 1, 2}},
      {"stop is exclusive", 1, 2, {1}},
      {"negative start counts from the end", -2, PTRDIFF_MAX, {1, 2}},
      {"negative stop counts from the end", 0, -1, {0, 1}},
      {"bounds past both ends are clamped", -100, 100, {0, 1, 2}},
      {"extreme bounds do not overflow", PTRDIFF_MIN, PTRDIFF_MAX, {0, 1, 2}},
      {"start after stop is empty", 2, 1, {}},
      {"start at the end is empty", 3, 5, {}},
      {"equal bounds are empty", -1, 2, {}},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(lines_of(v.slice(c.start, c.stop)), c.expected) << c.name;
  }
}

// Answers from the request alone (agent name and diff hash), so the same
// request always gets the same reply, whichever thread sends it.
class DeterministicClient final : public AIClient {
 public:
  CompletionResult complete(const Value& messages, const CompleteOptions& options) override {
    calls_.fetch_add(1, std::memory_order_relaxed);
    return reply_for(messages, options.agent_name, options.cache_key);
  }
  bool offers_tools() const noexcept override { return true; }
  CompletionResult complete_with_tools(const Value& messages,
                                       const ToolCompleteOptions& options) override {
    calls_.fetch_add(1, std::memory_order_relaxed);
    // Exercise the shared tools the way a real client would.
    for (const auto& [name, handler] : options.tool_handlers) {
      (void)handler(Value::Mapping{{"path", name}});
    }
    return reply_for(messages, options.agent_name, std::to_string(options.max_iterations));
  }
  std::int64_t calls() const { return calls_.load(); }

 private:
  static CompletionResult reply_for(const Value& messages, const std::string& agent,
                                    const std::string& key) {
    const std::string& content = messages.as_sequence().at(0).find("content")->as_string();
    const std::size_t h = std::hash<std::string>{}(agent + key + content) % 3;
    CompletionResult r;
    if (h == 0) {
      r.text = R"({"status":"findings","findings":[{"file_path":"src/a.py","line_number":3,)"
               R"("severity":"critical","issue":")" +
               agent + R"(","category":"sec","confidence":"0.9"}],"summary":"s"})";
    } else if (h == 1) {
      r.text = R"({"status":"clean","summary":"reviewed )" + agent + R"(","confidence":1})";
    } else {
      r.text = "not json at all";
    }
    return r;
  }
  std::atomic<std::int64_t> calls_{0};
};

std::vector<std::vector<FileChange>> sample_changes() {
  std::vector<std::vector<FileChange>> out;
  for (int i = 0; i < 4; ++i) {
    out.push_back({{"src/a.py", "@@ -1 +1 @@\n-x = " + std::to_string(i) + "\n+x = 1\n"},
                   {"web/app.ts", "@@ -2 +2 @@\n-let y\n+const y = " + std::to_string(i)}});
  }
  return out;
}

std::vector<LoadedAgent> sample_agents(const std::shared_ptr<AIClient>& client,
                                       const ReviewerTools& tools) {
  std::vector<LoadedAgent> agents;
  for (const char* name : {"corvin", "hesper", "wynn", "custom-bot"}) {
    AgentDefinition def;
    def.name = name;
    def.system_prompt = std::string("You review as ") + name + ".";
    agents.emplace_back(def, client, 1024, std::string(name) == "wynn" ? tools : ReviewerTools{});
  }
  return agents;
}

// Agents that share one client and one set of tools: eight threads, many
// rounds, the same verdicts as one thread.
TEST(Concurrency, EightThreadsMatchOneThread) {
  // Every level, so that formatting and emitting log lines run in parallel too.
  const ScopedLogCapture agent_lines(Log::agent);
  const ScopedLogCapture position_lines(Log::position);
  auto client = std::make_shared<DeterministicClient>();
  ReviewerTools tools{testing::FakeTool::named("read_file"), testing::FakeTool::named("read_lines"),
                      testing::FakeTool::named("find_code")};
  const auto agents = sample_agents(client, tools);
  const auto changes = sample_changes();
  const SharedAnalysisResult shared{{"python", "typescript"}, {"auth"}, "small change"};

  // The single-threaded reference: one verdict per (agent, change, shared?).
  std::vector<AgentVerdict> expected;
  for (const auto& agent : agents) {
    for (const auto& change : changes) {
      expected.push_back(agent.analyse(change, nullptr));
      expected.push_back(agent.analyse(change, &shared));
    }
  }

  constexpr int kThreads = 8;
  constexpr int kRounds = 25;
  std::atomic<int> mismatches{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int round = 0; round < kRounds; ++round) {
        // Threads walk the work in different orders so that the same and
        // different changes are analysed at the same moment.
        for (std::size_t a = 0; a < agents.size(); ++a) {
          const std::size_t agent = (a + static_cast<std::size_t>(t)) % agents.size();
          for (std::size_t c = 0; c < changes.size(); ++c) {
            const std::size_t base = (agent * changes.size() + c) * 2;
            if (!(agents[agent].analyse(changes[c], nullptr) == expected[base])) ++mismatches;
            if (!(agents[agent].analyse(changes[c], &shared) == expected[base + 1])) ++mismatches;
          }
        }
      }
    });
  }
  for (auto& th : threads) th.join();
  EXPECT_EQ(mismatches.load(), 0);
  EXPECT_EQ(client->calls(), static_cast<std::int64_t>(expected.size()) * (1 + kThreads * kRounds));
}

}  // namespace
}  // namespace tessik
