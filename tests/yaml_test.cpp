// YAML text to Value: scalars, tags, merges and aliases, the errors and their
// positions, where each loaded node stands, and the size limits.
#include <tessik/foundation/detail/yaml_compose.hpp>
#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/text.hpp>
#include <tessik/foundation/yaml.hpp>

#include <cmath>
#include <cstdio>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "failure.hpp"

namespace tessik {

static void PrintTo(const TextPosition& at, std::ostream* os) {
  *os << at.line << ":" << at.column;
}

namespace {

// Loads `text` and returns the YamlError message, or "" when it loads.
std::string error_of(const std::string& text) {
  try {
    load_yaml(text);
  } catch (const YamlError& e) {
    return e.what();
  }
  return "";
}

// Each text and the repr() of what it loads to: repr spells the kind (1 and
// 1.0 differ, text is quoted) and keeps the order of mapping keys.
TEST(LoadYaml, ResolvesScalarsTagsMergesAndAliases) {
  const struct {
    const char* name;
    std::string text;
    const char* repr;
  } kCases[] = {
      {"tilde is null", "~", "None"},
      {"capitalised null", "Null", "None"},
      {"empty document is null", "", "None"},
      {"mixed-case null is text", "nULL", "'nULL'"},
      {"no is false", "no", "False"},
      {"off is false", "off", "False"},
      {"capitalised On", "On", "True"},
      {"upper YES", "YES", "True"},
      {"mixed-case yEs is text", "yEs", "'yEs'"},
      {"y is not a boolean", "y", "'y'"},
      {"n is not a boolean", "n", "'n'"},
      {"decimal int", "42", "42"},
      {"plus sign", "+1", "1"},
      {"minus zero is int 0", "-0", "0"},
      {"underscores anywhere after the first digit", "1__0_", "10"},
      {"underscore first in hex", "0x_1F", "31"},
      {"leading underscore is text", "_1", "'_1'"},
      {"upper 0X is text", "0X1F", "'0X1F'"},
      {"binary", "0b101", "5"},
      {"leading zero is octal", "017", "15"},
      {"08 is not octal", "08", "'08'"},
      {"0o is not YAML 1.1", "0o17", "'0o17'"},
      {"base 60", "1:30", "90"},
      {"base 60, three parts", "1:00:05", "3605"},
      {"base 60 part above 59", "1:60", "'1:60'"},
      {"base 60 int may not start with 0", "0:30", "'0:30'"},
      {"int64 max", "9223372036854775807", "9223372036854775807"},
      {"int64 min", "-9223372036854775808", "-9223372036854775808"},
      {"float with point", "1.0", "1.0"},
      {"float exponent with sign", "1.0e+3", "1000.0"},
      {"exponent without sign, with point", "1.0e3", "'1.0e3'"},
      {"point first", ".5", "0.5"},
      {"signed point first", "-.5", "-0.5"},
      {"trailing point", "1.", "1.0"},
      {"lone point is text", ".", "'.'"},
      {"base 60 float", "1:30.5", "90.5"},
      {"inf", ".inf", "inf"},
      {"negative Inf", "-.Inf", "-inf"},
      {"plus INF", "+.INF", "inf"},
      {"nan", ".NaN", "nan"},
      {"signed nan is text", "-.nan", "'-.nan'"},
      {"huge float is inf", "1.0e+999", "inf"},
      {"underscores in the mantissa", "1_0._5", "10.5"},
      {"underscore in the exponent is text", "1.0e+1_0", "'1.0e+1_0'"},
      {"date stays text", "2025-01-31", "'2025-01-31'"},
      {"single-quoted yes is text", "'yes'", "'yes'"},
      {"block scalar is text", "|\n  no\n", "'no\\n'"},
      {"multi-line plain scalar is folded", "a\n b", "'a b'"},
      {"!!str keeps digits", "!!str 123", "'123'"},
      {"!!int reads quoted text", "!!int \"12\"", "12"},
      {"!!float of an int is a double", "!!float 1", "1.0"},
      {"!!float accepts an unsigned exponent", "!!float 1e3", "1000.0"},
      {"!!float of hex", "!!float 0x10", "16.0"},
      {"!!bool reads quoted text", "!!bool 'yes'", "True"},
      {"!!null of empty", "!!null ''", "None"},
      {"verbatim standard tag", "!<tag:yaml.org,2002:str> 5", "'5'"},
      {"non-specific tag gives text", "! 12", "'12'"},
      {"!!seq", "!!seq [a]", "['a']"},
      {"!!map", "!!map {a: 1}", "{'a': 1}"},
      {"smallest 64-bit hex", "-0x8000000000000000", "-9223372036854775808"},
      {"a quoted << is a plain key", "\"<<\": 1", "{'<<': 1}"},
      {"explicit document start", "---\na: 1\n", "{'a': 1}"},
      {"explicit document end", "a: 1\n...\n", "{'a': 1}"},
      {"a comment alone is null", "# only a comment\n", "None"},
      {"byte-order mark is skipped", "\xEF\xBB\xBF" + std::string("a: 1"), "{'a': 1}"},
      {"a repeated key keeps its first position and last value", "a: 1\nb: 2\na: 3\n",
       "{'a': 3, 'b': 2}"},
      {"an alias takes the latest anchor", "a: &x {k: [1, 2]}\nb: *x\nc: &x 5\nd: *x\n",
       "{'a': {'k': [1, 2]}, 'b': {'k': [1, 2]}, 'c': 5, 'd': 5}"},
      {"a merge key: the mapping's own entry wins", "base: &b {a: 1, b: 2}\nx:\n  b: 3\n  <<: *b\n",
       "{'base': {'a': 1, 'b': 2}, 'x': {'a': 1, 'b': 3}}"},
      {"a merge key: the earlier mapping wins", "<<: [{a: 1}, {a: 2, b: 2}]\nc: 3\n",
       "{'a': 1, 'b': 2, 'c': 3}"},
      {"merges nest and leave their source alone",
       "a: &a {k: 1, j: 1}\nb: &b {<<: *a, k: 2}\nc: {<<: *b}\n",
       "{'a': {'k': 1, 'j': 1}, 'b': {'k': 2, 'j': 1}, 'c': {'k': 2, 'j': 1}}"},
      {"NaN keys load as two keys", ".nan: 1\n.NaN: 2\na: 3\n", "{nan: 1, nan: 2, 'a': 3}"},
  };
  for (const auto& c : kCases) EXPECT_EQ(repr(load_yaml(c.text)), c.repr) << c.name;
  // A NaN key equals nothing, not even itself.
  EXPECT_EQ(load_yaml(".nan: 1\n").as_mapping().find(Value(std::nan(""))), nullptr);
}

TEST(LoadYaml, ErrorsNameTheCauseAndPosition) {
  const auto unsupported = [](const std::string& tag, int column) {
    return "unsupported YAML tag '" + tag +
           "' (only !!str, !!int, !!float, !!bool, !!null, !!seq and !!map are allowed) at line "
           "1, column " +
           std::to_string(column);
  };
  const std::string merge_needs = "a merge key '<<' needs a mapping or a sequence of mappings";
  const struct {
    std::string text, message;
  } kCases[] = {
      {"!!binary aGk=", unsupported("!!binary", 1)},
      {"a: !!set {x}", unsupported("!!set", 4)},
      {"- !custom x", unsupported("!custom", 3)},
      {"!!int abc", "cannot read 'abc' as an integer (tag '!!int') at line 1, column 1"},
      {"!!bool maybe", "cannot read 'maybe' as a boolean (tag '!!bool') at line 1, column 1"},
      {"!!str [a]", "tag '!!str' cannot be applied to a sequence at line 1, column 1"},
      {"!!seq a", "tag '!!seq' cannot be applied to a scalar at line 1, column 1"},
      {"!!map [a]", "tag '!!map' cannot be applied to a sequence at line 1, column 1"},
      {"n: 9223372036854775808",
       "integer '9223372036854775808' does not fit in 64 bits at line 1, column 4"},
      {"n: -0x8000000000000001",
       "integer '-0x8000000000000001' does not fit in 64 bits at line 1, column 4"},
      {"a: 1\n<<: 2", merge_needs + " at line 2, column 5"},
      {"<<: [{a: 1}, x]", merge_needs + " at line 1, column 5"},
      {"a: *nope", "found undefined alias '*nope' at line 1, column 4"},
      {"&a [1, *a]", "alias '*a' refers to a collection that contains it at line 1, column 8"},
      {"? [a]\n: 1",
       "a sequence cannot be a mapping key; keys must be scalars at line 1, column 3"},
      {"x: &m {a: 1}\n*m : 2",
       "a mapping cannot be a mapping key; keys must be scalars at line 2, column 1"},
      {"a: 1\n---\nb: 2\n",
       "expected a single YAML document, but found the start of another at line 2, column 1"},
      {"\xEF\xBB\xBF" + std::string("a: b: c"),
       "mapping values are not allowed in this context at line 1, column 5"},
      {"a: 1\nb: c: d", "mapping values are not allowed in this context at line 2, column 5"},
      {"a: [1, 2\nb: 3",
       "did not find expected ',' or ']' at line 2, column 2 (while parsing a flow sequence at "
       "line 1, column 4)"},
      {"a: \"\x01\"", "control characters are not allowed (0x01) at line 1, column 5"},
      {"a: \xFF", "invalid leading UTF-8 octet (0xFF) at line 1, column 4"},
      {"%YAML 2.0\n--- a", "found incompatible YAML document at line 1, column 1"},
      {"a: [1\n",
       "did not find expected ',' or ']' at line 2, column 1 (while parsing a flow sequence at "
       "line 1, column 4)"},
      {"[a]: 1\n", "a sequence cannot be a mapping key; keys must be scalars at line 1, column 1"},
      {"a: \x01\n", "control characters are not allowed (0x01) at line 1, column 4"},
  };
  for (const auto& c : kCases) {
    const testing::Failure f = testing::failure_of([&] { load_yaml(c.text); });
    EXPECT_EQ(f.kind, "YAMLError") << c.text;
    EXPECT_EQ(f.message, c.message) << c.text;
    // The position is the first one the message names; a document that
    // starts at line 10 of its file moves it, not the message.
    std::size_t line = 0, column = 0;
    std::sscanf(f.message.c_str() + f.message.find(" at line "), " at line %zu, column %zu", &line,
                &column);
    EXPECT_EQ(f.at, (TextPosition{line, column})) << c.text;
    const testing::Failure offset = testing::failure_of([&] { load_yaml_document(c.text, 10); });
    EXPECT_EQ(offset.message, f.message) << c.text;
    EXPECT_EQ(offset.at, (TextPosition{line + 9, column})) << c.text;
  }
  EXPECT_NE(error_of("a: 1\n---\n"), "") << "an empty second document is still a second one";
}

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

std::string repeat(const std::string& s, std::size_t n) {
  std::string out;
  out.reserve(s.size() * n);
  for (std::size_t i = 0; i < n; ++i) out += s;
  return out;
}

TEST(LoadYamlLimits, Depth) {
  const std::size_t max = kYamlMaxDepth;
  const Value deep = load_yaml(repeat("[", max) + repeat("]", max));
  EXPECT_TRUE(deep.is_sequence());
  EXPECT_EQ(error_of(repeat("[", max + 1) + repeat("]", max + 1)),
            "YAML nesting exceeds the limit of 512 levels at line 1, column 513");

  // An alias counts at its full height where it stands: the anchored list
  // is max - 1 deep inside the top-level list, the alias one level deeper.
  const std::string anchored = "- &x " + repeat("[", max - 1) + repeat("]", max - 1) + "\n";
  EXPECT_TRUE(load_yaml(anchored + "- *x\n").is_sequence());
  EXPECT_EQ(error_of(anchored + "- [*x]\n"),
            "YAML nesting exceeds the limit of 512 levels at line 2, column 4");
}

// A flat list holding an anchored list of 1,000 nodes, aliases to it and
// padding scalars, expanding to exactly `nodes` nodes.
std::string document_of_nodes(std::size_t nodes) {
  const std::size_t anchored = 1000;  // the list and its 999 items
  const std::size_t aliases = (nodes - 1 - anchored) / anchored - 1;
  const std::size_t padding = nodes - 1 - anchored - aliases * anchored;
  return "[&a [" + repeat("0,", anchored - 2) + "0]," + repeat("*a,", aliases) +
         repeat("0,", padding - 1) + "0]";
}

// At the limit the document is only composed: the limits are enforced while
// composing, and building a million-node tree would merely test the
// allocator.
TEST(LoadYamlLimits, NodesCountAliasesAtTheirExpandedSize) {
  const detail::YamlGraph at_limit = detail::compose_yaml(document_of_nodes(kYamlMaxNodes));
  EXPECT_EQ(at_limit.nodes[*at_limit.root].nodes, kYamlMaxNodes);
  const std::string past = document_of_nodes(kYamlMaxNodes + 1);
  EXPECT_EQ(error_of(past),
            "YAML document exceeds the limit of 1000000 nodes (an alias counts every node it "
            "repeats) at line 1, column " +
                std::to_string(past.size() - 1));

  std::string bomb = "a: &a [lol, lol, lol, lol, lol, lol, lol, lol, lol]\n";
  for (char c = 'b'; c <= 'j'; ++c) {
    const std::string name(1, c), prev(1, static_cast<char>(c - 1));
    bomb += name + ": &" + name + " [" + repeat("*" + prev + ", ", 8) + "*" + prev + "]\n";
  }
  EXPECT_EQ(error_of(bomb),
            "YAML document exceeds the limit of 1000000 nodes (an alias counts every node it "
            "repeats) at line 7, column 8");
}

TEST(LoadYamlLimits, ScalarTextCountsAliasesAtTheirExpandedSize) {
  const std::size_t copies = 4096;
  const std::string head = "[&s " + std::string(kYamlMaxScalarBytes / copies, 'x');
  const detail::YamlGraph at_limit = detail::compose_yaml(head + repeat(", *s", copies - 1) + "]");
  EXPECT_EQ(at_limit.nodes[*at_limit.root].text, kYamlMaxScalarBytes);
  EXPECT_EQ(error_of(head + repeat(", *s", copies) + "]"),
            "YAML document exceeds the limit of 67108864 bytes of scalar text (an alias counts all "
            "the text it repeats) at line 1, column " +
                std::to_string(head.size() + (copies - 1) * 4 + 3));
  // Building copies what the aliases repeat.
  const Value built = load_yaml(head + repeat(", *s", 3) + "]");
  EXPECT_EQ(built.as_sequence().size(), 4u);
  EXPECT_EQ(built.as_sequence()[3], built.as_sequence()[0]);
}

TEST(LoadYamlLimits, InputSize) {
  const std::string at_limit = "# " + std::string(kYamlMaxInputBytes - 2, 'x');
  EXPECT_TRUE(load_yaml(at_limit).is_null());
  EXPECT_EQ(error_of(at_limit + "x"),
            "YAML text of 8388609 bytes exceeds the limit of 8388608 bytes");
}

}  // namespace
}  // namespace tessik
