#include "model/model_settings.hpp"

#include <cmath>
#include <cstdlib>

#include "cli/cli_args.hpp"

namespace tessik::cli {
namespace {

struct Provider {
  const char* name;
  const char* endpoint;     // the hosted API
  const char* api_key_env;  // the variable the provider's SDKs read
};

constexpr Provider PROVIDERS[] = {
    {"messages", "https://api.anthropic.com", "ANTHROPIC_API_KEY"},
    {"openai", "https://api.openai.com/v1", "OPENAI_API_KEY"},
};

// The flag's value, else the variable's (when set and not empty).
std::optional<std::string> flag_or_env(const std::optional<std::string>& flag, const char* var,
                                       const Environment& env) {
  if (flag) return flag;
  std::optional<std::string> value = env(var);
  if (value && value->empty()) return std::nullopt;
  return value;
}

}  // namespace

std::optional<std::string> process_environment(const std::string& name) {
  const char* value = std::getenv(name.c_str());  // NOLINT(concurrency-mt-unsafe): read at start-up
  if (value == nullptr) return std::nullopt;
  return std::string(value);
}

bool model_named(const ModelFlags& flags, const Environment& env) {
  return flag_or_env(flags.model, "TESSIK_MODEL", env).has_value();
}

ModelSettings resolve_model_settings(const ModelFlags& flags, const Environment& env) {
  const std::string provider_name =
      flag_or_env(flags.provider, "TESSIK_PROVIDER", env).value_or("messages");
  const Provider* provider = nullptr;
  for (const Provider& p : PROVIDERS) {
    if (provider_name == p.name) provider = &p;
  }
  if (provider == nullptr) {
    throw UsageError(std::string(flags.provider ? "--provider" : "TESSIK_PROVIDER") +
                     " must be messages or openai, not '" + provider_name + "'");
  }
  const std::optional<std::string> model = flag_or_env(flags.model, "TESSIK_MODEL", env);
  if (!model || model->empty()) {
    throw UsageError(
        "no model to review with: give --model NAME (or set TESSIK_MODEL) for a "
        "live review, or --replies DIR to replay recorded replies");
  }
  const std::int64_t max_tokens = flags.max_tokens.value_or(DEFAULT_MAX_TOKENS);
  if (max_tokens < 1) {
    throw UsageError("--max-tokens must be 1 or more, not " + std::to_string(max_tokens));
  }
  const double timeout = flags.timeout_seconds.value_or(DEFAULT_TIMEOUT_SECONDS);
  if (!std::isfinite(timeout) || timeout <= 0 || timeout > 86'400) {
    throw UsageError("--timeout must be a number of seconds above 0 and at most 86400");
  }
  return {
      .provider = provider->name,
      .endpoint = flag_or_env(flags.endpoint, "TESSIK_ENDPOINT", env).value_or(provider->endpoint),
      .model = *model,
      .api_key_env = flags.api_key_env.value_or(provider->api_key_env),
      .api_key_env_given = flags.api_key_env.has_value(),
      .max_tokens = max_tokens,
      .timeout_seconds = timeout};
}

}  // namespace tessik::cli
