// The review settings: the configuration file, the precedence of flag,
// environment, file and default, the checks naming FILE:LINE:COLUMN, and the
// JSON Schema kept in step with the table.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

#include <tessik/foundation/json.hpp>
#include <tessik/foundation/text.hpp>

#include "config/settings_table.hpp"
#include "run_cli.hpp"

namespace tessik::cli {
namespace {

namespace fs = std::filesystem;
using testing::GitRepo;
using testing::Outcome;
using testing::run;

const fs::path kSource = TESSIK_TEST_SOURCE_DIR;

TEST(ConfigSchema, EverySettingHasItsPropertyAndNothingElse) {
  const Value schema = parse_json(read_text_file(kSource / "schema/review-config.schema.json"));
  const Value::Mapping& properties = schema.find("properties")->as_mapping();
  EXPECT_EQ(properties.size(), all_settings().size());
  EXPECT_EQ(*schema.find("additionalProperties"), Value(false));
  const char* types[] = {"string", "string", "integer", "number", "boolean", "array", "number"};
  for (const Setting& s : all_settings()) {
    const Value* p = properties.find(s.key);
    ASSERT_NE(p, nullptr) << s.key;
    EXPECT_EQ(*p->find("type"), Value(types[static_cast<int>(s.type)])) << s.key;
    const Value* d = p->find("default");
    EXPECT_EQ(d ? *d : Value(), s.default_value) << s.key;
    if (s.type == SettingType::whole_number) {
      EXPECT_EQ(*p->find("minimum"), Value(s.min)) << s.key;
      EXPECT_EQ(*p->find("maximum"), Value(s.max)) << s.key;
    }
    Value::Sequence choices(s.choices.begin(), s.choices.end());
    const Value* listed = p->find("enum");
    EXPECT_EQ(listed ? *listed : Value(Value::Sequence{}), Value(choices)) << s.key;
  }
}

// `config --json` in a repository holding `file` as .tessik.yaml.
struct Resolved {
  Outcome outcome;
  Value settings;  // {key: {"value", "from", "where"}}
};

Resolved resolve(const GitRepo& repo, const std::string& file, std::vector<std::string> flags) {
  if (!file.empty()) repo.write(".tessik.yaml", file);
  std::vector<std::string> args{"config", "--json", "--repo", repo.path().string()};
  args.insert(args.end(), flags.begin(), flags.end());
  Resolved r{run(args), Value()};
  if (r.outcome.status == 0) r.settings = *parse_json(r.outcome.out).find("settings");
  return r;
}

TEST(ConfigPrecedence, FlagThenEnvironmentThenFileThenDefault) {
  GitRepo repo;
  const std::string shown = path_text(repo / ".tessik.yaml");
  ::setenv("TESSIK_MAX_TOKENS", "500", 1);
  ::setenv("TESSIK_JOBS", "", 1);  // empty: unset
  const Resolved r =
      resolve(repo,
              "model: from-file\nmax_tokens: 100\njobs: 2\nexclude: ['a/**']\nagents: [wynn]\n"
              "custom_agents: reviewers\ntools: true\n",
              {"--model", "from-flag", "--exclude", "b", "--agent", "hesper", "--no-split"});
  ::unsetenv("TESSIK_MAX_TOKENS");
  ::unsetenv("TESSIK_JOBS");
  ASSERT_EQ(r.outcome.status, 0) << r.outcome.err;
  const struct {
    const char* key;
    Value value;
    std::string where;
  } cases[] = {
      {"model", "from-flag", "--model"},
      {"max_tokens", 500, "TESSIK_MAX_TOKENS"},
      {"jobs", 2, shown + ":3:7"},
      {"provider", "messages", "default"},
      {"exclude", Value::Sequence{"a/**", "b"}, shown + ":4:10 and --exclude"},
      {"agents", Value::Sequence{"hesper"}, "--agent"},  // a flag's list replaces the file's
      {"custom_agents", path_text(repo / "reviewers"), shown + ":6:16"},
      {"tools", true, shown + ":7:8"},
      {"split", false, "--no-split"},
  };
  for (const auto& c : cases) {
    const Value* s = r.settings.find(c.key);
    ASSERT_NE(s, nullptr) << c.key;
    EXPECT_EQ(*s->find("value"), c.value) << c.key;
    EXPECT_EQ(*s->find("where"), Value(c.where)) << c.key;
  }
  // The text listing is itself a configuration file that loads back.
  const Outcome text = run({"config", "--repo", repo.path().string()});
  ASSERT_EQ(text.status, 0);
  testing::expect_contains(text.out, {"# configuration file: " + shown, "model: \"from-file\"",
                                      "  # " + shown + ":2:13"});
  repo.write("listing.yaml", text.out);
  for (const fs::path& file : {repo / "listing.yaml", kSource / "examples/tessik.yaml"}) {
    const Outcome again = run({"config", "--config", file.string()});
    EXPECT_EQ(again.status, 0) << again.err;
    EXPECT_EQ(again.err, "");
  }
}

TEST(ConfigFile, BadFilesAndValuesAreNamedWithTheirPlace) {
  GitRepo repo;
  const struct {
    std::string file;
    std::vector<std::string> flags;
    int status;
    std::string says;
  } cases[] = {
      {"- model: m\n", {}, 2, ":1:1: the configuration must be a mapping of settings"},
      {"model: m\n\tjobs: 2\n", {}, 2, ":2:1: cannot read the configuration: "},
      {"max_tokens: many\n",
       {},
       2,
       ":1:13: max_tokens must be a whole number from 1 to 1000000, not the text 'many'"},
      {"provider: gemini\n", {}, 2, ":1:11: provider must be messages or openai, not the text"},
      {"max_input_tokens: -5\n", {}, 2, ":1:19: max_input_tokens must be a whole number from 1"},
      {"exclude: [a, 5]\n", {}, 2, ":1:14: exclude must hold non-empty texts, not the integer 5"},
      {"tools: 'yes'\n", {}, 2, "tools must be true or false, not the text 'yes'"},
      {"timeout: .inf\n", {}, 2, "timeout must be a number of seconds above 0"},
      {"max_token: 5\n", {}, 0, ":1:1: unknown key 'max_token'; did you mean 'max_tokens'?"},
      {"frobnicate: 1\n", {}, 0, ":1:1: unknown key 'frobnicate'; it is ignored"},
      {"", {"--config", "/nonexistent/x.yaml"}, 2, "which does not exist"},
  };
  for (const auto& c : cases) {
    fs::remove(repo / ".tessik.yaml");
    const Resolved r = resolve(repo, c.file, c.flags);
    EXPECT_EQ(r.outcome.status, c.status) << c.file << r.outcome.err;
    EXPECT_NE(r.outcome.err.find(c.says), std::string::npos) << c.file << "\n" << r.outcome.err;
  }
  ::setenv("TESSIK_ONLY_TRIGGERED", "sometimes", 1);
  const Resolved env = resolve(repo, "", {});
  ::unsetenv("TESSIK_ONLY_TRIGGERED");
  testing::expect_contains(env.outcome.err,
                           {"TESSIK_ONLY_TRIGGERED must be true or false, not 'sometimes'"});
}

}  // namespace
}  // namespace tessik::cli
