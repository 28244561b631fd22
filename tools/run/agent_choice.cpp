#include "run/agent_choice.hpp"

#include <algorithm>

#include <tessik/foundation/detail/value_words.hpp>

#include "change/path_glob.hpp"
#include "cli/cli_args.hpp"

namespace tessik::cli {
namespace {

bool triggered(const AgentDefinition& d, std::span<const FileChange> sent) {
  bool any_pattern = false;
  for (const Value& pattern : d.trigger_patterns) {
    if (!pattern.is_string()) continue;
    any_pattern = true;
    for (const FileChange& change : sent) {
      if (glob_matches(pattern.as_string(), change.file_path)) return true;
    }
  }
  return !any_pattern;
}

}  // namespace

AgentChoice choose_agents(std::vector<LoadedAgent> agents, const std::vector<std::string>& names,
                          const std::string& names_from, bool only_triggered,
                          std::span<const FileChange> sent) {
  for (const std::string& name : names) {
    if (std::any_of(agents.begin(), agents.end(),
                    [&](const LoadedAgent& a) { return a.name() == name; })) {
      continue;
    }
    std::string message = names_from + " names the unknown agent " + detail::quoted_text(name);
    message += "; the agents are: ";
    for (const LoadedAgent& a : agents) {
      if (&a != &agents.front()) message += ", ";
      message += a.name();
    }
    throw UsageError(message);
  }
  AgentChoice out;
  for (LoadedAgent& agent : agents) {
    if (!names.empty() && std::find(names.begin(), names.end(), agent.name()) == names.end()) {
      out.skipped.push_back({agent.name(), "not named by " + names_from});
    } else if (only_triggered && !triggered(agent.definition(), sent)) {
      out.skipped.push_back({agent.name(), "no trigger pattern matches a changed path"});
    } else {
      out.chosen.push_back(std::move(agent));
    }
  }
  return out;
}

}  // namespace tessik::cli
