// The review settings a team can keep in its repository, in one table.
//
// Every setting has a key (as written in `.tessik.yaml` and printed by
// `tessik-agents config`), a type, usually a command-line flag and an
// environment variable, a default and a one-line description. The command
// line of `review` and `config`, the configuration file's checks, the
// precedence (flag, then environment, then file, then default), `config`'s
// listing and the JSON Schema `schema/review-config.schema.json` all follow
// this table; a test keeps the schema and the table in step.
//
//   const Setting* s = find_setting("max_input_tokens");
//   s->flag;  // "max-input-tokens"
#ifndef TESSIK_TOOLS_CONFIG_SETTINGS_TABLE_HPP_
#define TESSIK_TOOLS_CONFIG_SETTINGS_TABLE_HPP_

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include <tessik/foundation/value.hpp>

namespace tessik::cli {

enum class SettingType {
  text,          // a non-empty text, one of `choices` when there are any
  path,          // a file or folder; relative to the configuration file's folder there
  whole_number,  // an integer from `min` to `max`
  seconds,       // a number of seconds above 0 and at most `max`
  on_off,        // true or false
  text_list,     // a list of non-empty texts
  fraction,      // a number from 0 to 1
};

struct Setting {
  std::string_view key;  // snake_case, as in the file
  SettingType type;
  // The option without "--"; "" for none. An on_off flag sets `flag_sets`;
  // a text_list flag may be repeated.
  std::string_view flag{};
  std::string_view metavar{};  // shown in help: "N", "NAME", "GLOB"
  // The environment variable; "" for none. An empty variable counts as unset.
  std::string_view env{};
  Value default_value{};  // null: not set (the code that reads it decides)
  std::string_view description{};
  std::int64_t min = 0, max = INT64_MAX;    // whole_number range; seconds' upper bound
  std::vector<std::string_view> choices{};  // text: the accepted words
  bool flag_sets = true;                    // on_off: the value the flag gives
  // on_off with flag_sets false: what the flag itself does, for its help
  // line (the description says what the setting's true value does).
  std::string_view flag_help{};
  // text_list: the command line's items are added to the file's instead of
  // replacing them.
  bool flag_adds = false;
};

// Every setting, in the order `config` lists them. Built once; read-only.
std::span<const Setting> all_settings();

// The setting of `key`, or nullptr.
const Setting* find_setting(std::string_view key);

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_CONFIG_SETTINGS_TABLE_HPP_
