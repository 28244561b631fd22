#include "reviewer_tools/confined_tool.hpp"

#include <cmath>

#include <tessik/foundation/detail/utf8.hpp>
#include <tessik/foundation/limits.hpp>

namespace tessik::cli {
namespace {

constexpr std::string_view REPLACEMENT_CHARACTER = "\xEF\xBF\xBD";

const Value& input_object(const Value& input) {
  if (!input.is_mapping()) throw ToolRefusal("the tool input must be a JSON object");
  return input;
}

const Value* entry(const Value& input, const char* key, bool required) {
  const Value* v = input_object(input).find(key);
  if (v != nullptr && v->is_null()) v = nullptr;
  if (v == nullptr && required) throw ToolRefusal(std::string("the input needs \"") + key + "\"");
  return v;
}

}  // namespace

Value ConfinedTool::execute(const Value& input) {
  std::string text;
  try {
    text = answer(input);
  } catch (const std::exception& e) {
    text = std::string("error: ") + e.what();
  } catch (...) {
    text = "error: the tool failed";
  }
  return {capped_answer(text, limits::kToolAnswerBytes)};
}

std::string capped_answer(std::string_view text, std::size_t max_bytes) {
  std::string out;
  out.reserve(std::min(text.size(), max_bytes));
  std::size_t pos = 0;
  while (pos < text.size()) {
    const utf8::Step step = utf8::decode(text, pos);
    const std::string_view piece =
        step.valid ? text.substr(pos, step.length) : REPLACEMENT_CHARACTER;
    if (out.size() + piece.size() > max_bytes) break;
    out += piece;
    pos += step.length;
  }
  if (pos < text.size()) {
    out += "\n[truncated: the answer holds " + std::to_string(text.size()) +
           " bytes; only the first " + std::to_string(pos) + " are shown]";
  }
  return out;
}

std::optional<std::string> text_input(const Value& input, const char* key, bool required) {
  const Value* v = entry(input, key, required);
  if (v == nullptr) return std::nullopt;
  if (!v->is_string()) throw ToolRefusal(std::string("\"") + key + "\" must be a string");
  return v->as_string();
}

std::optional<std::int64_t> int_input(const Value& input, const char* key, bool required) {
  const Value* v = entry(input, key, required);
  if (v == nullptr) return std::nullopt;
  if (v->is_int()) return v->as_int();
  // Some models write whole numbers as 12.0.
  if (v->is_float() && std::isfinite(v->as_float()) && v->as_float() == std::trunc(v->as_float()) &&
      std::fabs(v->as_float()) < 9e15) {
    return static_cast<std::int64_t>(v->as_float());
  }
  throw ToolRefusal(std::string("\"") + key + "\" must be a whole number");
}

std::optional<bool> bool_input(const Value& input, const char* key) {
  const Value* v = entry(input, key, false);
  if (v == nullptr) return std::nullopt;
  if (!v->is_bool()) throw ToolRefusal(std::string("\"") + key + "\" must be true or false");
  return v->as_bool();
}

Value schema_property(const char* type, const char* description) {
  return Value::Mapping{{"type", type}, {"description", description}};
}

Value tool_definition_value(const char* name, const char* description, Value::Mapping properties,
                            Value::Sequence required) {
  return Value::Mapping{{"name", name},
                        {"description", description},
                        {"input_schema", Value::Mapping{{"type", "object"},
                                                        {"properties", std::move(properties)},
                                                        {"required", std::move(required)},
                                                        {"additionalProperties", false}}}};
}

}  // namespace tessik::cli
