#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <tessik/agent_loader/guard_rails.hpp>
#include <tessik/agent_loader/paths.hpp>
#include <tessik/errors.hpp>
#include <tessik/logging_channels.hpp>
#include <tessik/text.hpp>
#include <vector>

namespace tessik {
namespace {

namespace fs = std::filesystem;

// D and P of the examples in guard_rails.hpp.
const std::string D =
    "# Guard Rails for Reviewer Agents\n\n## Anti-patterns\n\n- g1\n\n## Output\n\nrules\n";
const std::string P = "You are X.\n\n<!-- ANTI-PATTERNS\n- a1\n- a2\n-->\n\nReview.";
const std::string MERGED_P =
    "# Guard Rails for Reviewer Agents\n\n## Anti-patterns\n\n- g1\n\n\n- a1\n- a2\n\n"
    "## Output\n\nrules\n\n\nYou are X.\n\n\n\nReview.";
// D split where the items of a block go: before its "## Output" line.
const std::string HEAD = "# Guard Rails for Reviewer Agents\n\n## Anti-patterns\n\n- g1\n\n";
const std::string TAIL = "## Output\n\nrules\n";
const std::string NO_SECTION_WARNING =
    "[tessik]     guard_rails.md missing '## Anti-patterns' section; appending per-agent block "
    "at end of guard-rails";

class GuardRails : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string tmpl = (fs::temp_directory_path() / "tessik-guard-rails-XXXXXX").string();
    ASSERT_NE(mkdtemp(tmpl.data()), nullptr);
    dir_ = tmpl;
  }
  void TearDown() override { fs::remove_all(dir_); }

  fs::path document(const std::string& bytes) {
    const fs::path p = dir_ / "guard_rails.md";
    std::ofstream(p, std::ios::binary | std::ios::trunc) << bytes;
    return p;
  }

  // The merge with the warnings it logged.
  std::pair<std::string, std::vector<std::string>> merge(std::string_view prompt,
                                                         const fs::path& doc) {
    ScopedLogCapture capture(Log::agent);
    std::string merged = detail::prepend_guard_rails(prompt, doc);
    std::vector<std::string> warnings;
    for (const auto& line : capture.lines()) {
      EXPECT_EQ(line.level, LogLevel::warning);
      warnings.push_back(line.message);
    }
    return {merged, warnings};
  }

  fs::path dir_;
};

struct Merge {
  const char* name;
  std::string document;
  std::string prompt;
  std::string expected;
  std::vector<std::string> warnings;
};

TEST_F(GuardRails, MergesTheAgentBlock) {
  const std::string title = "# Guard Rails for Reviewer Agents\n\n";
  const Merge cases[] = {
      {"block items go to the end of the section", D, P, MERGED_P, {}},
      {"an already merged prompt is unchanged", D, MERGED_P, MERGED_P, {}},
      {"the sentinel counts anywhere, even as a sub-heading",
       D,
       "x\n## Guard Rails for Reviewer Agents\n<!-- ANTI-PATTERNS\n- a\n-->",
       "x\n## Guard Rails for Reviewer Agents\n<!-- ANTI-PATTERNS\n- a\n-->",
       {}},
      {"a prompt without block is appended", D, "plain prompt", D + "\n\nplain prompt", {}},
      {"the empty prompt", D, "", D + "\n\n", {}},
      {"anti-patterns as the last section",
       title + "## Anti-patterns\n- g1\n",
       P,
       title + "## Anti-patterns\n- g1\n\n- a1\n- a2\n\n\n\nYou are X.\n\n\n\nReview.",
       {}},
      {"no anti-patterns section: appended with a warning",
       title + "## Scope\n- s\n",
       P,
       title + "## Scope\n- s\n\n\n## Anti-patterns\n\n- a1\n- a2\n\nYou are X.\n\n\n\nReview.",
       {NO_SECTION_WARNING}},
      {"no section and no block: no warning",
       title + "## Scope\n",
       "p",
       title + "## Scope\n\n\np",
       {}},
      {"heading directly followed by the next one",
       title + "## Anti-patterns\n## Next\n",
       P,
       title + "## Anti-patterns\n\n- a1\n- a2\n\n## Next\n\n\nYou are X.\n\n\n\nReview.",
       {}},
      {"a level-three heading opens the section too",
       title + "### Anti-patterns\n- g\n## N\n",
       "<!-- ANTI-PATTERNS\n- a\n-->",
       title + "### Anti-patterns\n- g\n\n- a\n\n## N\n\n\n",
       {}},
      {"a sub-heading and ##Next do not end the section",
       title + "## Anti-patterns\n### Sub\n##Next\nx ## y\n## End\n",
       "<!-- ANTI-PATTERNS\n- a\n-->",
       title + "## Anti-patterns\n### Sub\n##Next\nx ## y\n\n- a\n\n## End\n\n\n",
       {}},
      {"a heading glued to the section title is no line start",
       title + "## Anti-patterns## X\n",
       "<!--ANTI-PATTERNS\n- a\n-->",
       title + "## Anti-patterns## X\n\n- a\n\n\n\n",
       {}},
      {"header suffix and blank lines go, indentation stays",
       D,
       "x <!-- ANTI-PATTERNS-SEC \n  \n  - a\n--> y",
       HEAD + "\n  - a\n\n" + TAIL + "\n\nx  y",
       {}},
      {"a header with a colon stays",
       D,
       "x <!-- ANTI-PATTERNS:\n- a\n--> y",
       HEAD + "\nANTI-PATTERNS:\n- a\n\n" + TAIL + "\n\nx  y",
       {}},
      {"a header that ends the block stays",
       D,
       "<!-- ANTI-PATTERNS -->",
       HEAD + "\nANTI-PATTERNS\n\n" + TAIL + "\n\n",
       {}},
      {"the header word is case-sensitive",
       D,
       "x <!-- anti-patterns\n- a\n--> y",
       D + "\n\nx <!-- anti-patterns\n- a\n--> y",
       {}},
      {"only the first block is used, other comments stay",
       D,
       "x <!-- note --> y <!--ANTI-PATTERNS\n- a\n--> z <!-- ANTI-PATTERNS\n- b\n-->",
       HEAD + "\n- a\n\n" + TAIL + "\n\nx <!-- note --> y  z <!-- ANTI-PATTERNS\n- b\n-->",
       {}},
      {"an item holding --> ends the block there",
       D,
       "x <!-- ANTI-PATTERNS\n- use <!-- c --> here\n--> y",
       HEAD + "\n- use <!-- c\n\n" + TAIL + "\n\nx  here\n--> y",
       {}},
      {"an unclosed first opener runs to the first closer",
       D,
       "<!-- ANTI-PATTERNS\n- a\n<!-- ANTI-PATTERNS\n- b\n--> z",
       HEAD + "\n- a\n<!-- ANTI-PATTERNS\n- b\n\n" + TAIL + "\n\n z",
       {}},
      {"an unclosed plain comment before the block",
       D,
       "<!-- n\n<!-- ANTI-PATTERNS\n- a\n-->",
       HEAD + "\n- a\n\n" + TAIL + "\n\n<!-- n\n",
       {}},
      {"non-ASCII white space before the header word",
       D,
       "<!--\u2003ANTI-PATTERNS\n- a\n-->",
       HEAD + "\n- a\n\n" + TAIL + "\n\n",
       {}},
      {"information separator before the header word",
       D,
       "<!--\x1E"
       "ANTI-PATTERNS\n- a\n-->",
       HEAD + "\n- a\n\n" + TAIL + "\n\n",
       {}},
      {"a CR LF document is read with LF",
       "# Guard Rails for Reviewer Agents\r\n## Anti-patterns\r\n",
       "<!-- ANTI-PATTERNS\n- a\n-->",
       "# Guard Rails for Reviewer Agents\n## Anti-patterns\n\n- a\n\n\n\n",
       {}},
  };
  ASSERT_EQ(HEAD + TAIL, D);
  for (const auto& c : cases) {
    const auto [merged, warnings] = merge(c.prompt, document(c.document));
    EXPECT_EQ(merged, c.expected) << c.name;
    EXPECT_EQ(warnings, c.warnings) << c.name;
  }
}

TEST_F(GuardRails, MissingOrUnreadableDocumentLeavesThePromptAlone) {
  fs::create_directory(dir_ / "as_dir");
  fs::create_symlink(dir_ / "nowhere", dir_ / "dangling");
  fs::create_symlink(dir_ / "loop", dir_ / "loop");
  std::ofstream(dir_ / "bad_utf8", std::ios::binary) << "# Guard Rails\xFF\n";
  const std::string missing = "[tessik]     guard_rails.md missing at ";
  const std::string tail = " — reviewer prompts will not include guard rails";
  struct Unusable {
    const char* name;
    fs::path path;
    std::string warning_start;  // the warning up to its description
  };
  const Unusable cases[] = {
      {"absent", dir_ / "absent.md", missing + path_text(dir_ / "absent.md") + tail},
      {"a dangling link is absent", dir_ / "dangling",
       missing + path_text(dir_ / "dangling") + tail},
      {"a link loop is absent", dir_ / "loop", missing + path_text(dir_ / "loop") + tail},
      {"below a regular file is absent", dir_ / "bad_utf8" / "x",
       missing + path_text(dir_ / "bad_utf8" / "x") + tail},
      {"not UTF-8", dir_ / "bad_utf8",
       "[tessik]     failed to read guard_rails.md (UnicodeDecodeError): "},
      {"a directory", dir_ / "as_dir",
       "[tessik]     failed to read guard_rails.md (IsADirectoryError): "},
  };
  for (const auto& c : cases) {
    const auto [merged, warnings] = merge(P, c.path);
    EXPECT_EQ(merged, P) << c.name;
    ASSERT_EQ(warnings.size(), 1u) << c.name;
    EXPECT_TRUE(warnings[0].starts_with(c.warning_start)) << c.name << ": " << warnings[0];
  }
}

TEST_F(GuardRails, DocumentIsReadOnEveryCall) {
  const fs::path doc = document(D);
  EXPECT_EQ(detail::prepend_guard_rails("p", doc), D + "\n\np");
  document("# Guard Rails for Reviewer Agents\n");
  EXPECT_EQ(detail::prepend_guard_rails("p", doc), "# Guard Rails for Reviewer Agents\n\n\np");
}

TEST_F(GuardRails, UnclosedOpenersStayLinear) {
  std::string prompt;
  for (int i = 0; i < 100'000; ++i) prompt += "<!-- ANTI-PATTERNS\n- a -> b\n";
  const auto [merged, warnings] = merge(prompt, document(D));
  EXPECT_EQ(merged, D + "\n\n" + prompt);
  EXPECT_TRUE(warnings.empty());
}

TEST(GuardRailsPaths, SharedDocumentLiesInTheAgentsDirectory) {
  EXPECT_TRUE(detail::agents_dir().is_absolute());
  EXPECT_EQ(detail::agents_dir().filename(), "agents");
  EXPECT_EQ(detail::shared_guard_rails_path(), detail::agents_dir() / "_shared" / "guard_rails.md");
  EXPECT_EQ(fs::weakly_canonical(fs::path(TESSIK_TEST_SOURCE_DIR) / "agents"),
            detail::agents_dir());
}

}  // namespace
}  // namespace tessik
