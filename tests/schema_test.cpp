// The JSON Schema of definition files against every shipped agent and the
// examples, with a validator for the keywords the schema uses (and a check
// that it uses no other).
#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include <tessik/agent_loader/definitions/detail/front_matter.hpp>
#include <tessik/foundation/json.hpp>
#include <tessik/foundation/text.hpp>
#include <tessik/foundation/yaml.hpp>

namespace tessik {
namespace {

namespace fs = std::filesystem;
const fs::path kSource = TESSIK_TEST_SOURCE_DIR;

bool has_type(const Value& v, const std::string& type) {
  if (type == "object") return v.is_mapping();
  if (type == "array") return v.is_sequence();
  if (type == "string") return v.is_string();
  if (type == "integer") return v.is_int();
  if (type == "number") return v.is_int() || v.is_float();
  if (type == "boolean") return v.is_bool();
  if (type == "null") return v.is_null();
  return false;
}

// The problems of `v` against `schema`, each prefixed with `where`.
void check(const Value& schema, const Value& v, const std::string& where,
           std::vector<std::string>& problems) {
  if (const Value* type = schema.find("type"); type && !has_type(v, type->as_string())) {
    problems.push_back(where + ": not of type " + type->as_string());
    return;
  }
  if (const Value* values = schema.find("enum")) {
    bool found = false;
    for (const Value& e : values->as_sequence()) found = found || e == v;
    if (!found) problems.push_back(where + ": not one of the enum");
  }
  if (const Value* min = schema.find("minLength");
      min && v.is_string() && v.as_string().size() < static_cast<std::size_t>(min->as_int())) {
    problems.push_back(where + ": shorter than minLength");
  }
  if (const Value* min = schema.find("minimum"); min && v.is_int() && v.as_int() < min->as_int()) {
    problems.push_back(where + ": below minimum");
  }
  if (const Value* items = schema.find("items"); items && v.is_sequence()) {
    for (std::size_t i = 0; i < v.as_sequence().size(); ++i) {
      check(*items, v.as_sequence()[i], where + "[" + std::to_string(i) + "]", problems);
    }
  }
  if (!v.is_mapping()) return;
  const Value* properties = schema.find("properties");
  if (const Value* required = schema.find("required")) {
    for (const Value& key : required->as_sequence()) {
      if (!v.as_mapping().contains(key)) problems.push_back(where + ": lacks " + key.as_string());
    }
  }
  for (const auto& [key, value] : v.as_mapping()) {
    const Value* sub = properties && key.is_string() ? properties->find(key.as_string()) : nullptr;
    if (sub != nullptr) {
      check(*sub, value, where + "." + key.as_string(), problems);
    } else if (const Value* extra = schema.find("additionalProperties");
               extra && *extra == Value(false)) {
      problems.push_back(where + ": unexpected key " + text_form(key));
    }
  }
}

Value definition_schema() {
  return parse_json(read_text_file(kSource / "schema/agent-definition.schema.json"));
}

// The definition mapping of a shipped file: a whole YAML file or a
// Markdown front-matter.
Value definition_data(const fs::path& file) {
  const std::string text = read_text_file(file);
  if (file.extension() == ".md") {
    const auto split = detail::split_front_matter(text);
    if (!split) throw std::runtime_error("no front-matter in " + file.string());
    return load_yaml(split->front_matter);
  }
  return load_yaml(text);
}

TEST(DefinitionSchema, UsesOnlyTheKeywordsCheckedHere) {
  const std::set<std::string> known{
      "$schema",    "title", "description", "type",      "required", "additionalProperties",
      "properties", "items", "enum",        "minLength", "minimum",  "default"};
  const Value schema = definition_schema();
  EXPECT_EQ(*schema.find("$schema"), Value("https://json-schema.org/draft/2020-12/schema"));
  std::vector<const Value*> todo{&schema};
  while (!todo.empty()) {
    const Value* s = todo.back();
    todo.pop_back();
    for (const auto& [key, value] : s->as_mapping()) {
      EXPECT_TRUE(known.contains(key.as_string())) << key.as_string();
      if (key == Value("properties")) {
        for (const auto& entry : value.as_mapping()) todo.push_back(&entry.second);
      } else if (key == Value("items")) {
        todo.push_back(&value);
      }
    }
  }
}

TEST(DefinitionSchema, ShippedAgentsAndExamplesConform) {
  const Value schema = definition_schema();
  std::size_t checked = 0;
  for (const char* folder : {"agents", "examples/agents"}) {
    for (const auto& entry : fs::directory_iterator(kSource / folder)) {
      const std::string ext = entry.path().extension().string();
      if (ext != ".md" && ext != ".yaml" && ext != ".yml") continue;
      std::vector<std::string> problems;
      check(schema, definition_data(entry.path()), entry.path().filename().string(), problems);
      EXPECT_TRUE(problems.empty()) << ::testing::PrintToString(problems);
      ++checked;
    }
  }
  EXPECT_GE(checked, 6u);
}

TEST(DefinitionSchema, FlagsTheTrapsTheLintsWarnAbout) {
  const Value schema = definition_schema();
  const struct {
    const char* yaml;
    std::size_t problems;
  } cases[] = {
      {"name: ok\nversion: '1.10'\nenabled: false\n", 0},
      {"sytem_prompt: x\n", 2},  // unknown key, and no name
      {"name: a\nenabled: 'false'\n", 1},
      {"name: a\nfocus_areas: perf\n", 1},
      {"name: a\nversion: 1.10\n", 1},
      {"name: a\nmax_tool_iterations: 0\n", 1},
      {"name: a\nseverity_default: urgent\n", 1},
      {"name: ''\n", 1},
  };
  for (const auto& c : cases) {
    std::vector<std::string> problems;
    check(schema, load_yaml(c.yaml), "", problems);
    EXPECT_EQ(problems.size(), c.problems) << c.yaml << ::testing::PrintToString(problems);
  }
}

}  // namespace
}  // namespace tessik
