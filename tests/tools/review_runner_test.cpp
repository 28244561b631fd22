// The concurrent review runner and the recordings a live review writes.
#include "run/review_runner.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <sstream>

#include <tessik/clients/provider_error.hpp>
#include <tessik/foundation/errors.hpp>

#include "fake_client.hpp"
#include "model/recording_client.hpp"
#include "model/replay_client.hpp"
#include "run/progress_board.hpp"
#include "temp_dir.hpp"

namespace tessik::cli {
namespace {

using namespace std::chrono_literals;

const char kClean[] = R"({"status": "clean", "summary": "fine", "confidence": 0.9})";
const std::vector<FileChange> kChanges{{"a.py", "@@ -1 +1 @@\n-a\n+b"}};

// Watches the calls the agents make: their order of starting and finishing,
// and how many ran at once (read once the run is over). Each call is held
// until `meet` calls (not counting the agent `alone`) have started, or a
// generous wait has passed, so calls that may overlap do. `once_started`
// runs right after the start is logged, outside the lock (a client's tool
// call during its request).
struct CallLog {
  CompletionResult call(const std::string& agent, const std::function<void()>& once_started = {}) {
    std::unique_lock lock(mutex);
    events.push_back("start " + agent);
    max_running = std::max(max_running, ++running);
    if (agent != alone) ++arrived;
    met.notify_all();
    if (once_started) {
      lock.unlock();
      once_started();
      lock.lock();
    }
    if (agent != alone) met.wait_for(lock, 10s, [&] { return arrived >= meet; });
    --running;
    events.push_back("end " + agent);
    if (agent == "peregrin") throw std::runtime_error("connection refused");
    return {.text = kClean};
  }

  std::size_t meet;
  std::string alone{};
  std::vector<std::string> events{};
  std::size_t max_running = 0, running = 0, arrived = 0;
  std::mutex mutex{};
  std::condition_variable met{};
};

std::vector<AgentOutcome> run_with(CallLog& log, RunSettings settings) {
  auto client = std::make_shared<testing::ExampleClient>();
  client->responder = [&log](const Value&, const std::string& agent) { return log.call(agent); };
  return run_agents(
      load_all_agents(AIConfig{.ai_max_tokens = 100, .custom_agents_dir = {}}, client), kChanges,
      nullptr, settings);
}

// The outcomes keep the agent order and a failure (peregrin's) stays with
// its agent.
TEST(ReviewRunner, WarmUpFinishesTheFirstCallBeforeAnyOtherStarts) {
  CallLog log{3, "corvin"};  // the three later calls meet and run together
  const auto outcomes = run_with(log, {.jobs = 0, .cache_warmup = true});
  ASSERT_EQ(log.events.size(), 8u);
  EXPECT_EQ(log.events[0], "start corvin");
  EXPECT_EQ(log.events[1], "end corvin");
  EXPECT_EQ(log.max_running, 3u);
  std::vector<std::string> names;
  for (const AgentOutcome& o : outcomes) {
    names.push_back(o.agent);
    EXPECT_EQ(o.verdict.has_value(), o.agent != "peregrin") << o.agent;
  }
  EXPECT_EQ(names, (std::vector<std::string>{"corvin", "hesper", "peregrin", "wynn"}));
  EXPECT_EQ(outcomes[2].failure_kind, "ClientError");
  EXPECT_EQ(outcomes[2].failure_message, "connection refused");
  EXPECT_EQ(outcomes[2].call_site, "ExampleClient.complete");
}

// Without warm-up every call starts at once, up to the number of jobs.
TEST(ReviewRunner, JobsBoundTheCallsRunningTogether) {
  for (const auto& [jobs, together] : {std::pair<std::size_t, std::size_t>{0, 4}, {1, 1}, {2, 2}}) {
    CallLog log{together};
    run_with(log, {.jobs = jobs, .cache_warmup = false});
    EXPECT_EQ(log.max_running, together) << jobs;
  }
}

// A client offering tools: `answer` gets the agent and a call of the first
// tool the agent has (a no-op without tools).
using ToolAnswer =
    std::function<CompletionResult(const std::string&, const std::function<void()>&)>;
class ToolClient final : public AIClient {
 public:
  explicit ToolClient(ToolAnswer answer) : answer_(std::move(answer)) {}
  CompletionResult complete(const Value&, const CompleteOptions& o) override {
    return answer_(o.agent_name, [] {});
  }
  bool offers_tools() const noexcept override { return true; }
  CompletionResult complete_with_tools(const Value&, const ToolCompleteOptions& o) override {
    return answer_(o.agent_name, [&] { o.tool_handlers.begin()->second(Value::Mapping{}); });
  }

 private:
  ToolAnswer answer_;
};

// Runs the agents with the warm-up ended by their tools, as a review does.
std::vector<AgentOutcome> run_with_tools(ToolAnswer answer, std::size_t jobs) {
  const auto signal = std::make_shared<FirstAnswer>();
  const std::vector<LoadedAgent> agents = load_all_agents(
      AIConfig{.ai_max_tokens = 100, .custom_agents_dir = {}},
      std::make_shared<ToolClient>(std::move(answer)), std::nullopt,
      notifying_tools({.read_file_tool = testing::FakeTool::named("read_file")}, signal));
  return run_agents(agents, kChanges, nullptr,
                    {.jobs = jobs, .cache_warmup = true, .first_answer = signal});
}

// The tool call comes after the start is logged, as a model's request for a
// tool comes after the request went out.
TEST(ReviewRunner, WarmUpEndsWhenTheFirstAgentsModelAsksForATool) {
  CallLog log{4};  // the first agent's call waits for the other three
  run_with_tools([&](const std::string& agent, const auto& tool) { return log.call(agent, tool); },
                 0);
  EXPECT_EQ(log.max_running, 4u);
  EXPECT_EQ(log.events.front(), "start corvin");
}

// Corvin's server refuses it (HTTP 400), after calling a tool or not. A
// warm-up refused before the server took any of it leaves the others
// unsent; once its model called a tool the warm-up was over, and the others
// run (one job: they would run after the refusal).
TEST(ReviewRunner, ARefusedWarmUpStopsTheOthersOnlyBeforeTheServerTookIt) {
  for (const bool tool_first : {false, true}) {
    SCOPED_TRACE(tool_first);
    std::atomic<int> calls{0};
    const std::vector<AgentOutcome> outcomes = run_with_tools(
        [&](const std::string& agent, const auto& tool) -> CompletionResult {
          ++calls;
          if (tool_first) tool();
          if (agent != "corvin") return {.text = kClean};
          throw clients::ProviderError("server: bad request (HTTP 400)", "server", 400, 1);
        },
        1);
    EXPECT_EQ(calls, tool_first ? 4 : 1);
    EXPECT_EQ(outcomes[0].failure_message, "server: bad request (HTTP 400)");
    for (std::size_t i = 1; i < outcomes.size(); ++i) {
      EXPECT_EQ(outcomes[i].verdict.has_value(), tool_first);
      EXPECT_EQ(outcomes[i].halt, tool_first ? Halt::none : Halt::not_sent);
    }
  }
}

TEST(Recording, WhatIsRecordedReplaysAsTheSameResult) {
  const CompletionResult cases[] = {
      {.text = kClean},
      {.text = "caf\xC3\xA9 {\n\"x\"\n", .stop_reason = "max_tokens"},
      {.text = "", .stop_reason = "end_turn", .iterations_used = 5, .hit_iteration_cap = true},
      {.text = "t", .iterations_used = 0, .hit_iteration_cap = false},
  };
  testing::TempDir dir;
  const ReplayClient replay(dir / "recorded/deeper");
  for (const CompletionResult& c : cases) {
    write_recording(dir / "recorded/deeper", "wynn", c);
    const CompletionResult back = replay.replay("wynn");
    EXPECT_EQ(back.text, c.text);
    EXPECT_EQ(back.stop_reason, c.stop_reason);
    EXPECT_EQ(back.iterations_used, c.iterations_used);
    EXPECT_EQ(back.hit_iteration_cap, c.hit_iteration_cap);
  }
  // An agent's later calls (the parts of a change) replay their own files,
  // or the first call's when the recording has no file for them.
  write_recording(dir / "parts", "wynn", {.text = "one"});
  write_recording(dir / "parts", "wynn", {.text = "two"}, 2);
  ReplayClient parts(dir / "parts");
  std::vector<std::string> texts;
  for (int i = 0; i < 3; ++i) {
    texts.push_back(parts.complete(Value::Sequence{}, {.agent_name = "wynn"}).text);
  }
  EXPECT_EQ(texts, (std::vector<std::string>{"one", "two", "one"}));
}

TEST(Recording, TheWrapperPassesThroughAndNamesTheLiveClient) {
  testing::TempDir dir;
  auto inner = std::make_shared<testing::ExampleClient>(
      true, CompletionResult{.text = kClean, .iterations_used = 3});
  RecordingClient client(inner, dir.path());
  EXPECT_EQ(client.type_name(), "ExampleClient");
  EXPECT_TRUE(client.offers_tools());
  EXPECT_EQ(client.complete_with_tools(Value::Sequence{}, {.agent_name = "hesper"}).text, kClean);
  EXPECT_EQ(client.iterations("hesper"), 3);
  EXPECT_EQ(client.iterations("wynn"), std::nullopt);
  EXPECT_EQ(ReplayClient(dir.path()).replay("hesper").iterations_used, 3);
  EXPECT_THROW(client.complete(Value::Sequence{}, {.agent_name = "../x"}), InvalidValueError);
}

TEST(ProgressLine, IsCutToTheTerminalAndKeepsControlCharactersOut) {
  const struct {
    const char* name;
    AgentProgress row;
    std::size_t columns;
    std::string line;
  } kCases[] = {
      {"padded name and stage, time last",
       {.agent = "wynn", .doing = "queued"},
       80,
       "wynn    queued                                0.0 s"},
      {"an escape sequence in a tool's path is defused",
       {.agent = "corvin", .doing = "calling read_file on \x1b[2Ja\nb"},
       80,
       "corvin  calling read_file on ?[2Ja?b          0.0 s"},
      {"cut to one less than the width, between code points",
       {.agent = "\303\274ber", .doing = "writing (3 tokens)"},  // u-umlaut in octal
       12,
       "\303\274ber    wri"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(progress_line(c.row, 6, 0.0, c.columns), c.line);
  }
}

TEST(ProgressBoard, LiveRedrawsInPlaceAndEndsWithTheSummary) {
  std::ostringstream out;
  {
    ProgressBoard board(out, ProgressMode::live, 60);
    board.begin({"corvin", "wynn"});
    board.observe({.agent = "corvin", .stage = clients::CallStage::tool, .tool = "find_code"});
    board.observe({.agent = "nobody", .stage = clients::CallStage::waiting});
    board.finished({.agent = "corvin",
                    .verdict = AgentVerdict::from_findings({AIReview{}, AIReview{}}),
                    .elapsed = std::chrono::milliseconds(1500)});
    board.close();
  }
  // Every frame rewrites both lines in place; the last is the summary.
  const std::string summary =
      "\r\x1b[2Kcorvin  done: 2 findings                      1.5 s\n"
      "\r\x1b[2Kwynn    queued                                0.0 s\n";
  const std::string text = out.str();
  ASSERT_GE(text.size(), summary.size());
  EXPECT_EQ(text.substr(text.size() - summary.size()), summary);
  if (text.size() > summary.size()) {  // an earlier frame: the last one goes back up over it
    EXPECT_EQ(text.substr(text.size() - summary.size() - 4, 4), "\x1b[2A") << text;
  }
}

}  // namespace
}  // namespace tessik::cli
