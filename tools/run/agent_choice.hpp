// Which of the loaded agents review a change: those named by --agent (or
// the configuration's `agents` list), and with --only-triggered only those
// whose trigger_patterns match a path that is sent (an agent without
// patterns always runs).
//
//   AgentChoice c = choose_agents(std::move(set.agents), {"hesper"}, "--agent", false, sent);
//   c.skipped;  // {"corvin", "not named by --agent"}, ...
#ifndef TESSIK_TOOLS_RUN_AGENT_CHOICE_HPP_
#define TESSIK_TOOLS_RUN_AGENT_CHOICE_HPP_

#include <span>
#include <string>
#include <vector>

#include <tessik/agent_loader.hpp>

namespace tessik::cli {

struct SkippedAgent {
  std::string agent;
  std::string reason;  // "not named by --agent", "no trigger pattern matches a changed path"
};

struct AgentChoice {
  std::vector<LoadedAgent> chosen;  // in the loaded order
  std::vector<SkippedAgent> skipped;
};

// Keeps the agents of `names` (all when empty) and, with `only_triggered`,
// those triggered by a path of `sent`. `names_from` says where the names
// came from, for the messages. Throws UsageError naming the unknown name,
// `names_from` and every known agent when a name matches no loaded agent.
// Trigger patterns are globs as path_glob.hpp reads them; items that are not
// texts are ignored.
AgentChoice choose_agents(std::vector<LoadedAgent> agents, const std::vector<std::string>& names,
                          const std::string& names_from, bool only_triggered,
                          std::span<const FileChange> sent);

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_RUN_AGENT_CHOICE_HPP_
