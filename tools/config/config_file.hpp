// The project's configuration file: `.tessik.yaml` at the top of the
// repository, or the file `--config FILE` names. It is YAML, one mapping of
// setting keys (config/settings_table.hpp) to values:
//
//   provider: openai
//   model: qwen2.5-coder
//   exclude: ["docs/**", "*.snap"]
//   max_input_tokens: 60000
//
// It is read with the project's YAML loader, which keeps where every value
// stands, so that a bad value is reported as FILE:LINE:COLUMN.
#ifndef TESSIK_TOOLS_CONFIG_CONFIG_FILE_HPP_
#define TESSIK_TOOLS_CONFIG_CONFIG_FILE_HPP_

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/value.hpp>

namespace tessik::cli {

inline constexpr const char* kConfigFileName = ".tessik.yaml";

// One setting written in the file.
struct FileValue {
  Value value;
  TextPosition at;                    // where the value stands (the key's line for an empty one)
  std::vector<TextPosition> items{};  // a list's items
};

struct ConfigFile {
  std::filesystem::path path;                 // as found or named
  std::string shown;                          // how messages name it
  std::map<std::string, FileValue> values{};  // known keys whose value is not null
  std::vector<std::string> warnings{};        // unknown keys, "FILE:L:C: ..."
};

// "FILE:LINE:COLUMN", as messages name a place in the file.
std::string file_place(const std::string& shown, TextPosition at);

// The file of a run: `named` (--config) when given, which must then exist;
// else kConfigFileName at the top of the repository holding `directory`,
// when there is a repository and the file is there. Throws UsageError for a
// named file that does not exist.
std::optional<std::filesystem::path> locate_config_file(const std::optional<std::string>& named,
                                                        const std::filesystem::path& directory);

// Reads `path` (strict UTF-8, at most the YAML input limit). A key that is
// no setting is a warning with a suggestion when one is close; a null value
// counts as not written. Throws UsageError naming FILE:LINE:COLUMN when the
// file cannot be read, is not YAML, or is not a mapping (an empty file is
// an empty mapping). Values are checked by the caller, against the table.
ConfigFile read_config_file(const std::filesystem::path& path);

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_CONFIG_CONFIG_FILE_HPP_
