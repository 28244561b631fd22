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

Value names(std::initializer_list<std::string_view> keys) {
  Sequence values;
  values.reserve(keys.size());
  for (std::string_view k : keys) values.emplace_back(k);
  return values;
}

Value closed_object(Value properties, Value required) {
  return Mapping{{"type", "object"},
                 {"properties", std::move(properties)},
                 {"required", std::move(required)},
                 {"additionalProperties", false}};
}

Value text(bool non_empty) {
  if (!non_empty) return Mapping{{"type", "string"}};
  return Mapping{{"type", "string"}, {"minLength", 1}};
}

Value finding_schema() {
  Value properties = Mapping{
      {"file_path", text(true)},
      {"line_number", Mapping{{"type", "integer"}}},
      {"severity", enum_of({"high", "medium", "low", "info"})},
      {"issue", text(true)},
      {"suggestion", text(false)},
      {"confidence", Mapping{{"type", "number"}}},
      {"category", enum_of({"architecture", "security", "performance", "code-quality"})},
      // One string per replacement line, or null when the fix is not a
      // verbatim single-location replacement.
      {"code_replacement",
       Mapping{{"anyOf", Sequence{Mapping{{"type", "array"}, {"items", text(false)}},
                                  Mapping{{"type", "null"}}}}}},
      {"replacement_line_count", Mapping{{"type", "integer"}}},
  };
  return closed_object(std::move(properties),
                       names({"file_path", "line_number", "severity", "issue", "suggestion",
                              "confidence", "category"}));
}

Value findings_shape() {
  Value findings = Mapping{{"type", "array"}, {"items", finding_schema()}, {"minItems", 1}};
  return closed_object(Mapping{{"status", enum_of({"findings"})},
                               {"findings", std::move(findings)},
                               {"summary", text(false)}},
                       names({"status", "findings"}));
}

Value clean_shape() {
  return closed_object(Mapping{{"status", enum_of({"clean"})},
                               {"summary", text(true)},
                               {"confidence", Mapping{{"type", "number"}}}},
                       names({"status", "summary", "confidence"}));
}

Value error_shape() {
  Value error =
      closed_object(Mapping{{"code", enum_of({"tool_unavailable", "model_refusal", "internal_error",
                                              "max_iterations_no_verdict"})},
                            {"message", text(true)},
                            {"iterations_used", Mapping{{"type", "integer"}}}},
                    names({"code", "message"}));
  return closed_object(Mapping{{"status", enum_of({"error"})}, {"error", std::move(error)}},
                       names({"status", "error"}));
}

}  // namespace

Value output_config_for_three_state() {
  Value schema = Mapping{{"anyOf", Sequence{findings_shape(), clean_shape(), error_shape()}}};
  return Mapping{{"name", "three_state_review_reply"}, {"schema", std::move(schema)}};
}

}  // namespace tessik
