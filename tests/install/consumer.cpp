// Loads the built-in agents of an installed package and prints where they
// came from and their names, one per line. Fails when an agent lacks the
// shared guard rails, which would mean the installed guard-rails document
// was not found.
#include <tessik/agent_loader.hpp>

#include <iostream>
#include <memory>
#include <string>

namespace {

// Loading never calls the client; it only has to exist.
class UnusedClient final : public tessik::AIClient {
 public:
  tessik::CompletionResult complete(const tessik::Value&, const tessik::CompleteOptions&) override {
    return {};
  }
};

}  // namespace

int main() {
  const tessik::AIConfig config{.ai_max_tokens = 1024, .custom_agents_dir = {}};
  const auto agents = tessik::load_all_agents(config, std::make_shared<UnusedClient>());
  std::cout << "agents_dir=" << tessik::detail::agents_dir().string() << "\n";
  for (const auto& agent : agents) {
    const tessik::Value& prompt = agent.definition().system_prompt;
    if (!prompt.is_string() ||
        prompt.as_string().find("# Guard Rails for Reviewer Agents") == std::string::npos) {
      std::cerr << agent.name() << ": system prompt lacks the guard rails\n";
      return 1;
    }
    std::cout << agent.name() << "\n";
  }
  return 0;
}
