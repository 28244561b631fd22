// Agents that share one client and one set of tools analyse safely in
// parallel: eight threads, many rounds, same verdicts as one thread.
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <tessik/agent_loader.hpp>
#include <tessik/logging_channels.hpp>

#include "fake_client.hpp"

namespace tessik {
namespace {

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
