// tessik-agents prompt: the exact request each agent would send for a change.
#include <ostream>

#include <tessik/agent_loader/execution/detail/request.hpp>
#include <tessik/foundation/json.hpp>
#include <tessik/foundation/text.hpp>

#include "cli/commands.hpp"
#include "model/replay_client.hpp"
#include "run/agent_set.hpp"

namespace tessik::cli {
namespace {

// How each request is sent. Agents here hold no reviewer tools (the tool
// wires none), so every request takes the plain completion, keyed by the
// diff hash.
const char* path_note(const detail::ReviewRequest& r) {
  return r.tool_path ? "tool-use exchange" : "plain completion (no reviewer tools are wired)";
}

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
    // Exactly the request the agent sends in `analyse`.
    const detail::ReviewRequest r =
        detail::request_for(*agent, changes, shared ? &*shared : nullptr);
    if (args.flag("json")) {
      requests.push_back(Value::Mapping{{"agent", agent->name()},
                                        {"tool_path", r.tool_path},
                                        {"cache_key", r.cache_key},
                                        {"system", r.system_blocks},
                                        {"messages", r.messages}});
      continue;
    }
    io.out << "=== " << agent->name() << ": " << path_note(r) << ", cache key " << r.cache_key
           << '\n';
    const Value::Sequence& blocks = r.system_blocks.as_sequence();
    for (std::size_t i = 0; i < blocks.size(); ++i) {
      io.out << "--- system block " << i + 1;
      if (const Value* cache = blocks[i].find("cache_control")) {
        io.out << " (cache_control " << to_json(*cache) << ')';
      }
      const Value* text = blocks[i].find("text");
      io.out << " ---\n" << (text ? text_form(*text) : "") << '\n';
    }
    io.out << "--- user message ---\n" << r.user_content() << "\n\n";
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
