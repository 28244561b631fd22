// `validate` as a linter: the diagnostics of a table of bad definition
// files, folders read as the loader reads them, and the output formats.
#include <gtest/gtest.h>
#include <unistd.h>

#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include <tessik/foundation/json.hpp>
#include <tessik/foundation/text.hpp>

#include "cli/cli.hpp"
#include "lint/check.hpp"
#include "lint/definition_source.hpp"
#include "run_cli.hpp"

namespace tessik::lint {
namespace {

using testing::TempDir;

struct Expected {
  std::size_t line = 0, column = 0;  // 0: no position
  std::string code;
  std::string message{};  // when not empty, the whole message
};

std::string shown(const std::vector<Diagnostic>& diagnostics) {
  std::string out;
  for (const Diagnostic& d : diagnostics) {
    out += (d.at ? std::to_string(d.at->line) + ":" + std::to_string(d.at->column) : "-") + " " +
           d.code + " " + d.message + "\n";
  }
  return out;
}

TEST(ValidateFile, DiagnosticsOfBadDefinitionFiles) {
  TempDir dir;
  const struct {
    std::string file, text;
    std::vector<Expected> expected;
  } cases[] = {
      {"clean.yaml", "name: clean\nsystem_prompt: Check it.\n", {}},
      {"typos.yaml",
       "name: t\nsytem_prompt: x\nmax_tool_iteration: 3\nSystem_Prompt: y\nzzz: 1\n",
       {{1, 1, "W207"},
        {2, 1, "W201", "unknown key 'sytem_prompt'; did you mean 'system_prompt'?"},
        {3, 1, "W201", "unknown key 'max_tool_iteration'; did you mean 'max_tool_iterations'?"},
        {4, 1, "W201", "unknown key 'System_Prompt'; did you mean 'system_prompt'?"},
        {5, 1, "W201", "unknown key 'zzz'; it is ignored"}}},
      {"traps.yaml",
       "name: traps\nsystem_prompt: p\nenabled: 'false'\nfocus_areas: perf\n"
       "trigger_patterns: {a: 1}\nversion: 1.10\nmax_tool_iterations: -2\nseverity_default: 3\n",
       {{3, 10, "W202",
         "enabled: 'false' is a non-empty text and so counts as true; write true or false"},
        {4, 14, "W203"},
        {5, 19, "W203"},
        {6, 10, "W204",
         "version: YAML reads 1.10 as a number, so it becomes '1.1'; quote it (\"1.10\")"},
        {7, 22, "W205"},
        {8, 19, "W206", "severity_default: expected a severity word, got the integer 3"}}},
      {"severity.yaml", "name: s\nsystem_prompt: p\nseverity_default: Major\nenabled: yes\n", {}},
      {"blank.md",
       "---\nname: blank\nsystem_prompt: '  '\n---\nThe body.\n",
       {{3, 16, "W207"}, {5, 1, "W208"}}},
      {"body.md", "---\nname: body\n---\n\n  Check the SQL.\n", {}},
      {"corvin.md", "---\nname: corvin\n---\nBe brief.\n", {{2, 7, "N301"}}},
      {"case.yaml", "name: Wynn\nsystem_prompt: p\n", {{1, 7, "W209"}}},
      {"five.yaml",
       "name: f\nsystem_prompt: p\nmax_tool_iterations: five\n",
       {{3, 22, "E106",
         "Agent definition key 'max_tool_iterations' in @: expected an integer, got the text "
         "'five'"}}},
      {"agent.txt",
       "name: t\nsystem_prompt: p\n",
       {{0, 0, "E107", "No parser for agent definition file: @"}}},
      {"disabled.yml", "name: d\nsystem_prompt: p\nenabled: off\n", {{3, 10, "N302"}}},
      {"wynn.yaml",
       "name: wynn\nsystem_prompt: p\nenabled: false\n",
       {{3, 10, "N302",
         "the agent 'wynn' is disabled, so no review run loads it; it replaces nothing: the "
         "built-in agent 'wynn' still runs"}}},
      // Bad input: nothing crashes, every position is in the file.
      {"empty.yaml", "", {{0, 0, "E105"}, {1, 1, "W207"}}},
      {"comments.yaml", "# only\n# comments\n", {{0, 0, "E105"}, {1, 1, "W207"}}},
      {"sequence.yaml", "- a\n- b\n", {{1, 1, "E106"}}},
      {"bom.yaml", "\xEF\xBB\xBFname: bom\nsystem_prompt: p\nbogus: 1\n", {{3, 1, "W201"}}},
      {"crlf.md", "---\r\nname: crlf\r\nbogus: 1\r\n---\r\nBody\r\n", {{3, 1, "W201"}}},
      {"open.md", "---\nname: x\nsystem_prompt: p\n", {{0, 0, "E104"}}},
      {"utf8.yaml",
       "name: u\n\xC3\x28\n",
       {{2, 1, "E102", "@ is not valid UTF-8: byte 0xC3 at offset 8"}}},
      {"syntax.yaml", "name: [x\n", {{1, 9, "E103"}}},
      {"keys.yaml",
       "name: k\nsystem_prompt: p\n1: one\nnull: two\n",
       {{3, 1, "W201", "the key the integer 1 is not a text, so it is no definition key"},
        {4, 1, "W201", "the key null is not a text, so it is no definition key"}}},
      {"tab.yaml", "name: t\n\tsystem_prompt: p\n", {{2, 1, "E103"}}},
      {"alias.yaml",
       "a: &a [x, x, x, x, x, x, x, x, x, x]\nb: &b [*a, *a, *a, *a, *a, *a, *a, *a, *a, *a]\n"
       "c: &c [*b, *b, *b, *b, *b, *b, *b, *b, *b, *b]\nd: &d [*c, *c, *c, *c, *c, *c, *c, *c, *c, "
       "*c]\ne: &e [*d, *d, *d, *d, *d, *d, *d, *d, *d, *d]\nf: [*e, *e, *e, *e, *e, *e, *e, *e, "
       "*e, *e, *e, *e]\n",
       {{6, 33, "E103"}}},
  };
  for (const auto& c : cases) {
    const std::filesystem::path file = dir.write(c.file, c.text);
    const FileReport r = check_file(file);
    // A row without a message takes the one reported; "@" stands for the path.
    std::vector<Diagnostic> expected;
    for (std::size_t i = 0; i < c.expected.size(); ++i) {
      const Expected& e = c.expected[i];
      std::string message =
          e.message.empty() && i < r.diagnostics.size() ? r.diagnostics[i].message : e.message;
      if (const std::size_t at = message.find('@'); at != std::string::npos) {
        message.replace(at, 1, file.string());
      }
      expected.push_back(
          {.file = file.string(),
           .at = e.line == 0 ? std::nullopt : std::optional<TextPosition>({e.line, e.column}),
           .message = message,
           .code = e.code});
    }
    EXPECT_EQ(shown(r.diagnostics), shown(expected)) << c.file;
    // Every diagnostic names the file, and every position lies in its text.
    const std::optional<DefinitionSource> source = read_definition_source(file);
    for (const Diagnostic& d : r.diagnostics) {
      EXPECT_EQ(d.file, file.string()) << c.file;
      if (d.at && source) {
        EXPECT_EQ(clamp_to_text(*source, *d.at), *d.at) << c.file << d.message;
      }
    }
  }
}

// A file made of problems: each is reported once, at its own line (the
// check stays linear in the file's size).
TEST(ValidateFile, EveryProblemOfALargeFile) {
  TempDir dir;
  std::string text = "name: many\nsystem_prompt: p\n";
  constexpr std::size_t kKeys = 40'000;
  for (std::size_t i = 0; i < kKeys; ++i) {
    // Appended piece by piece: GCC 12's release optimiser takes
    // "k" + std::to_string(i) for an overlapping copy (-Wrestrict).
    text += 'k';
    text += std::to_string(i);
    text += ": 1\n";
  }
  const FileReport r = check_file(dir.write("many.yaml", text));
  ASSERT_EQ(r.diagnostics.size(), kKeys);
  EXPECT_EQ(r.diagnostics.front().at, (TextPosition{3, 1}));
  EXPECT_EQ(r.diagnostics[1].at, (TextPosition{4, 1}));
  EXPECT_EQ(r.diagnostics.back().at, (TextPosition{kKeys + 2, 1}));
  EXPECT_EQ(r.diagnostics.back().message, "unknown key 'k39999'; it is ignored");
}

TEST(ValidateFile, LargeFilesAndFolderNamedLikeAFileFailWithoutAPosition) {
  TempDir dir;
  for (const std::filesystem::path& file :
       {dir.mkdir("x.md"), dir.link(dir / "nowhere", "dangling.md"),
        dir.write("big.yaml", "name: big\n# " + std::string(5 << 20, 'x') + "\n")}) {
    const FileReport r = check_file(file);
    ASSERT_EQ(r.diagnostics.size(), 1u) << file;
    EXPECT_EQ(r.diagnostics[0].code, "E101") << file;
    EXPECT_FALSE(r.diagnostics[0].at) << file;
  }
  EXPECT_EQ(check_file(dir / "x.md").diagnostics[0].message,
            "cannot read " + (dir / "x.md").string() + ": it is a directory");
}

TEST(ValidateDirectory, ReadsTheFolderAsTheLoaderDoes) {
  TempDir outside, dir;
  const std::string agent = "system_prompt: p\nname: ";
  dir.write("b.yaml", agent + "dup\n");
  dir.write("a.md", "---\nname: dup\nsystem_prompt: p\n---\n");
  dir.write("c.yaml", agent + "dup\nenabled: false\n");  // disabled: replaces nothing
  dir.write("d.yaml", agent + "dup\n");
  dir.write("notes.txt", "not claimed by any parser\n");
  dir.mkdir("x.md");
  dir.link(outside.write("escape.yaml", agent + "escape\n"), "link.yaml");
  dir.mkdir("sub");
  dir.write("sub/deep.yaml", "not: read\n");

  const std::vector<FileReport> reports = check_directory(dir.path().string());
  std::vector<std::string> seen;
  for (const FileReport& r : reports) {
    std::string line = r.file.substr(dir.path().string().size() + 1) + ":";
    for (const Diagnostic& d : r.diagnostics) line += " " + d.code;
    seen.push_back(line);
  }
  EXPECT_EQ(seen, (std::vector<std::string>{"a.md:", "b.yaml: W210", "c.yaml: N302", "d.yaml: W210",
                                            "link.yaml: E108", "x.md: E101"}));
  EXPECT_EQ(reports[3].diagnostics[0].message, "the name 'dup' is also defined by " +
                                                   (dir / "b.yaml").string() +
                                                   "; this later file replaces it");
  EXPECT_EQ(reports[3].diagnostics[0].at, (TextPosition{2, 7}));
}

testing::Outcome validate(std::vector<std::string> args) {
  args.insert(args.begin(), "validate");
  return testing::run(args);
}

TEST(ValidateFormats, TextGithubJsonAndSarif) {
  TempDir dir;
  // A comma and a blank in a name: escaped in GitHub's commands, kept out of SARIF's URIs.
  const std::string warned =
      dir.write("w, 1.yaml", "name: w\nsystem_prompt: p\nbogus: 1\n").string();
  const std::string invalid = dir.write("i.yaml", "name: i\nmax_tool_iterations: x\n").string();

  testing::Outcome r = validate({warned, invalid});
  EXPECT_EQ(r.status, cli::EXIT_FAILED);
  EXPECT_EQ(r.out,
            warned + ":3:1: warning: unknown key 'bogus'; it is ignored [W201]\n" + invalid +
                ":1:1: warning: the system prompt is empty: there is no system_prompt [W207]\n" +
                invalid + ":2:22: error: Agent definition key 'max_tool_iterations' in " + invalid +
                ": expected an integer, got the text 'x' [E106]\n"
                "2 files checked: 1 error, 2 warnings\n");

  // Exit statuses: warnings pass unless --strict.
  EXPECT_EQ(validate({warned}).status, cli::EXIT_OK);
  EXPECT_EQ(validate({"--strict", warned}).status, cli::EXIT_FAILED);
  EXPECT_EQ(validate({"--format", "xml", warned}).status, cli::EXIT_USAGE);
  EXPECT_EQ(validate({"--json", "--format", "sarif", warned}).status, cli::EXIT_USAGE);

  // GitHub: one well-formed workflow command per diagnostic.
  r = validate({"--format", "github", warned, invalid});
  const std::regex command(
      R"(::(error|warning|notice) file=[^,:]+,line=[0-9]+,col=[0-9]+,title=[EWN][0-9]{3}::[^\r\n]+)");
  std::istringstream lines(r.out);
  std::vector<std::string> all;
  for (std::string line; std::getline(lines, line);) all.push_back(line);
  ASSERT_EQ(all.size(), 4u) << r.out;
  for (std::size_t i = 0; i < 3; ++i) EXPECT_TRUE(std::regex_match(all[i], command)) << all[i];
  EXPECT_NE(all[0].find("file=" + dir.path().string() + "/w%2C 1.yaml,line=3,col=1,title=W201::"),
            std::string::npos)
      << all[0];

  // JSON: files, their diagnostics and the totals; --json is --format json.
  const Value json = parse_json(validate({"--json", warned, invalid}).out);
  const Value& files = *json.find("files");
  EXPECT_EQ(*files.as_sequence()[0].find("valid"), Value(true));
  EXPECT_EQ(*files.as_sequence()[1].find("error")->find("kind"), Value("ValueError"));
  const Value& first = files.as_sequence()[1].find("diagnostics")->as_sequence()[1];
  EXPECT_EQ(*first.find("line"), Value(2));
  EXPECT_EQ(*first.find("column"), Value(22));
  EXPECT_EQ(*first.find("code"), Value("E106"));
  EXPECT_EQ(*json.find("summary")->find("warnings"), Value(2));

  // SARIF, for what check_formats.py's schema check leaves open: the tool's
  // name, texts that are not empty, URIs without blanks and each region.
  const Value log =
      parse_json(validate({"--format", "sarif", warned, (dir / "missing.md").string()}).out);
  EXPECT_TRUE(log.find("$schema")->as_string().ends_with("sarif-2.1.0.json"));
  const Value::Sequence& runs = log.find("runs")->as_sequence();
  ASSERT_EQ(runs.size(), 1u);
  const Value& driver = *runs[0].find("tool")->find("driver");
  EXPECT_EQ(*driver.find("name"), Value("tessik-agents"));
  for (const Value& rule : driver.find("rules")->as_sequence()) {
    EXPECT_FALSE(rule.find("shortDescription")->find("text")->as_string().empty()) << rule;
  }
  std::vector<Value> regions;
  for (const Value& result : runs[0].find("results")->as_sequence()) {
    EXPECT_FALSE(result.find("message")->find("text")->as_string().empty());
    const Value& location = *result.find("locations")->as_sequence().at(0).find("physicalLocation");
    EXPECT_EQ(location.find("artifactLocation")->find("uri")->as_string().find(' '),
              std::string::npos);
    regions.push_back(*location.find("region"));
  }
  // A problem of the whole file is placed on its first line.
  EXPECT_EQ(regions, (std::vector<Value>{Value::Mapping{{"startLine", 3}, {"startColumn", 1}},
                                         Value::Mapping{{"startLine", 1}}}));
}

TEST(ValidateCodes, TheReadmeListsEveryCodeOnce) {
  const std::string readme = read_text_file(std::string(TESSIK_TEST_SOURCE_DIR) + "/README.md");
  for (const LintRule& r : all_rules()) {
    const std::string row = "| " + std::string(r.code) + " | ";
    const std::size_t at = readme.find(row);
    EXPECT_NE(at, std::string::npos) << r.code;
    EXPECT_EQ(readme.find(row, at + 1), std::string::npos) << r.code;
  }
}

}  // namespace
}  // namespace tessik::lint
