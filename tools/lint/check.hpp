// `validate`'s checks: one definition file, or a custom agents folder read
// exactly as the custom-agent loader reads it, each file with the loader's
// verdict and the lints.
#ifndef TESSIK_TOOLS_LINT_CHECK_HPP_
#define TESSIK_TOOLS_LINT_CHECK_HPP_

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <tessik/agent_loader/definitions/agent_definition.hpp>

#include "lint/diagnostic.hpp"

namespace tessik::lint {

struct FileReport {
  std::string file;
  std::optional<AgentDefinition> definition{};  // when the loader accepts the file
  std::string error_kind{}, error_message{};    // the loader's refusal otherwise
  std::vector<Diagnostic> diagnostics{};        // sorted by position, every position in the file
  std::optional<TextPosition> name_at{};        // where the name's value stands
};

// Loads `file` as load_agent_definition does and lints it. Never throws for
// bad input.
FileReport check_file(const std::filesystem::path& file);

// Checks every entry of the folder `dir` that the custom-agent loader would
// consider, in its order: an entry leading outside the folder is an error
// (E108), a parser's failure the loader's refusal; on top of each file's
// lints, a disabled agent gets a note (N302) and a name that an earlier
// file of the folder already defines a warning (W210). Throws
// FileSystemError when the folder cannot be examined or listed.
std::vector<FileReport> check_directory(const std::string& dir);

}  // namespace tessik::lint

#endif  // TESSIK_TOOLS_LINT_CHECK_HPP_
