// Directory loading: listing order, parser choice, the built-in/custom merge,
// link escapes and the exact log lines, over temporary directories; and the
// shipped built-in agents.
#include <tessik/agent_loader.hpp>
#include <tessik/agent_loader/definitions/detail/paths.hpp>
#include <tessik/agent_loader/definitions/detail/safe_path.hpp>
#include <tessik/foundation/text.hpp>

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "failure.hpp"
#include "fake_client.hpp"
#include "temp_dir.hpp"

namespace tessik {
namespace {

namespace fs = std::filesystem;

using testing::TempDir;

std::string yaml(const std::string& name, const std::string& role = "", bool enabled = true) {
  std::string text = "name: " + name + "\n";
  if (!role.empty()) text += "role: " + role + "\n";
  if (!enabled) text += "enabled: false\n";
  return text;
}

std::string markdown(const std::string& name, const std::string& role = "") {
  return "---\n" + yaml(name, role) + "---\nReview the diff.\n";
}

using Lines = std::vector<std::string>;

std::string name_of(const LoadedAgent& agent) { return agent.name(); }
std::string name_of(const AgentDefinition& definition) { return definition.name; }
template <class T>
Lines names(const std::vector<T>& items) {
  Lines out;
  for (const T& item : items) out.push_back(name_of(item));
  return out;
}

std::string role(const LoadedAgent& agent) { return text_form(agent.definition().role); }

// Every line logged on Log::agent while it lives, as "LEVEL message".
struct AgentLog {
  ScopedLogCapture capture{Log::agent};
  Lines lines() const {
    Lines out;
    for (const auto& [level, message] : capture.lines()) {
      out.push_back((level == LogLevel::warning ? "WARNING "
                     : level == LogLevel::info  ? "INFO "
                                                : "DEBUG ") +
                    message);
    }
    return out;
  }
};

class LoadingTest : public ::testing::Test {
 protected:
  std::shared_ptr<AIClient> client_ = std::make_shared<testing::ExampleClient>();
  TempDir tmp_;
};

// ---- listing and parser choice -------------------------------------------

TEST_F(LoadingTest, EntriesLoadInByteOrderOfTheirNames) {
  AgentLog log;
  const fs::path dir = tmp_.mkdir("builtin");
  // Each file defines an agent named after its file, so the result order is
  // the listing order.
  for (const char* file : {"b.yaml", "a.md", "Zeta.md", "agent10.yaml", "agent2.yml",
                           ".hidden.yaml", "\xC3\xA9t\xC3\xA9.md"}) {
    const std::string stem = fs::path(file).stem().string();
    tmp_.write(std::string("builtin/") + file,
               fs::path(file).extension() == ".md" ? markdown("n" + stem) : yaml("n" + stem));
  }
  tmp_.write("builtin/_shared/guard_rails.md", "# not a definition\n");
  tmp_.write("builtin/README.txt", "not a definition\n");

  const auto agents = load_agents_from_dir(dir, client_, 100);
  // Hidden entries are listed; capitals sort before small letters; no natural
  // number order; a multi-byte UTF-8 name sorts after every ASCII name (bytes
  // compared unsigned).
  EXPECT_EQ(names(agents),
            (Lines{"n.hidden", "nZeta", "na", "nagent10", "nagent2", "nb", "n\xC3\xA9t\xC3\xA9"}));
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(LoadingTest, BuiltinFailuresAreSilentAndLaterDuplicatesTakeTheEarlierPosition) {
  AgentLog log;
  tmp_.write("builtin/a.yaml", yaml("dup", "from-a"));
  tmp_.write("builtin/b.yaml", yaml("beta", "", /*enabled=*/false));
  tmp_.write("builtin/c.yaml", "name: [unclosed\n");
  tmp_.write("builtin/d.md", "no front-matter\n");
  tmp_.write("builtin/e.yaml", "role: nameless\n");
  tmp_.mkdir("builtin/f.md");
  tmp_.write("builtin/g.yaml", yaml("mid"));
  tmp_.write("builtin/h.yaml", yaml("dup", "from-h"));

  const auto agents = load_all_agents(AIConfig{.ai_max_tokens = 100, .custom_agents_dir = {}},
                                      client_, (tmp_ / "builtin").string());
  ASSERT_EQ(names(agents), (Lines{"dup", "mid"}));
  EXPECT_EQ(role(agents[0]), "from-h");
  EXPECT_TRUE(log.lines().empty());
}

// A parser that claims every ".yaml" file and fails to parse it.
class FailingYamlParser final : public AgentDefinitionParser {
 public:
  bool can_parse(const fs::path& path) const override { return path.extension() == ".yaml"; }
  AgentDefinition parse(const fs::path&) const override {
    throw InvalidValueError("refused by the test parser");
  }
};

TEST_F(LoadingTest, ParserListChoosesTheFirstClaimingParserOnly) {
  const fs::path dir = tmp_.mkdir("builtin");
  tmp_.write("builtin/a.yaml", yaml("alpha"));
  tmp_.write("builtin/b.md", markdown("beta"));
  const auto yaml_parser = std::make_shared<YAMLAgentParser>();
  const auto md_parser = std::make_shared<MarkdownAgentParser>();
  const auto failing = std::make_shared<FailingYamlParser>();

  struct Case {
    const char* name;
    ParserList parsers;
    Lines expected;
  };
  const Case cases[] = {
      {"empty list falls back to the defaults", {}, {"alpha", "beta"}},
      {"markdown-only list ignores yaml files", {md_parser}, {"beta"}},
      {"a failing first claimant is not retried with the next parser",
       {failing, yaml_parser, md_parser},
       {"beta"}},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(names(load_agents_from_dir(dir, client_, 100, c.parsers)), c.expected) << c.name;
  }
}

TEST_F(LoadingTest, EveryAgentSharesTheCallersClientTokensAndTools) {
  tmp_.write("builtin/a.yaml", yaml("alpha"));
  tmp_.write("builtin/b.yaml", yaml("beta"));
  tmp_.write("custom/b.yaml", yaml("beta", "custom"));
  tmp_.write("custom/c.yaml", yaml("gamma"));
  const AIConfig config{.ai_max_tokens = 777, .custom_agents_dir = (tmp_ / "custom").string()};
  const ReviewerTools tools{.read_file_tool = testing::FakeTool::named("read_file"),
                            .find_code_tool = testing::FakeTool::named("find_code")};

  const auto agents = load_all_agents(config, client_, (tmp_ / "builtin").string(), tools);
  ASSERT_EQ(names(agents), (Lines{"alpha", "beta", "gamma"}));
  for (const auto& agent : agents) {
    EXPECT_EQ(agent.client(), client_) << agent.name();
    EXPECT_EQ(agent.max_tokens(), 777) << agent.name();
    EXPECT_EQ(agent.tools().read_file_tool, tools.read_file_tool) << agent.name();
    EXPECT_EQ(agent.tools().read_lines_tool, nullptr) << agent.name();
    EXPECT_EQ(agent.tools().find_code_tool, tools.find_code_tool) << agent.name();
  }
}

// ---- built-in / custom merge ---------------------------------------------

TEST_F(LoadingTest, CustomAgentsMergeByName) {
  const fs::path dir = tmp_.mkdir("builtin");
  tmp_.write("builtin/a.yaml", yaml("alpha", "builtin"));
  tmp_.write("builtin/b.yaml", yaml("beta", "builtin"));

  struct Case {
    const char* name;
    std::vector<std::pair<std::string, std::string>> custom_files;
    Lines expected;  // "name:role"
    Lines log;
  };
  const Case cases[] = {
      {"custom replaces the built-in in place and a new name is appended",
       {{"a.yaml", yaml("alpha", "custom")}, {"g.yaml", yaml("gamma", "custom")}},
       {"alpha:custom", "beta:builtin", "gamma:custom"},
       {"INFO Custom agent 'alpha' overrides built-in agent"}},
      {"a disabled custom agent neither replaces nor removes",
       {{"b.yaml", yaml("beta", "custom", /*enabled=*/false)}},
       {"alpha:builtin", "beta:builtin"},
       {}},
      {"the later of two custom agents wins and is announced once",
       {{"g1.yaml", yaml("gamma", "first")}, {"g2.yaml", yaml("gamma", "second")}},
       {"alpha:builtin", "beta:builtin", "gamma:second"},
       {"INFO Custom agent 'gamma' overrides built-in agent"}},
      {"names compare exactly",
       {{"b.yaml", yaml("Beta", "custom")}},
       {"alpha:builtin", "beta:builtin", "Beta:custom"},
       {}},
  };
  for (const Case& c : cases) {
    TempDir custom;
    for (const auto& [file, text] : c.custom_files) custom.write(file, text);
    AgentLog log;
    const auto agents =
        load_all_agents(AIConfig{.ai_max_tokens = 1, .custom_agents_dir = custom.path().string()},
                        client_, dir.string());
    Lines got;
    for (const auto& agent : agents) got.push_back(agent.name() + ":" + role(agent));
    EXPECT_EQ(got, c.expected) << c.name;
    EXPECT_EQ(log.lines(), c.log) << c.name;
  }
}

TEST_F(LoadingTest, UnusableCustomDirectorySettings) {
  const fs::path dir = tmp_.mkdir("builtin");
  tmp_.write("builtin/a.yaml", yaml("alpha"));
  const std::string file = tmp_.write("plain.yaml", yaml("x")).string();
  const std::string missing = (tmp_ / "missing").string();
  const std::string dangling = tmp_.link(tmp_ / "nowhere", "dangling").string();

  const struct {
    const char* name;
    std::optional<std::string> custom_dir;
    bool warns;  // that the configured value, as given, does not exist
  } cases[] = {
      {"absent is silent", std::nullopt, false},
      {"empty text is silent", "", false},
      {"a missing path warns", missing, true},
      {"a regular file is not a directory", file, true},
      {"a dangling link is not a directory", dangling, true},
      {"the configured value is printed untidied", missing + "//", true},
  };
  for (const auto& c : cases) {
    AgentLog log;
    const auto agents = load_all_agents(
        AIConfig{.ai_max_tokens = 1, .custom_agents_dir = c.custom_dir}, client_, dir.string());
    EXPECT_EQ(names(agents), Lines{"alpha"}) << c.name;
    EXPECT_EQ(log.lines(),
              c.warns ? Lines{"WARNING Custom agents directory does not exist: " + *c.custom_dir}
                      : Lines{})
        << c.name;
  }
}

// ---- custom entries: link escapes and skips --------------------------------

TEST_F(LoadingTest, CustomEntriesAreCheckedAndSkippedWithExactWarnings) {
  AgentLog log;
  const fs::path outside = tmp_.write("outside/evil.yaml", yaml("evil"));
  const fs::path custom = tmp_.mkdir("custom");
  tmp_.write("custom/real.yaml", yaml("real"));
  tmp_.write("custom/idle.yaml", yaml("idle", "", /*enabled=*/false));
  tmp_.write("custom/store/agent.txt", yaml("linked"));
  tmp_.link(custom / "store/agent.txt", "custom/linked.yml");  // the link's suffix counts
  tmp_.link(outside, "custom/escape.yaml");
  tmp_.link(custom / "gone.yaml", "custom/dangling.yaml");
  tmp_.link(custom / "loop-b.yaml", "custom/loop-a.yaml");
  tmp_.link(custom / "loop-a.yaml", "custom/loop-b.yaml");
  tmp_.link(tmp_ / "outside", "custom/outdir.txt");  // unclaimed, still checked first
  tmp_.mkdir("custom/sub.md");
  tmp_.write("custom/Agent.YAML", yaml("shouty"));
  tmp_.write("custom/nested/deep.yaml", yaml("deep"));

  const std::string subdir_failure =
      testing::failure_of([&] { MarkdownAgentParser().parse(custom / "sub.md"); }).message;

  // The directory is given untidied: every printed path is tidied, links are
  // not resolved.
  const std::string configured = custom.string() + "/./";
  const auto definitions = load_custom_agents(configured);
  const std::string c = custom.string();
  Lines expected;
  for (const char* entry :
       {"dangling.yaml", "escape.yaml", "loop-a.yaml", "loop-b.yaml", "outdir.txt"}) {
    expected.push_back("WARNING Skipping path outside custom agents dir: " + c + "/" + entry);
  }
  expected.push_back("WARNING Skipping invalid custom agent " + c + "/sub.md: " + subdir_failure);
  EXPECT_EQ(log.lines(), expected);
  // Disabled definitions are returned; only the merge drops them.
  EXPECT_EQ(names(definitions), (Lines{"idle", "linked", "real"}));
}

TEST_F(LoadingTest, RelativeDirectoriesStayRelative) {
  tmp_.write("builtin/a.yaml", yaml("alpha"));
  tmp_.write("here.yaml", yaml("cwd"));
  tmp_.write("custom/bad.yaml", "- a\n");
  const fs::path previous = fs::current_path();
  fs::current_path(tmp_.path());
  struct Restore {
    fs::path dir;
    ~Restore() { fs::current_path(dir); }
  } restore{previous};

  EXPECT_EQ(names(load_agents_from_dir("builtin//", client_, 1)), Lines{"alpha"});
  // The empty text names the current directory.
  EXPECT_EQ(names(load_all_agents(AIConfig{}, client_, std::string())), Lines{"cwd"});

  const std::string failure =
      testing::failure_of([] { YAMLAgentParser().parse("custom/bad.yaml"); }).message;
  AgentLog log;
  EXPECT_TRUE(load_custom_agents("./custom/").empty());
  EXPECT_EQ(log.lines(),
            Lines{"WARNING Skipping invalid custom agent custom/bad.yaml: " + failure});
}

// ---- failures that propagate ---------------------------------------------

TEST_F(LoadingTest, UnlistableDirectoriesFail) {
  EXPECT_THROW(load_agents_from_dir(tmp_ / "missing", client_, 1), FileSystemError);
  EXPECT_THROW(load_all_agents(AIConfig{}, client_, tmp_.write("file", "x").string()),
               FileSystemError);
  if (::geteuid() == 0) GTEST_SKIP() << "permissions do not bind the superuser";
  const fs::path custom = tmp_.mkdir("locked/custom");
  fs::permissions(custom, fs::perms::owner_exec);  // searchable, not listable
  EXPECT_THROW(load_all_agents(AIConfig{.custom_agents_dir = custom.string()}, client_,
                               tmp_.mkdir("builtin").string()),
               FileSystemError);
  fs::permissions(tmp_ / "locked", fs::perms::none);  // cannot even be examined
  EXPECT_THROW(load_custom_agents(custom.string()), FileSystemError);
  fs::permissions(tmp_ / "locked", fs::perms::owner_all);  // so that it can be removed
  fs::permissions(custom, fs::perms::owner_all);
}

// ---- the link-escape check -----------------------------------------------

TEST_F(LoadingTest, SafePathComparesResolvedPathsByComponent) {
  const fs::path base = tmp_.mkdir("base");
  tmp_.write("base/a.yaml", "");
  tmp_.write("base-other/b.yaml", "");
  tmp_.link(tmp_ / "base-other", "base/sibling");
  tmp_.link(tmp_ / "base" / "a.yaml", "to-inside.yaml");

  struct Case {
    const char* name;
    fs::path path;
    bool safe;
  };
  const Case cases[] = {
      {"the directory itself is inside", base, true},
      {"a plain file is inside", base / "a.yaml", true},
      {"a dot-dot that comes back is inside", base / ".." / "base" / "a.yaml", true},
      {"a sibling sharing the name prefix is outside", tmp_ / "base-other/b.yaml", false},
      {"a link to the sibling is outside", base / "sibling/b.yaml", false},
      {"a link from outside into the base is inside", tmp_ / "to-inside.yaml", true},
      {"a missing file cannot be resolved", base / "missing.yaml", false},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(detail::is_safe_path(c.path, base), c.safe) << c.name;
  }
}

// ---- the shipped agents --------------------------------------------------

// The anti-pattern lines of the first ANTI-PATTERNS comment in a definition
// file, header line excluded.
Lines own_anti_patterns(const fs::path& file) {
  const std::string text = read_text_file(file);
  std::smatch block;
  static const std::regex pattern(R"(<!--\s*ANTI-PATTERNS[-_A-Z]*[ \t]*\n([\s\S]*?)-->)");
  if (!std::regex_search(text, block, pattern)) return {};
  Lines items;
  std::istringstream lines(block[1].str());
  for (std::string line; std::getline(lines, line);) {
    const std::string_view item = strip(line);
    if (!item.empty()) items.emplace_back(item);
  }
  return items;
}

TEST_F(LoadingTest, ShippedAgentsCarryTheirAntiPatternsInsideTheGuardRails) {
  AgentLog log;
  const fs::path agents_dir = fs::path(TESSIK_TEST_SOURCE_DIR) / "agents";
  EXPECT_EQ(fs::canonical(detail::agents_dir()), fs::canonical(agents_dir));

  const auto agents =
      load_all_agents(AIConfig{.ai_max_tokens = 1, .custom_agents_dir = {}}, client_);
  ASSERT_EQ(names(agents), (Lines{"corvin", "hesper", "peregrin", "wynn"}));
  EXPECT_TRUE(log.lines().empty()) << log.lines().front();
  for (const auto& agent : agents) {
    SCOPED_TRACE(agent.name());
    const std::string& prompt = agent.definition().system_prompt.as_string();
    ASSERT_TRUE(prompt.starts_with("# Guard Rails for Reviewer Agents"));
    const auto section = prompt.find("## Anti-patterns");
    ASSERT_NE(section, std::string::npos);
    const auto section_end = prompt.find("\n## ", section + 1);
    const std::string_view anti_patterns =
        std::string_view(prompt).substr(section, section_end - section);

    const Lines items = own_anti_patterns(agents_dir / (agent.name() + ".md"));
    EXPECT_FALSE(items.empty()) << "no ANTI-PATTERNS block of its own";
    for (const std::string& item : items) {
      EXPECT_NE(anti_patterns.find(item), std::string_view::npos) << item;
    }
    EXPECT_FALSE(std::regex_search(prompt, std::regex(R"(<!--\s*ANTI-PATTERNS)")))
        << "block left in the prompt";
  }
}

}  // namespace
}  // namespace tessik
