// Definition files: front-matter, parser choice, the record built from a
// file's keys, every way loading one fails, and the guard rails a built-in
// agent's prompt gets.
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <limits>
#include <optional>
#include <ostream>
#include <string>
#include <tessik/agent_loader/definitions/agent_definition.hpp>
#include <tessik/agent_loader/definitions/detail/dict_to_definition.hpp>
#include <tessik/agent_loader/definitions/detail/front_matter.hpp>
#include <tessik/agent_loader/definitions/detail/guard_rails.hpp>
#include <tessik/agent_loader/definitions/detail/parsers.hpp>
#include <tessik/agent_loader/definitions/parsers.hpp>
#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/limits.hpp>
#include <tessik/foundation/text.hpp>
#include <tessik/logging_channels.hpp>
#include <vector>

#include "failure.hpp"
#include "temp_dir.hpp"

namespace tessik {

static void PrintTo(const TextPosition& at, std::ostream* os) {
  *os << at.line << ":" << at.column;
}

namespace {

namespace fs = std::filesystem;
using Parts = std::pair<std::string, std::string>;  // front-matter, body

TEST(FrontMatter, SplitsAtTheDelimiterLines) {
  const struct {
    const char* name;
    std::string text;
    std::optional<Parts> expected;
  } cases[] = {
      {"a second --- line belongs to the body", "---\na: 1\n---\nb\n---\nc\n",
       Parts{"a: 1", "b\n---\nc\n"}},
      {"four dashes close nothing", "---\na: 1\n----\nb\n---\nc", Parts{"a: 1\n----\nb", "c"}},
      {"closing line without a line end", "---\na: 1\n---", std::nullopt},
      {"byte-order mark before the dashes", "\xEF\xBB\xBF---\na: 1\n---\nb\n", std::nullopt},
      {"blank first line", "\n---\na: 1\n---\nb\n", std::nullopt},
      {"dashes followed by text", "---name: x\n---\nb\n", std::nullopt},
      {"delimiters back to back", "---\n---\nbody\n", std::nullopt},
      {"one empty line between delimiters", "---\n\n---\nbody\n", Parts{"", "body\n"}},
      {"blank lines after delimiters go, indentation stays", "---\n\n  a: 1\n---\n\n\n  b\n",
       Parts{"  a: 1", "  b\n"}},
      {"information separators are white space", "--- \x1C\na: 1\n---\x1F\nb", Parts{"a: 1", "b"}},
      {"non-ASCII white space", "---\u00A0\na: 1\n---\u2028\nb", Parts{"a: 1", "b"}},
      {"the zero-width space is not white space", "---\u200B\na: 1\n---\nb", std::nullopt},
  };
  for (const auto& c : cases) {
    const auto split = detail::split_front_matter(c.text);
    ASSERT_EQ(split.has_value(), c.expected.has_value()) << c.name;
    if (split) {
      EXPECT_EQ(Parts(split->front_matter, split->body), *c.expected) << c.name;
    }
  }
}

// A backtracking engine would retry its lazy scan once per blank line here.
TEST(FrontMatter, BlankRunsStayLinear) {
  EXPECT_FALSE(detail::split_front_matter("---" + std::string(300'000, '\n') + "x"));
  // The blank run gives its last line feed back to the closing line.
  const std::string closed = "---" + std::string(300'000, '\n') + "---\nb";
  const auto split = detail::split_front_matter(closed);
  ASSERT_TRUE(split);
  EXPECT_EQ(Parts(split->front_matter, split->body), Parts("", "b"));
}

class DefinitionParsers : public ::testing::Test {
 protected:
  testing::TempDir tmp_;
};

TEST_F(DefinitionParsers, ClaimsFilesBySuffixAlone) {
  const YAMLAgentParser yaml;
  const MarkdownAgentParser markdown;
  for (const char* path : {"a/x.yaml", "x.yml", "a.b.yml", "no/such/x.yml"}) {
    EXPECT_TRUE(yaml.can_parse(path) && !markdown.can_parse(path)) << path;
  }
  EXPECT_TRUE(markdown.can_parse("x.md") && markdown.can_parse("dir/x.md/"));
  for (const char* path : {"x.YAML", "x.Md", ".md", "notes.md.", "x.md.bak"}) {
    EXPECT_FALSE(yaml.can_parse(path) || markdown.can_parse(path)) << path;
  }
}

TEST_F(DefinitionParsers, MarkdownBodyIsThePromptOnlyWithoutTheKey) {
  const struct {
    const char* name;
    std::string text;
    Value expected;
  } cases[] = {
      {"CR LF line ends read like LF", "---\r\nname: r\r\n---\r\nCheck\r\nit.\r\n", "Check\nit."},
      {"the key wins over the body", "---\nname: r\nsystem_prompt: Short\n---\nLong.\n", "Short"},
      {"an empty key keeps the body out", "---\nname: r\nsystem_prompt: ''\n---\nLong.\n", ""},
      {"a null key keeps the body out", "---\nname: r\nsystem_prompt: ~\n---\nLong.\n", Value()},
      {"a blank body leaves the default", "---\nname: r\n---\n \n\t\u3000\n", ""},
      {"the body is trimmed of Unicode white space", "---\nname: r\n---\n\u2003Do it.\u0085\n",
       "Do it."},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(load_agent_definition(tmp_.write("a.md", c.text)).system_prompt, c.expected)
        << c.name;
  }
  const AgentDefinition yaml =
      load_agent_definition(tmp_.write("a.yml", "---\nname: r\nenabled: off\n"));
  EXPECT_FALSE(yaml.enabled);
}

// Every way loading a file fails: the kind, the exact message ("@" stands for
// the tidied path; not checked when empty) and where the failure stands.
TEST_F(DefinitionParsers, FailuresNameTheKindTheKeyAndWhereTheyStand) {
  fs::create_directory(tmp_ / "dir.md");
  fs::create_symlink("/dev/zero", tmp_ / "zero.md");
  tmp_.write("d/x.md", "---\nrole: r\n---\nBody.\n");
  tmp_.write("d/y.yaml", "role: r\n");
  const std::string root = tmp_.path().native();
  const std::string no_name = "Agent definition missing required 'name' field in @";
  const std::string tidied = "Agent definition missing required 'name' field in " + root + "/d/";
  const std::string no_parser = "No parser for agent definition file: ";
  const struct {
    const char* name;
    fs::path path;
    std::string kind, message;
    std::optional<TextPosition> at;
  } cases[] = {
      {"no parser for an upper-case suffix, path as given", "./a//Reviewer.YAML", "ValueError",
       no_parser + "./a//Reviewer.YAML", std::nullopt},
      {"no parser for an untidy path, path as given", root + "/d//x.MD/", "ValueError",
       no_parser + root + "/d//x.MD/", std::nullopt},
      {"no parser for a trailing separator", root + "/d/x.txt/", "ValueError",
       no_parser + root + "/d/x.txt/", std::nullopt},
      {"an untidy .md path is tidied for reading and messages", root + "//d/./x.md/", "ValueError",
       tidied + "x.md", std::nullopt},
      {"an untidy .yaml path is tidied too", root + "/./d//y.yaml//", "ValueError",
       tidied + "y.yaml", std::nullopt},
      {"a missing .md file is claimed, then fails to read", tmp_ / "none.md", "FileNotFoundError",
       "", std::nullopt},
      {"a directory named like a definition", tmp_ / "dir.md", "IsADirectoryError", "",
       std::nullopt},
      {"a device is not read", tmp_ / "zero.md", "OSError", "", std::nullopt},
      {"markdown without front-matter", tmp_.write("plain.md", "# T\n"), "ValueError",
       "No YAML front-matter found in @", std::nullopt},
      {"an empty file is the empty mapping", tmp_.write("e.yaml", "# only\n"), "ValueError",
       no_name, std::nullopt},
      {"false is the empty mapping", tmp_.write("f.yaml", "false\n"), "ValueError", no_name,
       std::nullopt},
      {"true is no mapping", tmp_.write("t.yaml", "true\n"), "TypeError", "", TextPosition{1, 1}},
      {"a sequence front-matter is no mapping", tmp_.write("s.md", "---\n- a\n---\nb\n"),
       "TypeError", "", TextPosition{2, 1}},
      {"a list names its size", tmp_.write("l.yaml", "- a\n- b\n"), "TypeError",
       "Agent definition @: expected a mapping of definition keys, got a list of 2 items",
       TextPosition{1, 1}},
      {"a word for an integer", tmp_.write("a.yaml", "name: a\nmax_tool_iterations: five\n"),
       "ValueError",
       "Agent definition key 'max_tool_iterations' in @: expected an integer, got the text 'five'",
       TextPosition{2, 22}},
      {"null for a list, past a blank front-matter line",
       tmp_.write("b.md", "---\n\nname: b\nfocus_areas: null\n---\nBody\n"), "TypeError",
       "Agent definition key 'focus_areas' in @: expected a list of texts, got null",
       TextPosition{4, 14}},
      {"a number for the name", tmp_.write("c.yaml", "name: 42\n"), "TypeError",
       "Agent definition key 'name' in @: expected a text, got the integer 42", TextPosition{1, 7}},
      {"an empty name stands where it is written", tmp_.write("d.yaml", "name: ''\n"), "ValueError",
       no_name, TextPosition{1, 7}},
      {"an absent name stands nowhere", tmp_.write("n.yaml", "role: r\n"), "ValueError", no_name,
       std::nullopt},
      {"a built-in agent needs a text prompt",
       tmp_.write("corvin.yaml", "name: corvin\nsystem_prompt: [a]\n"), "TypeError",
       "Agent definition key 'system_prompt' in @: the built-in agent 'corvin' needs a text to put "
       "the guard rails in front of, got a list of 1 item",
       TextPosition{2, 16}},
      {"broken front-matter YAML stands in the file",
       tmp_.write("g.md", "---\nname: g\nrole: [\n---\nBody\n"), "YAMLError", "",
       TextPosition{4, 1}},
      {"CR LF line ends count one line each",
       tmp_.write("h.yaml", "name: h\r\nversion: 1\r\nmax_tool_iterations: {}\r\n"), "TypeError",
       "Agent definition key 'max_tool_iterations' in @: expected an integer, got a mapping of 0 "
       "keys",
       TextPosition{3, 22}},
      {"an invalid byte", tmp_.write("i.yaml", "name: i\n\xFF\n"), "UnicodeDecodeError",
       "@ is not valid UTF-8: byte 0xFF at offset 8", TextPosition{2, 1}},
      {"a cut-off character after a lone CR",
       tmp_.write("j.yaml", "name: j\r\n\r\xC3\xA9\xE2\x82\n"), "UnicodeDecodeError",
       "@ is not valid UTF-8: bytes 0xE2 0x82 at offset 12", TextPosition{3, 2}},
  };
  for (const auto& c : cases) {
    const testing::Failure f = testing::failure_of([&] { load_agent_definition(c.path); });
    EXPECT_EQ(f.kind, c.kind) << c.name << ": " << f.message;
    if (!c.message.empty()) {
      std::string expected = c.message;
      if (const auto at = expected.find('@'); at != std::string::npos) {
        expected.replace(at, 1, path_text(c.path));
      }
      EXPECT_EQ(f.message, expected) << c.name;
    }
    EXPECT_EQ(f.at, c.at) << c.name << ": " << f.message;
  }
  // The parsers tidy the path they are handed in the same way.
  EXPECT_EQ(testing::failure_of([&] { MarkdownAgentParser().parse(root + "/d/x.md/"); }).message,
            tidied + "x.md");
  EXPECT_EQ(testing::failure_of([&] { YAMLAgentParser().parse(root + "/d/y.yaml/"); }).message,
            tidied + "y.yaml");
}

TEST_F(DefinitionParsers, FileSizeLimit) {
  // A valid YAML definition padded with a comment to exactly `size` bytes.
  const auto padded = [&](std::size_t size) {
    return tmp_.write("padded.yaml", "name: padded\n#" + std::string(size - 15, 'x') + "\n");
  };
  EXPECT_EQ(load_agent_definition(padded(limits::kDefinitionFileBytes)).name, "padded");
  const auto [kind, message, at] =
      testing::failure_of([&] { load_agent_definition(padded(limits::kDefinitionFileBytes + 1)); });
  EXPECT_EQ(kind, "ValueError");
  EXPECT_NE(message.find(std::to_string(limits::kDefinitionFileBytes)), std::string::npos)
      << message;
}

TEST_F(DefinitionParsers, ANaNKeyIsIgnoredLikeAnyUnknownKey) {
  for (const auto& [file, text] : {std::pair{"n.yaml", "name: r\n.nan: 1\n.NaN: [x]\n"},
                                   std::pair{"n.md", "---\n.nan: 1\nname: r\n---\nP.\n"}}) {
    const AgentDefinition loaded = load_agent_definition(tmp_.write(file, text));
    EXPECT_EQ(loaded.name, "r") << file;
    EXPECT_TRUE(loaded.enabled) << file;
  }
}

TEST_F(DefinitionParsers, OnlyBuiltInNamesGetTheGuardRails) {
  const std::string prompt = "Review.\n\n<!-- ANTI-PATTERNS\n- a\n-->";
  // The prompt a definition named `name` ends up with, and whether the merge
  // was attempted: it changed the prompt or warned about a missing document.
  const auto load = [&](const std::string& name) {
    ScopedLogCapture capture(Log::agent);
    Value loaded =
        load_agent_definition(tmp_.write("a.md", "---\nname: " + name + "\n---\n" + prompt))
            .system_prompt;
    return std::pair{loaded, loaded != Value(prompt) || !capture.messages().empty()};
  };
  const auto [corvin, corvin_merged] = load("corvin");
  EXPECT_TRUE(corvin_merged);
  EXPECT_EQ(corvin, detail::prepend_guard_rails(prompt));
  for (const char* other : {"Corvin", "my-reviewer", "'corvin '"}) {
    EXPECT_EQ(load(other), std::pair(Value(prompt), false)) << other;
  }
}

using M = Value::Mapping;
using S = Value::Sequence;
// The text fields are move-assigned from std::string temporaries: assigning
// a literal inlines std::string's replace path, where GCC 12's optimiser
// raises a false -Wrestrict (GCC bug 105329).
using namespace std::string_literals;

// The record of {"name": "a"} with `change` applied. (Assignments, not
// designated initialisers: GCC 12 warns about the fields they leave out.)
AgentDefinition with(std::function<void(AgentDefinition&)> change) {
  AgentDefinition def;
  def.name = "a"s;
  def.display_name = "A";
  def.role = "";
  def.system_prompt = "";
  change(def);
  return def;
}

TEST(DefinitionRecord, AppliesDefaultsAndConversionsPerKey) {
  const struct {
    const char* name;
    Value data;
    AgentDefinition expected;
  } cases[] = {
      {"absent keys take their defaults", M{{"name", "code-quality"}}, with([](auto& d) {
         d.name = "code-quality"s;
         d.display_name = "Code-Quality";
       })},
      {"null display name is stored, not defaulted", M{{"name", "a"}, {"display_name", nullptr}},
       with([](auto& d) { d.display_name = nullptr; })},
      {"role, prompt and severity are stored unconverted",
       M{{"name", "a"}, {"role", 3}, {"system_prompt", S{"x"}}, {"severity_default", 2}},
       with([](auto& d) {
         d.role = 3;
         d.system_prompt = S{"x"};
         d.severity_default = 2;
       })},
      {"a string gives its code points", M{{"name", "a"}, {"focus_areas", "pé✓"}},
       with([](auto& d) {
         d.focus_areas = {"p", "é", "✓"};
       })},
      {"a mapping gives its keys, a sequence stays unconverted",
       M{{"name", "a"}, {"focus_areas", M{{"z", 1}, {"b", 2}}}, {"trigger_patterns", S{1, "x"}}},
       with([](auto& d) {
         d.focus_areas = {"z", "b"};
         d.trigger_patterns = {1, "x"};
       })},
      {"text form of expertise and version",
       M{{"name", "a"}, {"expertise", nullptr}, {"version", 2}}, with([](auto& d) {
         d.expertise = "None"s;
         d.version = "2"s;
       })},
      {"enabled null is false, not the default", M{{"name", "a"}, {"enabled", nullptr}},
       with([](auto& d) { d.enabled = false; })},
      {"enabled takes the truth value, not the word", M{{"name", "a"}, {"enabled", "false"}},
       with([](auto&) {})},
      {"iterations from a decimal string, negative kept",
       M{{"name", "a"}, {"max_tool_iterations", " -1_0 "}, {"colour", "ignored"}},
       with([](auto& d) { d.max_tool_iterations = -10; })},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(detail::dict_to_definition(c.data, "x.yaml"), c.expected) << c.name;
  }
}

TEST(DefinitionRecord, RejectsBadDataWithTheRightKind) {
  const std::string missing = "=Agent definition missing required 'name' field in src.md";
  const struct {
    const char* name;
    Value data;
    const char* source;
    std::string_view kind;  // class_name() of the failure
    std::string message;    // exact when it starts with "=", else a substring
  } cases[] = {
      {"zero name", M{{"name", 0}}, "src.md", "ValueError", missing},
      {"empty sequence name", M{{"name", S{}}}, "src.md", "ValueError", missing},
      {"no source leaves a trailing blank", M{{"name", nullptr}}, "", "ValueError",
       "=Agent definition missing required 'name' field in "},
      {"number name fails even with a display name", M{{"name", 42}, {"display_name", "X"}},
       "src.md", "TypeError", "'name'"},
      {"boolean trigger patterns", M{{"name", "a"}, {"trigger_patterns", true}}, "src.md",
       "TypeError", "'trigger_patterns'"},
      {"infinite iterations keep the overflow kind",
       M{{"name", "a"}, {"max_tool_iterations", std::numeric_limits<double>::infinity()}}, "src.md",
       "OverflowError", "'max_tool_iterations'"},
      {"data that is a sequence", S{"name"}, "src.md", "TypeError", "mapping"},
  };
  for (const auto& c : cases) {
    const auto [kind, message, at] =
        testing::failure_of([&] { detail::dict_to_definition(c.data, c.source); });
    EXPECT_EQ(kind, c.kind) << c.name << ": " << message;
    if (c.message.starts_with('=')) {
      EXPECT_EQ(message, c.message.substr(1)) << c.name;
    } else {
      EXPECT_NE(message.find(c.message), std::string::npos) << c.name << ": " << message;
    }
  }
}

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
