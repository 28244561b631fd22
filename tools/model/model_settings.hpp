// Which model a live review talks to, from the command line and the
// environment (a flag wins over its variable):
//
//   --provider messages|openai   TESSIK_PROVIDER   default messages
//   --endpoint URL               TESSIK_ENDPOINT   default: the provider's hosted API
//   --model NAME                 TESSIK_MODEL      no default: required
//   --api-key-env VAR            (none)            default per provider
//   --max-tokens N, --timeout SECONDS
//
// The endpoint is the base URL as each provider's own SDKs take it: the host
// root for `messages`, ending in "/v1" for `openai`
// (e.g. http://localhost:11434/v1 for a local model server).
//
//   ModelSettings s = resolve_model_settings(flags, process_environment);
//   std::shared_ptr<AIClient> client = make_live_client(s, process_environment);
#ifndef TESSIK_TOOLS_MODEL_MODEL_SETTINGS_HPP_
#define TESSIK_TOOLS_MODEL_MODEL_SETTINGS_HPP_

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace tessik::cli {

// What the command line gave; nullopt: the flag was not given.
struct ModelFlags {
  std::optional<std::string> provider{}, endpoint{}, model{}, api_key_env{};
  std::optional<std::int64_t> max_tokens{};
  std::optional<double> timeout_seconds{};
};

struct ModelSettings {
  std::string provider;  // "messages" or "openai"
  std::string endpoint;  // base URL
  std::string model;
  std::string api_key_env;  // the variable the key is read from
  bool api_key_env_given;   // named on the command line: it must then be set
  std::int64_t max_tokens;
  double timeout_seconds;
};

inline constexpr std::int64_t DEFAULT_MAX_TOKENS = 8192;
inline constexpr double DEFAULT_TIMEOUT_SECONDS = 600;

// Reads one environment variable; nullopt when unset.
using Environment = std::function<std::optional<std::string>(const std::string& name)>;

// The process's own environment.
std::optional<std::string> process_environment(const std::string& name);

// Whether a model is named at all, by --model or TESSIK_MODEL.
bool model_named(const ModelFlags& flags, const Environment& env);

// The settings of a live review. Throws UsageError naming the flag or
// variable for an unknown provider, a missing model, a token budget below 1
// or a timeout that is not a positive number of seconds.
ModelSettings resolve_model_settings(const ModelFlags& flags, const Environment& env);

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_MODEL_MODEL_SETTINGS_HPP_
