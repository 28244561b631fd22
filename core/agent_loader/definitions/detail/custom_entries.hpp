// How a custom agents directory is read, entry by entry: the one loop that
// both the loader (load_custom_agents) and the tool's `validate DIR` run, so
// that a check of a folder sees exactly what a review run would load.
#ifndef TESSIK_AGENT_LOADER_DEFINITIONS_DETAIL_CUSTOM_ENTRIES_HPP_
#define TESSIK_AGENT_LOADER_DEFINITIONS_DETAIL_CUSTOM_ENTRIES_HPP_

#include <exception>
#include <filesystem>
#include <functional>
#include <string>

#include <tessik/agent_loader/definitions/agent_definition.hpp>
#include <tessik/agent_loader/definitions/parsers.hpp>

namespace tessik::detail {

// What happens to each entry, in entry order. Each entry gets at most one
// event; an entry no parser claims gets none.
struct CustomEntryEvents {
  // The entry resolves outside the directory, or cannot be resolved at all.
  std::function<void(const std::filesystem::path& entry)> outside;
  // The entry's parser built a definition (disabled ones included).
  std::function<void(const std::filesystem::path& entry, AgentDefinition definition)> loaded;
  // The entry's parser threw `failure`.
  std::function<void(const std::filesystem::path& entry, const std::exception& failure)> failed;
};

// The first parser of `parsers` that claims `path`, or nullptr.
const AgentDefinitionParser* choose_parser(const ParserList& parsers,
                                           const std::filesystem::path& path);

// Reads the directory `configured` (not empty) flat, in entry-name order:
// the link-escape check first, then the first parser of `parsers` that
// claims the entry. Returns false, reading nothing, when `configured` names
// no existing directory. Throws FileSystemError when the directory cannot be
// examined, resolved or listed for another reason; exceptions from the
// callbacks pass through.
bool read_custom_entries(const std::string& configured, const ParserList& parsers,
                         const CustomEntryEvents& events);

}  // namespace tessik::detail

#endif  // TESSIK_AGENT_LOADER_DEFINITIONS_DETAIL_CUSTOM_ENTRIES_HPP_
