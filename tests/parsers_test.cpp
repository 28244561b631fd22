#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <tessik/agent_loader/definitions/detail/front_matter.hpp>
#include <tessik/agent_loader/definitions/detail/guard_rails.hpp>
#include <tessik/agent_loader/definitions/detail/parsers.hpp>
#include <tessik/agent_loader/definitions/parsers.hpp>
#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/limits.hpp>
#include <tessik/foundation/text.hpp>
#include <tessik/logging_channels.hpp>

#include "failure.hpp"
#include "temp_dir.hpp"

namespace tessik {
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

TEST_F(DefinitionParsers, FailuresKeepTheirKind) {
  fs::create_directory(tmp_ / "dir.md");
  fs::create_symlink("/dev/zero", tmp_ / "zero.md");
  const std::string no_name = "Agent definition missing required 'name' field in ";
  const struct {
    const char* name;
    fs::path path;
    std::string kind;
    std::string message;  // exact when not empty
  } cases[] = {
      {"no parser for an upper-case suffix, path as given", "./a//Reviewer.YAML", "ValueError",
       "No parser for agent definition file: ./a//Reviewer.YAML"},
      {"a missing .md file is claimed, then fails to read", tmp_ / "none.md", "FileNotFoundError",
       ""},
      {"a directory named like a definition", tmp_ / "dir.md", "IsADirectoryError", ""},
      {"a device is not read", tmp_ / "zero.md", "OSError", ""},
      {"markdown without front-matter", tmp_.write("plain.md", "# T\n"), "ValueError",
       "No YAML front-matter found in " + path_text(tmp_ / "plain.md")},
      {"an empty file is the empty mapping", tmp_.write("e.yaml", "# only\n"), "ValueError",
       no_name + path_text(tmp_ / "e.yaml")},
      {"false is the empty mapping", tmp_.write("f.yaml", "false\n"), "ValueError",
       no_name + path_text(tmp_ / "f.yaml")},
      {"true is no mapping", tmp_.write("t.yaml", "true\n"), "TypeError", ""},
      {"a sequence front-matter is no mapping", tmp_.write("s.md", "---\n- a\n---\nb\n"),
       "TypeError", ""},
  };
  for (const auto& c : cases) {
    const auto [kind, message, at] = testing::failure_of([&] { load_agent_definition(c.path); });
    EXPECT_EQ(kind, c.kind) << c.name << ": " << message;
    if (!c.message.empty()) {
      EXPECT_EQ(message, c.message) << c.name;
    }
  }
}

TEST_F(DefinitionParsers, AnUntidyPathIsTidiedOnceForChoiceReadingAndMessages) {
  tmp_.write("d/x.md", "---\nrole: r\n---\nBody.\n");
  tmp_.write("d/y.yaml", "role: r\n");
  const std::string root = tmp_.path().native();
  const std::string no_name = "Agent definition missing required 'name' field in ";
  const struct {
    std::string path;  // as the caller passes it
    std::string message;
  } cases[] = {
      {root + "/d/x.md/", no_name + root + "/d/x.md"},
      {root + "//d/./x.md", no_name + root + "/d/x.md"},
      {root + "/./d//y.yaml//", no_name + root + "/d/y.yaml"},
      {root + "/d/x.txt/", "No parser for agent definition file: " + root + "/d/x.txt/"},
      {root + "/d//x.MD/", "No parser for agent definition file: " + root + "/d//x.MD/"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(testing::failure_of([&] { load_agent_definition(c.path); }).message, c.message)
        << c.path;
  }
  // The parsers tidy the path they are handed in the same way.
  EXPECT_EQ(testing::failure_of([&] { MarkdownAgentParser().parse(root + "/d/x.md/"); }).message,
            no_name + root + "/d/x.md");
  EXPECT_EQ(testing::failure_of([&] { YAMLAgentParser().parse(root + "/d/y.yaml/"); }).message,
            no_name + root + "/d/y.yaml");
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

}  // namespace
}  // namespace tessik
