// Which model a live review uses: flags over environment over defaults, and
// the usage errors that name what is missing or wrong.
#include "model/model_settings.hpp"

#include <gtest/gtest.h>

#include <map>

#include "cli/cli_args.hpp"

namespace tessik::cli {
namespace {

Environment env_of(std::map<std::string, std::string> vars) {
  return [vars = std::move(vars)](const std::string& name) -> std::optional<std::string> {
    const auto it = vars.find(name);
    if (it == vars.end()) return std::nullopt;
    return it->second;
  };
}

TEST(ModelSettings, FlagsWinOverTheEnvironmentWhichWinsOverDefaults) {
  const struct {
    const char* name;
    ModelFlags flags;
    std::map<std::string, std::string> env;
    std::string expected;  // provider, endpoint, model and key variable
  } cases[] = {
      {"defaults of messages",
       {.model = "m1"},
       {},
       "messages https://api.anthropic.com m1 ANTHROPIC_API_KEY"},
      {"defaults of openai",
       {.provider = "openai", .model = "m1"},
       {},
       "openai https://api.openai.com/v1 m1 OPENAI_API_KEY"},
      {"environment alone",
       {},
       {{"TESSIK_PROVIDER", "openai"},
        {"TESSIK_ENDPOINT", "http://localhost:11434/v1"},
        {"TESSIK_MODEL", "qwen"}},
       "openai http://localhost:11434/v1 qwen OPENAI_API_KEY"},
      {"flags win",
       {.provider = "messages", .endpoint = "http://h:9", .model = "m2", .api_key_env = "MY_KEY"},
       {{"TESSIK_PROVIDER", "openai"}, {"TESSIK_ENDPOINT", "http://x"}, {"TESSIK_MODEL", "qwen"}},
       "messages http://h:9 m2 MY_KEY"},
      {"an empty variable counts as unset",
       {.model = "m3"},
       {{"TESSIK_PROVIDER", ""}, {"TESSIK_ENDPOINT", ""}},
       "messages https://api.anthropic.com m3 ANTHROPIC_API_KEY"},
  };
  for (const auto& c : cases) {
    const ModelSettings s = resolve_model_settings(c.flags, env_of(c.env));
    EXPECT_EQ(s.provider + " " + s.endpoint + " " + s.model + " " + s.api_key_env, c.expected)
        << c.name;
    EXPECT_EQ(s.max_tokens, DEFAULT_MAX_TOKENS) << c.name;
  }
}

TEST(ModelSettings, UsageErrorsNameTheFlagOrVariable) {
  const struct {
    ModelFlags flags;
    std::map<std::string, std::string> env;
    const char* message;
  } cases[] = {
      {{}, {}, "no model to review with: give --model NAME (or set TESSIK_MODEL)"},
      {{.model = ""}, {{"TESSIK_MODEL", "m"}}, "no model to review with"},
      {{.provider = "gemini", .model = "m"},
       {},
       "--provider must be messages or openai, not 'gemini'"},
      {{.model = "m"},
       {{"TESSIK_PROVIDER", "Messages"}},
       "TESSIK_PROVIDER must be messages or openai"},
      {{.model = "m", .max_tokens = 0}, {}, "--max-tokens must be 1 or more, not 0"},
      {{.model = "m", .timeout_seconds = 0}, {}, "--timeout must be a number of seconds above 0"},
      {{.model = "m", .timeout_seconds = 86'401}, {}, "--timeout must be a number of seconds"},
  };
  for (const auto& c : cases) {
    try {
      resolve_model_settings(c.flags, env_of(c.env));
      ADD_FAILURE() << "accepted: " << c.message;
    } catch (const UsageError& e) {
      EXPECT_NE(std::string(e.what()).find(c.message), std::string::npos) << e.what();
    }
  }
  EXPECT_EQ(
      resolve_model_settings({.model = "m", .max_tokens = 1, .timeout_seconds = 86'400}, env_of({}))
          .max_tokens,
      1);
}

}  // namespace
}  // namespace tessik::cli
