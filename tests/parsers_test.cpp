#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <tessik/agent_loader/front_matter.hpp>
#include <tessik/agent_loader/guard_rails.hpp>
#include <tessik/agent_loader/parsers.hpp>
#include <tessik/errors.hpp>
#include <tessik/logging_channels.hpp>
#include <tessik/text.hpp>

namespace tessik {
namespace {

namespace fs = std::filesystem;

struct Split {
  const char* name;
  std::string text;
  std::optional<std::pair<std::string, std::string>> expected;  // front-matter, body
};

TEST(FrontMatter, SplitsAtTheDelimiterLines) {
  using P = std::pair<std::string, std::string>;
  const Split cases[] = {
      {"plain file", "---\nname: x\n---\nCheck.\n", P{"name: x", "Check.\n"}},
      {"a second --- line belongs to the body", "---\na: 1\n---\nbody\n---\nmore\n",
       P{"a: 1", "body\n---\nmore\n"}},
      {"four dashes close nothing", "---\na: 1\n----\nb\n---\nc", P{"a: 1\n----\nb", "c"}},
      {"closing line without a line end", "---\na: 1\n---", std::nullopt},
      {"byte-order mark before the dashes", "\xEF\xBB\xBF---\na: 1\n---\nb\n", std::nullopt},
      {"blank first line", "\n---\na: 1\n---\nb\n", std::nullopt},
      {"dashes followed by text", "---name: x\na: 1\n---\nb\n", std::nullopt},
      {"delimiters back to back", "---\n---\nbody\n", std::nullopt},
      {"one empty line between delimiters", "---\n\n---\nbody\n", P{"", "body\n"}},
      {"blank lines after delimiters are swallowed, indentation is not",
       "---\n\n\n  a: 1\n---\n\n\n  body\n", P{"  a: 1", "  body\n"}},
      {"blanks after the dashes", "--- \t\na: 1\n---  \nb", P{"a: 1", "b"}},
      {"information separator after the dashes is white space", "---\x1C\na: 1\n---\x1F\nb",
       P{"a: 1", "b"}},
      {"non-ASCII white space after the dashes", "---\u00A0\na: 1\n---\u2028\u3000\nb",
       P{"a: 1", "b"}},
      {"the zero-width space is not white space", "---\u200B\na: 1\n---\nb", std::nullopt},
      {"empty body", "---\na: 1\n---\n", P{"a: 1", ""}},
  };
  for (const auto& c : cases) {
    const auto split = detail::split_front_matter(c.text);
    if (!c.expected) {
      EXPECT_FALSE(split) << c.name;
    } else if (!split) {
      ADD_FAILURE() << c.name << ": no front-matter found";
    } else {
      EXPECT_EQ(split->front_matter, c.expected->first) << c.name;
      EXPECT_EQ(split->body, c.expected->second) << c.name;
    }
  }
}

// Texts on which a backtracking engine would retry its lazy scan once per
// line: these must stay linear and never hit a match limit.
TEST(FrontMatter, LargeAndHostileTextsStayLinear) {
  const std::string blank_run = "---" + std::string(300'000, '\n') + "x" + std::string(100, 'y');
  EXPECT_FALSE(detail::split_front_matter(blank_run));

  // The blank run gives back its last line feed to the closing line.
  const std::string closer_after_blank_run = "---" + std::string(300'000, '\n') + "---\nbody";
  const auto split = detail::split_front_matter(closer_after_blank_run);
  ASSERT_TRUE(split);
  EXPECT_EQ(split->front_matter.size(), 0u);
  EXPECT_EQ(split->body, "body");

  const std::string big = "---\nk: " + std::string(MAX_DEFINITION_FILE_BYTES, 'v') + "\n---\nb";
  ASSERT_TRUE(detail::split_front_matter(big));
}

class DefinitionParsers : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string tmpl = (fs::temp_directory_path() / "tessik-parsers-XXXXXX").string();
    ASSERT_NE(mkdtemp(tmpl.data()), nullptr);
    dir_ = tmpl;
  }
  void TearDown() override { fs::remove_all(dir_); }

  fs::path write(const std::string& name, const std::string& bytes) {
    const fs::path p = dir_ / name;
    std::ofstream(p, std::ios::binary) << bytes;
    return p;
  }

  fs::path dir_;
};

TEST_F(DefinitionParsers, ClaimsFilesBySuffixAlone) {
  const YAMLAgentParser yaml;
  const MarkdownAgentParser markdown;
  struct Claim {
    const char* path;
    bool yaml, markdown;
  };
  const Claim cases[] = {
      {"a/x.yaml", true, false},  {"x.yml", true, false},         {"a.b.yml", true, false},
      {"x.md", false, true},      {"x.YAML", false, false},       {"x.Md", false, false},
      {".md", false, false},      {"notes.md.", false, false},    {"x.md.bak", false, false},
      {"dir/x.md/", false, true}, {"no/such/x.yml", true, false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(yaml.can_parse(c.path), c.yaml) << c.path;
    EXPECT_EQ(markdown.can_parse(c.path), c.markdown) << c.path;
  }
}

TEST_F(DefinitionParsers, MarkdownBodyBecomesThePromptOnlyWithoutTheKey) {
  struct Prompt {
    const char* name;
    std::string text;
    Value expected;
  };
  const Prompt cases[] = {
      {"body is the prompt", "---\nname: reviewer-x\n---\nCheck the diff.\n", "Check the diff."},
      {"CR LF line ends read like LF", "---\r\nname: reviewer-x\r\n---\r\nCheck\r\nit.\r\n",
       "Check\nit."},
      {"lone CR line ends read like LF", "---\rname: reviewer-x\r---\rCheck.\r", "Check."},
      {"the key wins over the body", "---\nname: r\nsystem_prompt: Short\n---\nLong.\n", "Short"},
      {"an empty key keeps the body out", "---\nname: r\nsystem_prompt: ''\n---\nLong.\n", ""},
      {"a null key keeps the body out", "---\nname: r\nsystem_prompt: ~\n---\nLong.\n", Value()},
      {"a blank body leaves the default", "---\nname: r\n---\n \n\t\u3000\n", ""},
      {"the body is trimmed of Unicode white space", "---\nname: r\n---\n\u2003 Do it. \u0085\n",
       "Do it."},
      {"a later --- line stays in the body", "---\nname: r\n---\nA\n---\nB\n", "A\n---\nB"},
  };
  for (const auto& c : cases) {
    const fs::path p = write("agent.md", c.text);
    EXPECT_EQ(load_agent_definition(p).system_prompt, c.expected) << c.name;
  }
}

TEST_F(DefinitionParsers, YamlDocumentsThatAreNoMappings) {
  struct Doc {
    const char* name;
    std::string text;
    std::string_view kind;
  };
  const Doc cases[] = {
      {"empty file is the empty mapping", "", "ValueError"},
      {"comments only", "# nothing\n", "ValueError"},
      {"false is the empty mapping", "false\n", "ValueError"},
      {"zero is the empty mapping", "0\n", "ValueError"},
      {"empty sequence is the empty mapping", "[]\n", "ValueError"},
      {"a sequence", "- a\n", "TypeError"},
      {"true", "true\n", "TypeError"},
      {"a number", "3\n", "TypeError"},
      {"a string", "reviewer\n", "TypeError"},
      {"two documents", "name: a\n---\nname: b\n", "YAMLError"},
  };
  for (const auto& c : cases) {
    const fs::path p = write("agent.yaml", c.text);
    try {
      load_agent_definition(p);
      ADD_FAILURE() << c.name << ": loaded";
    } catch (const Error& e) {
      EXPECT_EQ(e.class_name(), c.kind) << c.name << ": " << e.what();
      if (c.kind == "ValueError") {
        EXPECT_EQ(std::string(e.what()),
                  "Agent definition missing required 'name' field in " + path_text(p))
            << c.name;
      }
    }
  }
}

TEST_F(DefinitionParsers, YamlFilesLoad) {
  const fs::path plain = write("a.yml", "---\nname: r\nenabled: off\nversion: 1.10\n");
  const AgentDefinition def = load_agent_definition(plain);
  EXPECT_EQ(def.name, "r");
  EXPECT_FALSE(def.enabled);
  EXPECT_EQ(def.version, "1.1");

  const fs::path bom = write("b.yaml", "\xEF\xBB\xBFname: r\r\nrole: x\r\n");
  EXPECT_EQ(load_agent_definition(bom).role, "x");
}

TEST_F(DefinitionParsers, FileFailures) {
  fs::create_directory(dir_ / "dir.md");
  const fs::path too_big = write("big.yaml", "name: x\n");
  fs::resize_file(too_big, MAX_DEFINITION_FILE_BYTES + 1);
  struct Failure {
    const char* name;
    fs::path path;
    std::string_view kind;
    std::string message;  // exact when not empty
  };
  const Failure cases[] = {
      {"no parser for an upper-case suffix", "agents/Reviewer.YAML", "ValueError",
       "No parser for agent definition file: agents/Reviewer.YAML"},
      {"no parser keeps the path as passed", "./a//notes.txt", "ValueError",
       "No parser for agent definition file: ./a//notes.txt"},
      {"a missing .md file is claimed, then fails to read", dir_ / "none.md", "FileNotFoundError",
       ""},
      {"a directory named like a definition", dir_ / "dir.md", "IsADirectoryError", ""},
      {"a file over the size limit is refused", too_big, "ValueError", ""},
      {"invalid UTF-8", write("bad.yaml", "name: \xFF\n"), "UnicodeDecodeError", ""},
      {"markdown without front-matter", write("plain.md", "# Title\n"), "ValueError",
       "No YAML front-matter found in " + path_text(dir_ / "plain.md")},
      {"markdown front-matter that is a sequence", write("seq.md", "---\n- a\n---\nb\n"),
       "TypeError", ""},
      {"malformed YAML", write("bad.yml", "name: [a\n"), "YAMLError", ""},
  };
  for (const auto& c : cases) {
    try {
      load_agent_definition(c.path);
      ADD_FAILURE() << c.name << ": loaded";
    } catch (const Error& e) {
      EXPECT_EQ(e.class_name(), c.kind) << c.name << ": " << e.what();
      if (!c.message.empty()) {
        EXPECT_EQ(e.what(), c.message) << c.name;
      }
    }
  }
}

TEST_F(DefinitionParsers, DevicesAreNotRead) {
  fs::create_symlink("/dev/zero", dir_ / "zero.md");
  try {
    load_agent_definition(dir_ / "zero.md");
    ADD_FAILURE() << "loaded";
  } catch (const FileSystemError& e) {
    EXPECT_NE(std::string(e.what()).find("not a regular file"), std::string::npos) << e.what();
  }
}

TEST_F(DefinitionParsers, OnlyBuiltInNamesGetTheGuardRails) {
  const std::string prompt = "Review.\n\n<!-- ANTI-PATTERNS\n- a\n-->";
  // The prompt a definition named `name` ends up with, and whether the
  // guard-rails merge was attempted: either it changed the prompt or it
  // warned about the shared document (which this tree may not hold yet).
  const auto load = [&](const std::string& name) {
    ScopedLogCapture capture(Log::agent);
    std::string text = "---\nname: " + name + "\n---\n" + prompt + "\n";
    Value loaded = load_agent_definition(write(name + ".md", text)).system_prompt;
    const bool merged = loaded != Value(prompt) || !capture.messages().empty();
    return std::pair{loaded, merged};
  };
  const auto [corvin, corvin_merged] = load("corvin");
  EXPECT_TRUE(corvin_merged);
  EXPECT_EQ(corvin, detail::prepend_guard_rails(prompt));
  for (const char* other : {"Corvin", "my-reviewer", "'corvin '"}) {
    const auto [loaded, merged] = load(other);
    EXPECT_FALSE(merged) << other;
    EXPECT_EQ(loaded, prompt) << other;
  }

  try {
    load_agent_definition(write("w.yaml", "name: wynn\nsystem_prompt: 3\n"));
    ADD_FAILURE() << "loaded";
  } catch (const TypeError& e) {
    EXPECT_NE(std::string(e.what()).find("'system_prompt'"), std::string::npos) << e.what();
  }
}

}  // namespace
}  // namespace tessik
