// Eight agents share one client of each protocol and review in parallel
// through real request assembly, a real tool and the stub server.
#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <tessik/agent_loader.hpp>
#include <tessik/agent_loader/execution/detail/request.hpp>

#include "client_fixtures.hpp"

namespace tessik::testing {
namespace {

constexpr int kAgents = 8;

class ReadFileTool final : public ReviewerTool {
 public:
  Value tool_definition() const override { return read_file_definition(); }
  Value execute(const Value& input) override { return handler_(input); }

 private:
  FileTool files_;
  ToolHandler handler_ = files_.handler();
};

const char* const kFindings =
    R"({"status": "findings", "summary": "s", "findings": [{"file_path": "src/a.py",)"
    R"( "line_number": 1, "severity": "high", "issue": "x is reassigned"}]})";

std::vector<LoadedAgent> agents_on(const std::shared_ptr<AIClient>& client) {
  const ReviewerTools tools{.read_file_tool = std::make_shared<ReadFileTool>()};
  std::vector<LoadedAgent> agents;
  for (int i = 0; i < kAgents; ++i) {
    AgentDefinition def;
    def.name = "agent-" + std::to_string(i);
    def.system_prompt = "You review as agent " + std::to_string(i) + ".";
    agents.emplace_back(def, client, 2048, tools);
  }
  return agents;
}

// Runs every agent on its own thread; returns how many verdicts were the
// expected single finding.
int review_in_parallel(const std::vector<LoadedAgent>& agents,
                       const std::vector<FileChange>& changes) {
  std::atomic<int> good{0};
  std::vector<std::thread> threads;
  for (const LoadedAgent& agent : agents) {
    threads.emplace_back([&agent, &changes, &good] {
      const AgentVerdict v = agent.analyse(changes);
      if (v.is_findings() && v.size() == 1 && v[0].issue == "x is reassigned") ++good;
    });
  }
  for (auto& t : threads) t.join();
  return good.load();
}

const std::vector<FileChange> kChanges{
    {.file_path = "src/a.py", .diff = "@@ -1 +1 @@\n-x = 0\n+x = 1\n"}};

TEST(ClientsSharedByAgents, OneClientServesEightAgentsAtOnce) {
  for (const ClientProtocol& p : client_protocols()) {
    SCOPED_TRACE(p.name);
    // The tool round answers each agent's first request (its second holds
    // the tool's answer about missing.py), the findings its second.
    StubServer stub(replies({answer(p.tool_reply, {{"unless", "no file missing.py"}}),
                             answer(p.chat ? chat_text(kFindings) : messages_text(kFindings))}));
    const std::shared_ptr<AIClient> client = p.make(stub.url(), true, fast_transport(), nullptr);
    const auto agents = agents_on(client);
    EXPECT_EQ(review_in_parallel(agents, kChanges), kAgents);

    const auto requests = stub.requests();
    ASSERT_EQ(requests.size(), 2u * kAgents);
    for (const StubRequest& r : requests) {
      if (p.chat) break;
      const Value body = r.json();
      const std::string& prompt =
          body.find("system")->as_sequence().at(1).find("text")->as_string();
      const auto& def =
          agents.at(std::stoul(prompt.substr(prompt.find("agent ") + 6))).definition();
      // The system blocks exactly as request assembly builds them.
      EXPECT_EQ(*body.find("system"),
                detail::assemble_request(kChanges, nullptr, def).system_blocks);
    }
    const auto usage = p.usage(*client).by_agent();
    ASSERT_EQ(usage.size(), static_cast<std::size_t>(kAgents));
    for (const auto& [agent, u] : usage) {
      EXPECT_EQ(u.requests, 2) << agent;
      // Cache figures come from the final reply only.
      EXPECT_EQ(p.chat ? u.cache_read_tokens : u.cache_write_tokens, p.chat ? 20 : 100) << agent;
    }
    EXPECT_EQ(p.usage(*client).total().requests, 2 * kAgents);
  }
}

}  // namespace
}  // namespace tessik::testing
