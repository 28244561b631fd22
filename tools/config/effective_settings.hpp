// The settings a run uses, each from the first place that sets it: the
// command line, then the environment, then the configuration file, then the
// default of the table (config/settings_table.hpp).
//
//   EffectiveSettings s = resolve_settings(args, process_environment);
//   s.number("max_input_tokens");     // 100000 unless set somewhere
//   s.get("model").where;             // "--model", "TESSIK_MODEL", ".tessik.yaml:2:8", "default"
//
// A list whose setting says so (`exclude`, `include`) adds the command
// line's items to the file's instead of replacing them.
#ifndef TESSIK_TOOLS_CONFIG_EFFECTIVE_SETTINGS_HPP_
#define TESSIK_TOOLS_CONFIG_EFFECTIVE_SETTINGS_HPP_

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <tessik/foundation/value.hpp>

#include "cli/cli_args.hpp"
#include "config/settings_table.hpp"
#include "model/model_settings.hpp"

namespace tessik::cli {

enum class SettingSource { default_value, file, environment, flag };

// "default", "file", "environment" or "flag".
std::string_view source_word(SettingSource source) noexcept;

struct EffectiveSetting {
  const Setting* setting;
  Value value;  // checked against the table; null: not set
  SettingSource source;
  // "--max-tokens", "TESSIK_MAX_TOKENS", "FILE:LINE:COLUMN", "default";
  // a list from the file and the command line: "FILE:LINE:COLUMN and --exclude".
  std::string where;
};

class EffectiveSettings {
 public:
  std::optional<std::string> file{};    // the configuration file read, as messages name it
  std::vector<std::string> warnings{};  // the file's unknown keys
  std::vector<EffectiveSetting> all{};  // in the table's order

  // The setting of `key`; std::out_of_range for a key not in the table (a
  // programming error).
  const EffectiveSetting& get(std::string_view key) const;
  // The value as its type: nullopt when it is not set.
  std::optional<std::string> text(std::string_view key) const;
  std::optional<std::int64_t> number(std::string_view key) const;
  std::optional<double> seconds(std::string_view key) const;  // also a fraction's value
  bool on(std::string_view key) const;
  std::vector<std::string> list(std::string_view key) const;
};

// The options of every setting that has a flag, for a command's syntax.
std::vector<OptionSyntax> setting_options();

// Resolves every setting for a command line that declared
// `setting_options()`, `--config FILE` and `--repo DIR`; the file is found
// as `locate_config_file` says, from --repo or the current directory.
// Throws UsageError naming the flag, the variable or FILE:LINE:COLUMN for a
// value of the wrong type or out of range, and for an unreadable file.
EffectiveSettings resolve_settings(const ParsedArgs& args, const Environment& env);

// The model flags these settings give `resolve_model_settings`.
ModelFlags model_flags(const EffectiveSettings& settings);

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_CONFIG_EFFECTIVE_SETTINGS_HPP_
