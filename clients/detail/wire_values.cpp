#include <tessik/clients/detail/wire_values.hpp>

namespace tessik::clients::detail {

const Value* mapping_at(const Value& parent, std::string_view key) {
  const Value* v = parent.is_mapping() ? parent.find(key) : nullptr;
  return v && v->is_mapping() ? v : nullptr;
}

std::int64_t count_at(const Value* parent, std::string_view key) {
  if (!parent || !parent->is_mapping()) return 0;
  const Value* v = parent->find(key);
  return v && v->is_int() && v->as_int() > 0 ? v->as_int() : 0;
}

std::string text_at(const Value& parent, std::string_view key) {
  const Value* v = parent.is_mapping() ? parent.find(key) : nullptr;
  return v && v->is_string() ? v->as_string() : std::string();
}

std::string kind_phrase(const Value& v) {
  switch (v.kind()) {
    case Value::Kind::null:
      return "null";
    case Value::Kind::boolean:
      return "a boolean";
    case Value::Kind::string:
      return "a string";
    case Value::Kind::sequence:
      return "an array";
    case Value::Kind::mapping:
      return "an object";
    default:
      return "a number";
  }
}

}  // namespace tessik::clients::detail
