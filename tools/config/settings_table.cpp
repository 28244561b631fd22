#include "config/settings_table.hpp"

#include <algorithm>

namespace tessik::cli {
namespace {

using T = SettingType;

// To add a setting, add one entry here (key, type, flag, metavar,
// environment variable, default, description, and the bounds or choices its
// type needs), a property of the same name to
// schema/review-config.schema.json, and read it where it acts through
// `EffectiveSettings` (config/effective_settings.hpp). The flag then appears
// in the help of `review` and `config`, the key in `config`'s listing, and
// the file, environment and command line are checked against the entry.
std::vector<Setting> make_settings() {
  return {
      {.key = "provider",
       .type = T::text,
       .flag = "provider",
       .metavar = "NAME",
       .env = "TESSIK_PROVIDER",
       .default_value = "messages",
       .description = "the model server's protocol: messages or openai",
       .choices = {"messages", "openai"}},
      {.key = "endpoint",
       .type = T::text,
       .flag = "endpoint",
       .metavar = "URL",
       .env = "TESSIK_ENDPOINT",
       .default_value = nullptr,
       .description = "base URL of the model server (default: the provider's hosted API)"},
      {.key = "model",
       .type = T::text,
       .flag = "model",
       .metavar = "NAME",
       .env = "TESSIK_MODEL",
       .default_value = nullptr,
       .description = "the model to review with"},
      {.key = "api_key_env",
       .type = T::text,
       .flag = "api-key-env",
       .metavar = "VAR",
       .env = "TESSIK_API_KEY_ENV",
       .default_value = nullptr,
       .description =
           "the variable holding the key (default: ANTHROPIC_API_KEY or OPENAI_API_KEY)"},
      {.key = "max_tokens",
       .type = T::whole_number,
       .flag = "max-tokens",
       .metavar = "N",
       .env = "TESSIK_MAX_TOKENS",
       .default_value = 8192,
       .description = "token budget of each agent's reply",
       .min = 1,
       .max = 1'000'000},
      {.key = "timeout",
       .type = T::seconds,
       .flag = "timeout",
       .metavar = "SECONDS",
       .env = "TESSIK_TIMEOUT",
       .default_value = 600,
       .description = "time allowed for one model request",
       .max = 86'400},
      {.key = "retries",
       .type = T::whole_number,
       .flag = "retries",
       .metavar = "N",
       .env = "TESSIK_RETRIES",
       .default_value = 3,
       .description = "retries of a request the server failed or throttled",
       .max = 10},
      {.key = "tools",
       .type = T::on_off,
       .flag = "tools",
       .env = "TESSIK_TOOLS",
       .default_value = false,
       .description = "give every agent the read_file, read_lines and find_code tools"},
      {.key = "constrain_replies",
       .type = T::on_off,
       .flag = "constrain-replies",
       .env = "TESSIK_CONSTRAIN_REPLIES",
       .default_value = false,
       .description = "hold replies without tools to the verdict shapes too (small local models)"},
      {.key = "jobs",
       .type = T::whole_number,
       .flag = "jobs",
       .metavar = "N",
       .env = "TESSIK_JOBS",
       .default_value = nullptr,
       .description = "agents analysing at once (default: all)",
       .min = 1,
       .max = 1'000},
      {.key = "cache_warmup",
       .type = T::on_off,
       .flag = "no-cache-warmup",
       .env = "TESSIK_CACHE_WARMUP",
       .default_value = true,
       .description =
           "send the first agent's request alone; the others then read the change from cache",
       .flag_sets = false},
      {.key = "custom_agents",
       .type = T::path,
       .flag = "custom",
       .metavar = "DIR",
       .env = "TESSIK_CUSTOM_AGENTS",
       .default_value = nullptr,
       .description = "the project's custom agents folder"},
      {.key = "agents",
       .type = T::text_list,
       .flag = "agent",
       .metavar = "NAME",
       .default_value = Value::Sequence{},
       .description = "the agents to run, by name (repeatable; default: every agent)"},
      {.key = "only_triggered",
       .type = T::on_off,
       .flag = "only-triggered",
       .env = "TESSIK_ONLY_TRIGGERED",
       .default_value = false,
       .description = "run only the agents whose trigger_patterns match a changed path"},
      {.key = "exclude",
       .type = T::text_list,
       .flag = "exclude",
       .metavar = "GLOB",
       .default_value = Value::Sequence{},
       .description = "leave out the changed files matching GLOB (repeatable; ** crosses folders)",
       .flag_adds = true},
      {.key = "include",
       .type = T::text_list,
       .flag = "include",
       .metavar = "GLOB",
       .default_value = Value::Sequence{},
       .description = "send the changed files matching GLOB even when an exclusion matches",
       .flag_adds = true},
      {.key = "default_excludes",
       .type = T::on_off,
       .flag = "no-default-excludes",
       .env = "TESSIK_DEFAULT_EXCLUDES",
       .default_value = true,
       .description =
           "leave out lock files, minified assets, binaries, generated and vendored files",
       .flag_sets = false},
      {.key = "full_deletions",
       .type = T::on_off,
       .flag = "full-deletions",
       .env = "TESSIK_FULL_DELETIONS",
       .default_value = false,
       .description = "send every removed line of a deleted file, not a one-line note"},
      {.key = "max_input_tokens",
       .type = T::whole_number,
       .flag = "max-input-tokens",
       .metavar = "N",
       .env = "TESSIK_MAX_INPUT_TOKENS",
       .default_value = 100'000,
       .description = "estimated input tokens one request may hold",
       .min = 1,
       .max = 100'000'000},
      {.key = "split",
       .type = T::on_off,
       .flag = "no-split",
       .env = "TESSIK_SPLIT",
       .default_value = true,
       .description = "review a change over the input budget in parts instead of refusing it",
       .flag_sets = false},
  };
}

}  // namespace

std::span<const Setting> all_settings() {
  static const std::vector<Setting> settings = make_settings();
  return settings;
}

const Setting* find_setting(std::string_view key) {
  const std::span<const Setting> settings = all_settings();
  const auto it = std::find_if(settings.begin(), settings.end(),
                               [&](const Setting& s) { return s.key == key; });
  return it == settings.end() ? nullptr : &*it;
}

}  // namespace tessik::cli
