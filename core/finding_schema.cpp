#include <tessik/finding_schema.hpp>

#include <initializer_list>
#include <string_view>

namespace tessik {
namespace {

using Mapping = Value::Mapping;
using Sequence = Value::Sequence;

Value enum_of(std::initializer_list<std::string_view> words) {
  Sequence values;
  values.reserve(words.size());
  for (std::string_view w : words) values.emplace_back(w);
  return Mapping{{"type", "string"}, {"enum", Value(std::move(values))}};
}

Value of_type(std::string_view type) { return Mapping{{"type", type}}; }

// `schema` or null: how strict mode spells an optional value.
Value nullable(Value schema) {
  return Mapping{{"anyOf", Sequence{std::move(schema), of_type("null")}}};
}

// A closed object whose every property is required.
Value closed_object(Mapping properties) {
  Sequence required;
  for (const auto& [key, schema] : properties) required.push_back(key);
  return Mapping{{"type", "object"},
                 {"properties", Value(std::move(properties))},
                 {"required", Value(std::move(required))},
                 {"additionalProperties", false}};
}

Value finding_schema() {
  return closed_object(Mapping{
      {"file_path", of_type("string")},
      {"line_number", of_type("integer")},
      {"severity", enum_of({"high", "medium", "low", "info"})},
      {"issue", of_type("string")},
      {"suggestion", of_type("string")},
      {"confidence", of_type("number")},
      {"category", enum_of({"architecture", "security", "performance", "code-quality"})},
      // One string per replacement line, or null when the fix is not a
      // verbatim single-location replacement.
      {"code_replacement", nullable(Mapping{{"type", "array"}, {"items", of_type("string")}})},
      {"replacement_line_count", nullable(of_type("integer"))},
  });
}

Value error_schema() {
  return closed_object(Mapping{
      {"code", enum_of({"tool_unavailable", "model_refusal", "internal_error",
                        "max_iterations_no_verdict"})},
      {"message", of_type("string")},
      {"iterations_used", nullable(of_type("integer"))},
  });
}

}  // namespace

Value output_config_for_three_state() {
  Value findings = Mapping{{"type", "array"}, {"items", finding_schema()}, {"minItems", 1}};
  Value schema = closed_object(Mapping{
      {"status", enum_of({"findings", "clean", "error"})},
      {"findings", nullable(std::move(findings))},
      {"summary", nullable(of_type("string"))},
      {"confidence", nullable(of_type("number"))},
      {"error", nullable(error_schema())},
  });
  return Mapping{{"name", "three_state_review_reply"}, {"schema", std::move(schema)}};
}

}  // namespace tessik
