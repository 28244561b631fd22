// What the strict modes of both model protocols demand of a reply schema,
// as a checker the tests run over the schema a request carries: an object
// root; on every object additionalProperties false and every property
// required; only the keywords both strict modes support (no length, range or
// pattern keywords; minItems only 0 or 1).
#ifndef TESSIK_TESTS_STRICT_SCHEMA_HPP_
#define TESSIK_TESTS_STRICT_SCHEMA_HPP_

#include <set>
#include <string>
#include <vector>

#include <tessik/foundation/json.hpp>
#include <tessik/foundation/value.hpp>

namespace tessik::testing {

inline void strict_schema_problems(const Value& node, const std::string& at,
                                   std::vector<std::string>& out) {
  static const std::set<std::string> kKeywords{
      "type", "properties", "required", "additionalProperties", "items",
      "enum", "anyOf",      "minItems", "description"};
  if (!node.is_mapping()) {
    out.push_back(at + ": not an object");
    return;
  }
  for (const auto& [key, value] : node.as_mapping()) {
    if (!kKeywords.contains(key.as_string())) out.push_back(at + ": keyword " + key.as_string());
  }
  if (const Value* min = node.find("minItems"); min && !(*min == Value(0) || *min == Value(1))) {
    out.push_back(at + ": minItems " + to_json(*min));
  }
  if (const Value* items = node.find("items")) strict_schema_problems(*items, at + "/items", out);
  if (const Value* any = node.find("anyOf")) {
    for (std::size_t i = 0; i < any->as_sequence().size(); ++i) {
      strict_schema_problems(any->as_sequence()[i], at + "/anyOf/" + std::to_string(i), out);
    }
  }
  if (const Value* type = node.find("type"); !type || *type != Value("object")) return;
  if (node.find("additionalProperties") == nullptr ||
      *node.find("additionalProperties") != Value(false)) {
    out.push_back(at + ": additionalProperties is not false");
  }
  const Value* properties = node.find("properties");
  const Value* required = node.find("required");
  Value::Sequence keys;
  if (properties) {
    for (const auto& [key, schema] : properties->as_mapping()) {
      keys.push_back(key);
      strict_schema_problems(schema, at + "/" + key.as_string(), out);
    }
  }
  if (!required || *required != Value(keys)) out.push_back(at + ": not every property required");
}

// Every way `schema` breaks the rules above, each naming where; empty when
// it keeps them.
inline std::vector<std::string> strict_schema_problems(const Value& schema) {
  std::vector<std::string> out;
  const Value* type = schema.find("type");
  if (!type || *type != Value("object")) out.push_back("root: not of type object");
  strict_schema_problems(schema, "root", out);
  return out;
}

}  // namespace tessik::testing

#endif  // TESSIK_TESTS_STRICT_SCHEMA_HPP_
