// Loading the built-in and custom agent directories and merging them.
#include <tessik/agent_loader/definitions/detail/custom_entries.hpp>
#include <tessik/agent_loader/definitions/detail/directory_listing.hpp>
#include <tessik/agent_loader/definitions/detail/safe_path.hpp>
#include <tessik/agent_loader/definitions/directory_loading.hpp>

#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <exception>
#include <optional>
#include <unordered_map>
#include <utility>

#include <tessik/agent_loader/definitions/detail/paths.hpp>
#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/text.hpp>
#include <tessik/logging_channels.hpp>

namespace tessik {

const std::filesystem::path& builtin_agents_dir() { return detail::agents_dir(); }
namespace {

const ParserList& active_parsers(const ParserList& parsers) {
  return parsers.empty() ? default_parsers() : parsers;
}

// Agents in first-insertion order of their names. Storing under a name that is
// already present replaces that agent and keeps its position.
class AgentsByName {
 public:
  bool contains(const std::string& name) const { return index_.contains(name); }

  void store(LoadedAgent agent) {
    const std::string name = agent.name();
    if (auto found = index_.find(name); found != index_.end()) {
      slots_[found->second].emplace(std::move(agent));
      return;
    }
    index_.emplace(name, slots_.size());
    slots_.emplace_back(std::move(agent));
  }

  std::vector<LoadedAgent> take() && {
    std::vector<LoadedAgent> agents;
    agents.reserve(slots_.size());
    for (auto& slot : slots_) agents.push_back(std::move(*slot));
    return agents;
  }

 private:
  std::vector<std::optional<LoadedAgent>> slots_;
  std::unordered_map<std::string, std::size_t> index_;
};

}  // namespace

// The client is taken by value, as the public declaration has it, and
// copied into every agent.
std::vector<LoadedAgent> load_agents_from_dir(
    const std::filesystem::path& directory,
    std::shared_ptr<AIClient> client,  // NOLINT(performance-unnecessary-value-param)
    std::int64_t max_tokens, const ParserList& parsers, const ReviewerTools& tools) {
  const ParserList& chosen = active_parsers(parsers);
  std::vector<LoadedAgent> agents;
  for (const detail::DirectoryEntry& listed : detail::list_directory(directory)) {
    const std::filesystem::path& entry = listed.path;
    const AgentDefinitionParser* parser = detail::choose_parser(chosen, entry);
    if (parser == nullptr) continue;
    // Built-in files are ours: one that fails to load is a packaging fault
    // that must not stop a review run, and there is nobody to warn.
    try {
      AgentDefinition definition = parser->parse(entry);
      if (!definition.enabled) continue;
      agents.emplace_back(std::move(definition), client, max_tokens, tools);
    } catch (const std::exception&) {
      continue;
    }
  }
  return agents;
}

std::vector<AgentDefinition> load_custom_agents(const std::optional<std::string>& custom_agents_dir,
                                                const ParserList& parsers) {
  if (!custom_agents_dir || custom_agents_dir->empty()) return {};
  std::vector<AgentDefinition> definitions;
  const detail::CustomEntryEvents events{
      .outside =
          [](const std::filesystem::path& entry) {
            Log::agent.warning("Skipping path outside custom agents dir: %s", path_text(entry));
          },
      .loaded = [&](const std::filesystem::path&,
                    AgentDefinition definition) { definitions.push_back(std::move(definition)); },
      .failed =
          [](const std::filesystem::path& entry, const std::exception& failure) {
            Log::agent.warning("Skipping invalid custom agent %s: %s", path_text(entry),
                               failure.what());
          },
  };
  if (!detail::read_custom_entries(*custom_agents_dir, active_parsers(parsers), events)) {
    Log::agent.warning("Custom agents directory does not exist: %s", *custom_agents_dir);
  }
  return definitions;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param)
std::vector<LoadedAgent> load_all_agents(const AIConfig& config, std::shared_ptr<AIClient> client,
                                         const std::optional<std::string>& builtin_agents_dir,
                                         const ReviewerTools& tools) {
  const std::filesystem::path builtin_dir =
      builtin_agents_dir ? std::filesystem::path(*builtin_agents_dir)
                         : std::filesystem::path(path_text(detail::agents_dir()));
  const std::int64_t max_tokens = config.ai_max_tokens;

  AgentsByName agents;
  for (auto& agent : load_agents_from_dir(builtin_dir, client, max_tokens, {}, tools)) {
    agents.store(std::move(agent));
  }
  for (auto& definition : load_custom_agents(config.custom_agents_dir)) {
    if (!definition.enabled) continue;
    if (agents.contains(definition.name)) {
      Log::agent.info("Custom agent '%s' overrides built-in agent", definition.name);
    }
    agents.store(LoadedAgent(std::move(definition), client, max_tokens, tools));
  }
  return std::move(agents).take();
}

}  // namespace tessik
