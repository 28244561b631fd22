// The command-line tool through its entry point, plus the built binary as a
// process for what only a process shows (standard input, the exit status).
#include "cli/cli.hpp"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>

#include <filesystem>
#include <string>
#include <vector>

#include <tessik/foundation/json.hpp>

#include "run_cli.hpp"

namespace tessik::cli {
namespace {

namespace fs = std::filesystem;
using testing::expect_contains;
using testing::Outcome;
using testing::run;
using testing::TempDir;

const fs::path kSource = TESSIK_TEST_SOURCE_DIR;
const std::string kExampleDiff = (kSource / "examples/change.diff").string();
const std::string kExampleReplies = (kSource / "examples/replies").string();

const char kValidAgent[] =
    "name: sqlbot\ndisplay_name: SQL Bot\nrole: Reviews SQL\nsystem_prompt: Check the SQL.\n";

// Usage errors exit 2 with a message in the command's terms; other failures
// exit 1 and name their cause.
TEST(CliUsage, UsageAndOtherFailuresNameTheProblem) {
  const std::string diff = "--- a\n+++ b\n@@ -1 +1 @@\n-a\n+b\n";
  const struct {
    std::vector<std::string> args;
    std::string message;  // "": only the exit status and some error output are checked
    int status = EXIT_USAGE;
    std::string input = "";  // standard input
  } cases[] = {
      {{}, ""},
      {{"frobnicate"}, ""},
      {{"validate"}, ""},
      {{"prompt"}, ""},
      {{"review", "--diff", kExampleDiff}, ""},  // no model
      {{"list", "--bogus"}, "unknown option --bogus"},
      {{"list", "--bogus=3"}, "unknown option --bogus"},
      {{"list", "-x"}, "unknown option -x"},
      {{"list", "extra"}, "takes at most 0 arguments, got 1"},
      {{"show", "a", "b"}, "takes at most 1 argument, got 2"},
      {{"show"}, "needs NAME"},
      {{"validate", "--json=yes", "a.yaml"}, "--json takes no value"},
      {{"prompt", "--diff"}, "--diff needs a value (FILE)"},
      {{"prompt", "--diff="}, "--diff needs a value (FILE)"},
      {{"prompt", "--agent", "x"}, "--diff FILE is required"},
      {{"review", "--git=", "--diff", kExampleDiff},
       "--diff and --git name two changes: give one of them"},
      // The whole line of the failures: the message alone, no kind of failure before it.
      {{"list", "--builtin", "/nonexistent/agents"},
       "cannot list directory '/nonexistent/agents': it does not exist",
       EXIT_FAILED},
      {{"show", "nobody"},
       "no enabled agent is named 'nobody'; loaded: corvin hesper peregrin wynn",
       EXIT_FAILED},
      {{"prompt", "--diff", "-"},
       "standard input holds no file changes: expected a unified diff as `git diff` writes it",
       EXIT_FAILED,
       "just some prose\n"},
      {{"prompt", "--diff", "-", "--agent", "nobody"},
       "no enabled agent is named 'nobody'",
       EXIT_FAILED,
       diff},
  };
  for (const auto& c : cases) {
    const Outcome r = run(c.args, c.input);
    EXPECT_EQ(r.status, c.status) << ::testing::PrintToString(c.args);
    EXPECT_FALSE(r.err.empty()) << ::testing::PrintToString(c.args);
    if (c.status == EXIT_FAILED) {
      EXPECT_EQ(r.err, "tessik-agents " + c.args[0] + ": " + c.message + "\n");
      continue;
    }
    if (c.message.empty()) continue;
    EXPECT_EQ(r.err, "tessik-agents " + c.args[0] + ": " +
                         (c.message.starts_with("-") || c.message.starts_with("unknown")
                              ? c.message
                              : c.args[0] + " " + c.message) +
                         "\nRun 'tessik-agents " + c.args[0] + " --help' for usage.\n");
  }
}

TEST(CliUsage, CommandLineFormsThatParseAndShowPrintsThePrompt) {
  TempDir dir;
  const std::string good = dir.write("a.yaml", kValidAgent);
  // "--" ends the options; "--name=value" and a repeated option (the last wins).
  EXPECT_EQ(run({"validate", "--", good}).status, EXIT_OK);
  const Outcome r = run({"show", "--builtin=/nonexistent", "--builtin",
                         (kSource / "agents").string(), "hesper", "--json"});
  EXPECT_EQ(r.status, EXIT_OK) << r.err;
  EXPECT_TRUE(r.out.starts_with("{")) << r.out;
  const Outcome shown = run({"show", "hesper"});  // the final prompt
  EXPECT_EQ(shown.status, EXIT_OK) << shown.err;
  expect_contains(shown.out, {"category:             security", "Guard Rails"});
}

TEST(CliUsage, EverySubcommandHasHelpWithAnAlignedOptionColumnAndVersionNamesTheTool) {
  EXPECT_EQ(run({"--help"}).status, EXIT_OK);
  const Outcome version = run({"--version"});
  EXPECT_EQ(version.status, EXIT_OK);
  EXPECT_TRUE(version.out.starts_with("tessik-agents ") && version.out.ends_with("\n"))
      << version.out;
  EXPECT_NE(version.out.find_first_of("0123456789"), std::string::npos) << version.out;
  for (const char* command : {"list", "show", "validate", "prompt", "review", "config"}) {
    const Outcome r = run({command, command[0] == 'v' ? "--help" : "-h"});
    EXPECT_EQ(r.status, EXIT_OK) << command;
    const std::string& out = r.out;
    EXPECT_TRUE(out.starts_with(std::string("usage: tessik-agents ") + command)) << out;
    const std::size_t options = out.find("\noptions:\n");
    ASSERT_NE(options, std::string::npos) << out;
    std::istringstream lines(out.substr(options + 10));
    std::size_t column = std::string::npos;
    for (std::string line; std::getline(lines, line) && !line.empty();) {
      const std::size_t gap = line.find("  ", 2);
      ASSERT_NE(gap, std::string::npos) << line;
      const std::size_t help = line.find_first_not_of(' ', gap);
      if (column == std::string::npos) column = help;
      EXPECT_EQ(help, column) << command << ": " << line;
    }
    EXPECT_NE(out.find("  -h, --help  "), std::string::npos) << out;
  }
}

TEST(CliList, CustomAgentOverridesInPlaceAndWarningsGoToStandardError) {
  TempDir custom;
  custom.write("hesper.yaml", "name: hesper\ndisplay_name: House Security\nrole: r\n");
  custom.write("sqlbot.yaml", kValidAgent);
  custom.write("broken.yaml", "name: [unclosed\n");
  const Outcome r = run({"list", "--custom", custom.path().string()});
  ASSERT_EQ(r.status, EXIT_OK) << r.err;
  const std::size_t corvin = r.out.find("\ncorvin "), hesper = r.out.find("\nhesper "),
                    peregrin = r.out.find("\nperegrin "), sqlbot = r.out.find("\nsqlbot ");
  ASSERT_NE(sqlbot, std::string::npos) << r.out;
  EXPECT_LT(corvin, hesper);
  EXPECT_LT(hesper, peregrin);
  expect_contains(r.out, {"House Security", "custom, overrides built-in"});
  EXPECT_EQ(r.out.find("Skipping"), std::string::npos) << "standard output holds the list only";
  EXPECT_TRUE(r.err.starts_with("tessik-agents list: warning: Skipping invalid custom agent " +
                                (custom.path() / "broken.yaml").string() + ": "))
      << r.err;

  // --strict: a skipped file fails the run; without one it passes.
  EXPECT_EQ(run({"list", "--strict", "--custom", custom.path().string()}).status, EXIT_FAILED);
  EXPECT_EQ(run({"list", "--strict", "--json", "--custom", custom.path().string()}).status,
            EXIT_FAILED);
  EXPECT_EQ(run({"list", "--strict"}).status, EXIT_OK);
  EXPECT_EQ(run({"list", "--strict", "--custom", "/nonexistent/custom"}).status, EXIT_FAILED);

  const Value json = parse_json(run({"list", "--custom", custom.path().string(), "--json"}).out);
  const Value::Sequence& agents = json.find("agents")->as_sequence();
  ASSERT_EQ(agents.size(), 5u);
  EXPECT_EQ(*agents[1].find("overrides_builtin"), Value(true));
  EXPECT_EQ(*agents[4].find("category"), Value("code-quality"));
  EXPECT_EQ(json.find("warnings")->as_sequence().size(), 1u);
}

TEST(CliPrompt, ShowsTheRequestOfOneAgent) {
  const Outcome r = run({"prompt", "--diff", kExampleDiff, "--agent", "wynn", "--shared",
                         (kSource / "examples/shared.json").string(), "--json"});
  ASSERT_EQ(r.status, EXIT_OK) << r.err;
  const Value json = parse_json(r.out);
  ASSERT_EQ(json.as_sequence().size(), 1u);
  const Value& req = json.as_sequence()[0];
  EXPECT_EQ(req.find("cache_key")->as_string().size(), 16u);
  EXPECT_EQ(*req.find("tool_path"), Value(false));
  const Value& diff_block = req.find("system")->as_sequence().at(0);
  EXPECT_TRUE(diff_block.find("text")->as_string().starts_with(
      "File: migrations/0008_order_notes.sql\nnew file mode 100644\n@@ -0,0 +1,4 @@\n"));
  EXPECT_NE(diff_block.find("cache_control"), nullptr);
  const std::string& user = req.find("messages")->as_sequence().at(0).find("content")->as_string();
  EXPECT_TRUE(user.starts_with("Context from shared analysis:\nLanguages: python, sql\n"));
}

TEST(CliReview, ExampleGivesAllThreeVerdictsAndExitsOneForTheError) {
  const Outcome r = run({"review", "--diff", kExampleDiff, "--replies", kExampleReplies});
  EXPECT_EQ(r.status, EXIT_FAILED) << r.err;
  expect_contains(
      r.out, {"Reviewed 5 files with 3 of 4 agents.",
              "corvin: error max_iterations_no_verdict after 5 iterations", "hesper: 1 finding",
              "peregrin: clean, confidence 0.8", "wynn: 2 findings", "shop/orders.py:20  high",
              "    | ~~~python\n"});  // the fence is escaped
}

TEST(CliReview, ReplyFilesDecideVerdictAndStatus) {
  TempDir replies;
  for (const char* agent : {"corvin", "hesper", "wynn", "peregrin"}) {
    replies.write(std::string(agent) + ".json",
                  R"({"status": "clean", "summary": "Looked at it.", "confidence": 1})");
  }
  const std::vector<std::string> args{
      "review", "--diff", kExampleDiff, "--replies", replies.path().string(), "--json"};
  EXPECT_EQ(run(args).status, EXIT_OK);

  // The meta file reaches the reply classifier: a refusal stop reason turns
  // even a clean reply into an error verdict.
  replies.write("wynn.meta.json", R"({"stop_reason": "refusal", "iterations_used": 2})");
  Outcome r = run(args);
  EXPECT_EQ(r.status, EXIT_FAILED);
  const Value json = parse_json(r.out);
  const Value& wynn = json.find("agents")->as_sequence().at(3);
  EXPECT_EQ(*wynn.find("verdict")->find("error_code"), Value("model_refusal"));

  // An agent without a recorded reply fails on its own; the others still run.
  fs::remove(replies.path() / "wynn.meta.json");
  fs::remove(replies.path() / "hesper.json");
  r = run({"review", "--diff", kExampleDiff, "--replies", replies.path().string()});
  EXPECT_EQ(r.status, EXIT_FAILED);
  expect_contains(r.out,
                  {"Reviewed 5 files with 3 of 4 agents.",
                   "hesper: failed, FileNotFoundError in ReplayClient.complete", "wynn: clean"});
}

// The installed binary: standard input and the process exit status.
int run_binary(const std::string& args) {
  const std::string command = std::string(TESSIK_AGENTS_TOOL) + " " + args + " >/dev/null 2>&1";
  const int raw = std::system(command.c_str());
  return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
}

TEST(CliProcess, ExitStatusesReachTheShell) {
  EXPECT_EQ(run_binary("review --diff - --replies " + kExampleReplies + " < " + kExampleDiff), 1);
  EXPECT_EQ(run_binary("prompt --diff - --agent hesper < " + kExampleDiff), 0);
  EXPECT_EQ(run_binary("validate"), 2);
}

}  // namespace
}  // namespace tessik::cli
