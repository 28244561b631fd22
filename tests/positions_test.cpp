// Where loaded YAML nodes and definition failures stand in their files, and
// the wording of the messages that are ours.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <tessik/agent_loader/definitions/parsers.hpp>
#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/text.hpp>
#include <tessik/foundation/value.hpp>
#include <tessik/foundation/yaml.hpp>

#include "failure.hpp"
#include "temp_dir.hpp"

namespace tessik {

void PrintTo(const TextPosition& at, std::ostream* os) { *os << at.line << ":" << at.column; }

namespace {

using testing::TempDir;

// The place reached from the document root by `path`: text keys of
// mappings or, as "[i]", indices of sequences.
const YamlPlace* place_at(const YamlDocument& doc, const std::vector<std::string>& path) {
  const Value* value = &doc.value;
  const YamlPlace* place = &doc.place;
  for (const std::string& step : path) {
    if (step.starts_with("[")) {
      const std::size_t i = std::stoul(step.substr(1));
      if (!value->is_sequence() || i >= place->children.size()) return nullptr;
      value = &value->as_sequence()[i];
      place = &place->children[i];
    } else {
      place = find_place(*value, *place, step);
      if (place == nullptr) return nullptr;
      value = value->as_mapping().find(std::string_view(step));
    }
  }
  return place;
}

TEST(YamlPlaces, KeysAndValuesStandWhereTheyAreWritten) {
  const struct {
    std::string text;
    std::size_t first_line;
    std::vector<std::string> path;
    TextPosition key, value;
  } cases[] = {
      {"a: 1\nb: [x, y]\n", 1, {"a"}, {1, 1}, {1, 4}},
      {"a: 1\nb: [x, y]\n", 1, {"b"}, {2, 1}, {2, 4}},
      {"a: 1\nb: [x, y]\n", 1, {"b", "[1]"}, {2, 8}, {2, 8}},
      {"a: 1\nb: [x, y]\n", 5, {"b", "[1]"}, {6, 8}, {6, 8}},
      {"list:\n  - one\n  - two\n", 1, {"list", "[1]"}, {3, 5}, {3, 5}},
      {"list:\n  - one\n", 1, {"list"}, {1, 1}, {2, 3}},
      // A repeated key keeps its first key and takes its last value.
      {"a: 1\nb: 2\na: 3\n", 1, {"a"}, {1, 1}, {3, 4}},
      // An alias stands where it is written; what it repeats, at the anchor.
      {"a: &x {k: 1}\nb: *x\n", 1, {"b"}, {2, 1}, {2, 4}},
      {"a: &x {k: 1}\nb: *x\n", 1, {"b", "k"}, {1, 8}, {1, 11}},
      // A merged entry stands where the merged mapping wrote it; an entry
      // that overrides it stands where it is written.
      {"base: &b\n  x: 1\n  y: 2\nc:\n  <<: *b\n  y: 3\n", 1, {"c", "x"}, {2, 3}, {2, 6}},
      {"base: &b\n  x: 1\n  y: 2\nc:\n  <<: *b\n  y: 3\n", 1, {"c", "y"}, {6, 3}, {6, 6}},
      {"m:\n  <<: [{p: 1}, {p: 2, q: 3}]\n", 1, {"m", "q"}, {2, 23}, {2, 26}},
      {"m:\n  <<: [{p: 1}, {p: 2, q: 3}]\n", 1, {"m", "p"}, {2, 9}, {2, 12}},
      // Columns count characters; a byte-order mark is not one of them.
      {"\u00e9t\u00e9: \u00fc\n", 1, {"\u00e9t\u00e9"}, {1, 1}, {1, 6}},
      {"\xEF\xBB\xBFk: v\n", 1, {"k"}, {1, 1}, {1, 4}},
      {"---\nk: 'quoted'\n", 1, {"k"}, {2, 1}, {2, 4}},
  };
  for (const auto& c : cases) {
    const YamlDocument doc = load_yaml_document(c.text, c.first_line);
    EXPECT_EQ(doc.value, load_yaml(c.text)) << c.text;
    const YamlPlace* place = place_at(doc, c.path);
    ASSERT_NE(place, nullptr) << c.text << " " << ::testing::PrintToString(c.path);
    EXPECT_EQ(place->key, c.key) << c.text << " " << ::testing::PrintToString(c.path);
    EXPECT_EQ(place->value, c.value) << c.text << " " << ::testing::PrintToString(c.path);
  }
}

TEST(YamlPlaces, EveryCollectionHasOnePlacePerChild) {
  const YamlDocument doc =
      load_yaml_document("a: &a [1, {k: v}]\nb: [*a, *a]\nc:\n  <<: {z: 1}\n  z: 2\n");
  std::vector<std::pair<const Value*, const YamlPlace*>> todo{{&doc.value, &doc.place}};
  while (!todo.empty()) {
    const auto [value, place] = todo.back();
    todo.pop_back();
    if (value->is_sequence()) {
      ASSERT_EQ(place->children.size(), value->as_sequence().size());
      for (std::size_t i = 0; i < place->children.size(); ++i) {
        todo.emplace_back(&value->as_sequence()[i], &place->children[i]);
      }
    } else if (value->is_mapping()) {
      ASSERT_EQ(place->children.size(), value->as_mapping().size());
      std::size_t i = 0;
      for (const auto& entry : value->as_mapping())
        todo.emplace_back(&entry.second, &place->children[i++]);
    } else {
      EXPECT_TRUE(place->children.empty());
    }
  }
}

TEST(DefinitionFailures, NameTheKeyTheValueAndWhereItStands) {
  TempDir dir;
  const struct {
    std::string file, text, kind, message;  // "@" in the message stands for the file's path
    std::optional<TextPosition> at;
  } cases[] = {
      {"a.yaml", "name: a\nmax_tool_iterations: five\n", "ValueError",
       "Agent definition key 'max_tool_iterations' in @: expected an integer, got the text 'five'",
       TextPosition{2, 22}},
      {"b.md", "---\n\nname: b\nfocus_areas: null\n---\nBody\n", "TypeError",
       "Agent definition key 'focus_areas' in @: expected a list of texts, got null",
       TextPosition{4, 14}},
      {"c.yaml", "name: 42\n", "TypeError",
       "Agent definition key 'name' in @: expected a text, got the integer 42", TextPosition{1, 7}},
      {"d.yaml", "name: ''\n", "ValueError", "Agent definition missing required 'name' field in @",
       TextPosition{1, 7}},
      {"e.yaml", "role: r\n", "ValueError", "Agent definition missing required 'name' field in @",
       std::nullopt},
      {"f.yaml", "- a\n- b\n", "TypeError",
       "Agent definition @: expected a mapping of definition keys, got a list of 2 items",
       TextPosition{1, 1}},
      {"corvin.yaml", "name: corvin\nsystem_prompt: [a]\n", "TypeError",
       "Agent definition key 'system_prompt' in @: the built-in agent 'corvin' needs a text to put "
       "the guard rails in front of, got a list of 1 item",
       TextPosition{2, 16}},
      {"g.md", "---\nname: g\nrole: [\n---\nBody\n", "YAMLError", "", TextPosition{4, 1}},
      {"h.yaml", "name: h\r\nversion: 1\r\nmax_tool_iterations: {}\r\n", "TypeError",
       "Agent definition key 'max_tool_iterations' in @: expected an integer, got a mapping of 0 "
       "keys",
       TextPosition{3, 22}},
      {"i.yaml", "name: i\n\xFF\n", "UnicodeDecodeError",
       "@ is not valid UTF-8: byte 0xFF at offset 8", TextPosition{2, 1}},
      {"j.yaml", "name: j\r\n\r\xC3\xA9\xE2\x82\n", "UnicodeDecodeError",
       "@ is not valid UTF-8: bytes 0xE2 0x82 at offset 12", TextPosition{3, 2}},
  };
  for (const auto& c : cases) {
    const std::filesystem::path file = dir.write(c.file, c.text);
    const testing::Failure f = testing::failure_of([&] { load_agent_definition(file); });
    EXPECT_EQ(f.kind, c.kind) << c.file << ": " << f.message;
    if (!c.message.empty()) {
      std::string expected = c.message;
      expected.replace(expected.find('@'), 1, file.string());
      EXPECT_EQ(f.message, expected) << c.file;
    }
    EXPECT_EQ(f.at, c.at) << c.file << ": " << f.message;
  }
}

}  // namespace
}  // namespace tessik
