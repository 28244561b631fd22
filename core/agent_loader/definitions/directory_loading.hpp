// Loading whole agent directories: the built-in agents, the project's custom
// agents, and the merge of the two into the list of agents of one review run.
//
//   tessik::AIConfig config{.ai_max_tokens = 4096, .custom_agents_dir = ".tessik/agents"};
//   auto agents = tessik::load_all_agents(config, client);
//   for (const auto& agent : agents) {
//     auto verdict = agent.analyse(changes);
//   }
//
// A directory is read flat (subdirectories are never entered) and in the
// order of its entry names compared byte by byte, so "Zeta.md" comes before
// "alpha.md" and "agent10.yaml" before "agent2.yaml". Each entry goes to the
// first parser of the parser list that claims it; an entry no parser claims
// is passed over. An entry's path is the directory's path as the caller gave
// it (lexically tidied, links not resolved) joined with the entry's name: that
// is the path the parser reads, the definition's source and what warnings
// print.
//
// Nothing is kept between calls: every call lists and parses afresh. Every
// agent built by one call shares the caller's client and tool objects.
#ifndef TESSIK_AGENT_LOADER_DEFINITIONS_DIRECTORY_LOADING_HPP_
#define TESSIK_AGENT_LOADER_DEFINITIONS_DIRECTORY_LOADING_HPP_

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <tessik/agent_loader/definitions/agent_definition.hpp>
#include <tessik/agent_loader/definitions/parsers.hpp>
#include <tessik/agent_loader/execution/loaded_agent.hpp>
#include <tessik/ai_client.hpp>
#include <tessik/models.hpp>

namespace tessik {

// Every enabled agent defined in `directory`, in the order of its files.
//
// `parsers` is the parser list to use; an empty list means
// `default_parsers()`. A file whose parse throws (any std::exception) is
// skipped without a word, and so is a disabled definition. Each agent receives
// `client`, `max_tokens` and `tools` unchanged. The directory's existence is
// not tested beforehand: a directory that cannot be listed throws
// FileSystemError. A failure inside a parser's `can_parse` propagates.
std::vector<LoadedAgent> load_agents_from_dir(const std::filesystem::path& directory,
                                              std::shared_ptr<AIClient> client,
                                              std::int64_t max_tokens,
                                              const ParserList& parsers = {},
                                              const ReviewerTools& tools = {});

// Every definition in the custom agents directory, in the order of its files,
// disabled ones included.
//
// Absent or empty `custom_agents_dir`: an empty result, nothing logged. A path
// that does not name an existing directory (a missing path, a regular file, a
// dangling link): the warning "Custom agents directory does not exist: <the
// configured value>" on `Log::agent` and an empty result. An entry whose
// resolved location lies outside the directory, or that cannot be resolved
// at all, is skipped with the warning "Skipping path outside custom agents
// dir: <entry path>"; an entry that fails to parse with "Skipping invalid
// custom agent <entry path>: <failure message>". A directory that cannot be
// examined, resolved or listed for any other reason (no permission) throws
// FileSystemError.
std::vector<AgentDefinition> load_custom_agents(const std::optional<std::string>& custom_agents_dir,
                                                const ParserList& parsers = {});

// The directory the built-in agents are read from when `load_all_agents` is
// given none: the installed package's share/tessik_agents/agents, found
// relative to the library's own file so that an installation may be moved,
// or the repository's agents/ in a build tree. Absolute; computed once and
// never changed; it need not exist. Thread-safe.
const std::filesystem::path& builtin_agents_dir();

// The agents of one review run: the built-in agents, then the enabled custom
// agents of `config.custom_agents_dir`, merged by name.
//
// The built-in directory is `builtin_agents_dir` when given (the empty text
// meaning the current directory), otherwise `builtin_agents_dir()`. A custom
// agent whose name is already present replaces that agent in its position and
// logs "Custom agent '<name>' overrides built-in agent" at info level on
// `Log::agent`; a new name is appended. A disabled custom definition neither
// replaces nor removes anything. Every agent gets `config.ai_max_tokens`,
// `client` and `tools`. Throws FileSystemError when the built-in directory
// cannot be listed, or when the custom directory exists but cannot be
// examined or listed; a missing custom directory only costs a warning.
std::vector<LoadedAgent> load_all_agents(const AIConfig& config, std::shared_ptr<AIClient> client,
                                         const std::optional<std::string>& builtin_agents_dir = {},
                                         const ReviewerTools& tools = {});

}  // namespace tessik

#endif  // TESSIK_AGENT_LOADER_DEFINITIONS_DIRECTORY_LOADING_HPP_
