#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <tessik/agent_loader/definitions/detail/guard_rails.hpp>
#include <tessik/foundation/text.hpp>
#include <tessik/logging_channels.hpp>
#include <vector>

#include "temp_dir.hpp"

namespace tessik {
namespace {

namespace fs = std::filesystem;

// The document D and prompt P of the example in guard_rails.hpp. D splits
// into HEAD and TAIL where a block's items go, before its "## Output" line.
const std::string HEAD = "# Guard Rails for Reviewer Agents\n\n## Anti-patterns\n\n- g1\n\n";
const std::string TAIL = "## Output\n\nrules\n";
const std::string D = HEAD + TAIL;
const std::string T = "# Guard Rails for Reviewer Agents\n\n";  // the title alone
const std::string P = "You are X.\n\n<!-- ANTI-PATTERNS\n- a1\n- a2\n-->\n\nReview.";
const std::string MERGED_P = HEAD + "\n- a1\n- a2\n\n" + TAIL + "\n\nYou are X.\n\n\n\nReview.";
const std::string BLOCK = "<!-- ANTI-PATTERNS\n- a\n-->";

class GuardRails : public ::testing::Test {
 protected:
  fs::path document(const std::string& bytes) { return tmp_.write("guard_rails.md", bytes); }

  // The merge, and the warnings it logged.
  static std::pair<std::string, std::vector<std::string>> merge(std::string_view prompt,
                                                                const fs::path& doc) {
    ScopedLogCapture capture(Log::agent, LogLevel::warning);
    std::string merged = detail::prepend_guard_rails(prompt, doc);
    return {merged, capture.messages()};
  }

  testing::TempDir tmp_;
};

TEST_F(GuardRails, MergesTheAgentBlock) {
  const std::vector<std::string> none;
  const std::vector<std::string> no_section{
      "[tessik]     guard_rails.md missing '## Anti-patterns' section; appending per-agent block "
      "at end of guard-rails"};
  const struct {
    const char* name;
    std::string document, prompt, expected;
    const std::vector<std::string>& warnings;
  } cases[] = {
      // clang-format off
      {"items go to the end of the section", D, P, MERGED_P, none},
      {"a merged prompt is left alone", D, MERGED_P, MERGED_P, none},
      {"the title counts anywhere, even as a sub-heading", D, "## Guard Rails for Reviewer Agents\n" + BLOCK,
       "## Guard Rails for Reviewer Agents\n" + BLOCK, none},
      {"no block: document and prompt", D, "plain prompt", D + "\n\nplain prompt", none},
      {"the empty prompt", D, "", D + "\n\n", none},
      {"anti-patterns as the last section", T + "## Anti-patterns\n- g1\n", P,
       T + "## Anti-patterns\n- g1\n\n- a1\n- a2\n\n\n\nYou are X.\n\n\n\nReview.", none},
      {"no section: appended, with a warning", T + "## Scope\n- s\n", P,
       T + "## Scope\n- s\n\n\n## Anti-patterns\n\n- a1\n- a2\n\nYou are X.\n\n\n\nReview.", no_section},
      {"no section and no block: no warning", T + "## Scope\n", "p", T + "## Scope\n\n\np", none},
      {"heading right before the next one", T + "## Anti-patterns\n## Next\n", P,
       T + "## Anti-patterns\n\n- a1\n- a2\n\n## Next\n\n\nYou are X.\n\n\n\nReview.", none},
      {"a level-three heading opens the section", T + "### Anti-patterns\n- g\n## N\n", BLOCK,
       T + "### Anti-patterns\n- g\n\n- a\n\n## N\n\n\n", none},
      {"sub-headings, ##Next and inner ## end nothing", T + "## Anti-patterns\n### S\n##N\nx ## y\n## E\n", BLOCK,
       T + "## Anti-patterns\n### S\n##N\nx ## y\n\n- a\n\n## E\n\n\n", none},
      {"a heading glued to the section title is no line start", T + "## Anti-patterns## X\n", BLOCK,
       T + "## Anti-patterns## X\n\n- a\n\n\n\n", none},
      {"header suffix and blank lines go, indentation stays", D, "x <!-- ANTI-PATTERNS-SEC \n  \n  - a\n--> y",
       HEAD + "\n  - a\n\n" + TAIL + "\n\nx  y", none},
      {"a header with a colon stays", D, "x <!-- ANTI-PATTERNS:\n- a\n--> y",
       HEAD + "\nANTI-PATTERNS:\n- a\n\n" + TAIL + "\n\nx  y", none},
      {"a header that ends the block stays", D, "<!-- ANTI-PATTERNS -->",
       HEAD + "\nANTI-PATTERNS\n\n" + TAIL + "\n\n", none},
      {"the header word is case-sensitive", D, "x <!-- anti-patterns\n- a\n--> y",
       D + "\n\nx <!-- anti-patterns\n- a\n--> y", none},
      {"only the first block is used, other comments stay", D,
       "x <!-- note --> y <!--ANTI-PATTERNS\n- a\n--> z <!-- ANTI-PATTERNS\n- b\n-->",
       HEAD + "\n- a\n\n" + TAIL + "\n\nx <!-- note --> y  z <!-- ANTI-PATTERNS\n- b\n-->", none},
      {"an item holding --> ends the block there", D, "x <!-- ANTI-PATTERNS\n- use <!-- c --> here\n--> y",
       HEAD + "\n- use <!-- c\n\n" + TAIL + "\n\nx  here\n--> y", none},
      {"an unclosed first opener runs to the first closer", D, "<!-- ANTI-PATTERNS\n- a\n" + BLOCK + " z",
       HEAD + "\n- a\n<!-- ANTI-PATTERNS\n- a\n\n" + TAIL + "\n\n z", none},
      {"information separator before the header word", D, "<!-- n\n<!--\x1E" "ANTI-PATTERNS\n- a\n-->",
       HEAD + "\n- a\n\n" + TAIL + "\n\n<!-- n\n", none},
      // clang-format on
  };
  for (const auto& c : cases) {
    EXPECT_EQ(merge(c.prompt, document(c.document)), std::pair(c.expected, c.warnings)) << c.name;
  }
}

TEST_F(GuardRails, UnusableDocumentLeavesThePromptAlone) {
  fs::create_directory(tmp_ / "dir");
  fs::create_symlink(tmp_ / "nowhere", tmp_ / "dangling");
  fs::create_symlink(tmp_ / "loop", tmp_ / "loop");
  tmp_.write("latin1", "# Guard Rails\xFF\n");
  const auto missing = [](const fs::path& p) {
    return "[tessik]     guard_rails.md missing at " + path_text(p) +
           " — reviewer prompts will not include guard rails";
  };
  const struct {
    const char* name;
    fs::path path;
    std::string warning_start;  // the whole warning, or its start up to the description
  } cases[] = {
      {"absent", tmp_ / "absent.md", missing(tmp_ / "absent.md")},
      {"a dangling link is absent", tmp_ / "dangling", missing(tmp_ / "dangling")},
      {"a link loop is absent", tmp_ / "loop", missing(tmp_ / "loop")},
      {"below a regular file is absent", tmp_ / "latin1" / "x", missing(tmp_ / "latin1" / "x")},
      {"not UTF-8", tmp_ / "latin1",
       "[tessik]     failed to read guard_rails.md (UnicodeDecodeError): "},
      {"a directory", tmp_ / "dir",
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
  document(T);
  EXPECT_EQ(detail::prepend_guard_rails("p", doc), T + "\n\np");
}

// Each opener lacks a closer (the '>' defeats the engine's required-character
// shortcut); a rescan from every opener would take minutes here.
TEST_F(GuardRails, UnclosedOpenersStayLinear) {
  std::string prompt;
  for (int i = 0; i < 100'000; ++i) prompt += "<!-- ANTI-PATTERNS\n- a -> b\n";
  EXPECT_EQ(merge(prompt, document(D)).first, D + "\n\n" + prompt);
}

}  // namespace
}  // namespace tessik
