// What the agent commands share: loading the agents the way a review run
// does (with the loading log captured), and reading the change to review.
#ifndef TESSIK_TOOLS_RUN_AGENT_SET_HPP_
#define TESSIK_TOOLS_RUN_AGENT_SET_HPP_

#include <iosfwd>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <tessik/agent_loader.hpp>
#include <tessik/logging_channels.hpp>

#include "cli/cli_args.hpp"

namespace tessik::cli {

// The agents of one run, as `load_all_agents` returns them, with where each
// came from.
struct AgentSet {
  std::vector<LoadedAgent> agents;
  std::vector<std::string> warnings;    // logged while loading, in order
  std::set<std::string> builtin_names;  // enabled built-in agents
  std::set<std::string> custom_names;   // enabled custom definitions

  const LoadedAgent* find(const std::string& name) const;
  // "built-in", "custom" or "custom, overrides built-in".
  std::string origin(const std::string& name) const;
  bool overrides_builtin(const std::string& name) const;
};

// Loads the agents named by --builtin and --custom, every agent holding
// `client`. Throws what loading throws (a missing built-in directory).
// Every agent is given `tools` and the token budget `max_tokens` (the
// default matches a common reviewer setting; a replay never sends it).
AgentSet load_agent_set(const ParsedArgs& args, const std::shared_ptr<AIClient>& client,
                        const ReviewerTools& tools = {}, std::int64_t max_tokens = 8192);

// The same from the built-in and custom folders themselves (nullopt: the
// installed built-in agents; no custom agents).
AgentSet load_agent_set(const std::optional<std::string>& builtin,
                        const std::optional<std::string>& custom,
                        const std::shared_ptr<AIClient>& client, const ReviewerTools& tools,
                        std::int64_t max_tokens);

// The bytes of a diff: the file `source`, or `in` when it is "-". Throws
// InvalidValueError naming the text-file limit past it, and what
// `read_file_bytes` throws for an unreadable file.
std::string read_diff_bytes(const std::string& source, std::istream& in);

// `text` split into one change per file. Throws DiffFormatError for a
// malformed diff and InvalidValueError naming `described` for a text without
// any file change.
std::vector<FileChange> split_change(std::string_view text, const std::string& described);

// The change given by --diff (a file, or "-" for `in`), split into files.
// Throws UsageError when --diff is missing, DiffFormatError for a malformed
// diff, InvalidValueError for a diff without any file, what
// `read_text_file` throws for an unreadable file.
std::vector<FileChange> read_changes(const ParsedArgs& args, std::istream& in);

// The shared pre-analysis given by --shared, or nullopt without it. Throws
// InvalidValueError naming the file for malformed JSON or a key of the wrong
// type; missing keys are empty.
std::optional<SharedAnalysisResult> read_shared(const ParsedArgs& args);

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_RUN_AGENT_SET_HPP_
