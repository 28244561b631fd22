// tessik-agents prompt: the exact request each agent would send for a change.
#include <ostream>

#include <tessik/json.hpp>
#include <tessik/text.hpp>

#include "agent_set.hpp"
#include "commands.hpp"
#include "replay_client.hpp"

namespace tessik::cli {
namespace {

// Agents here hold no reviewer tools (the tool wires none), so every request
// takes the plain completion, keyed by the diff hash.
constexpr const char* PATH_NOTE = "plain completion (no reviewer tools are wired)";

int run_prompt(const ParsedArgs& args, const Io& io) {
  const std::vector<FileChange> changes = read_changes(args, io.in);
  const std::optional<SharedAnalysisResult> shared = read_shared(args);
  const AgentSet set = load_agent_set(args, std::make_shared<OfflineClient>());
  std::vector<const LoadedAgent*> agents;
  if (const std::optional<std::string> name = args.value("agent")) {
    const LoadedAgent* agent = set.find(*name);
    if (agent == nullptr) {
      io.err << "tessik-agents prompt: no enabled agent is named '" << *name << "'\n";
      return EXIT_FAILED;
    }
    agents.push_back(agent);
  } else {
    for (const LoadedAgent& a : set.agents) agents.push_back(&a);
  }

  Value::Sequence requests;
  for (const LoadedAgent* agent : agents) {
    // The assembly the agent runs first in `analyse`, shown on its own.
    const detail::ReviewRequest r =
        detail::assemble_request(changes, shared ? &*shared : nullptr, agent->definition());
    const Value messages =
        Value::Sequence{Value::Mapping{{"role", "user"}, {"content", r.user_content}}};
    if (args.flag("json")) {
      requests.push_back(Value::Mapping{{"agent", agent->name()},
                                        {"tool_path", false},
                                        {"cache_key", r.diff_hash},
                                        {"system", r.system_blocks},
                                        {"messages", messages}});
      continue;
    }
    io.out << "=== " << agent->name() << ": " << PATH_NOTE << ", cache key " << r.diff_hash << '\n';
    const Value::Sequence& blocks = r.system_blocks.as_sequence();
    for (std::size_t i = 0; i < blocks.size(); ++i) {
      io.out << "--- system block " << i + 1;
      if (const Value* cache = blocks[i].find("cache_control")) {
        io.out << " (cache_control " << to_json(*cache) << ')';
      }
      const Value* text = blocks[i].find("text");
      io.out << " ---\n" << (text ? text_form(*text) : "") << '\n';
    }
    io.out << "--- user message ---\n" << r.user_content << "\n\n";
  }
  if (args.flag("json")) io.out << to_json(Value(std::move(requests)), 2) << '\n';
  return EXIT_OK;
}

}  // namespace

Command prompt_command() {
  return {{.name = "prompt",
           .summary = "print the exact request each agent would send for a change",
           .options = {diff_option(),
                       {"agent", true, "NAME", "only this agent"},
                       shared_option(),
                       builtin_option(),
                       custom_option(),
                       json_option()},
           .description =
               "For each agent: the two system blocks (the diff block, which carries the\n"
               "cache marker and is the same for every agent, then the agent's prompt), the\n"
               "user message with the reply contract, the cache key (the diff hash) and the\n"
               "completion path. Nothing is sent anywhere."},
          run_prompt};
}

}  // namespace tessik::cli
