#include <tessik/foundation/detail/value_words.hpp>

#include <cstdio>

#include <tessik/foundation/text.hpp>

namespace tessik::detail {

std::string_view kind_noun(Value::Kind kind) noexcept {
  switch (kind) {
    case Value::Kind::null:
      return "null";
    case Value::Kind::boolean:
      return "a boolean";
    case Value::Kind::integer:
      return "an integer";
    case Value::Kind::floating:
      return "a number";
    case Value::Kind::string:
      return "a text";
    case Value::Kind::sequence:
      return "a list";
    case Value::Kind::mapping:
      return "a mapping";
  }
  return "a value";
}

std::string quoted_text(std::string_view text) {
  constexpr std::size_t kMaxCharacters = 60;
  const std::string_view shown = first_code_points(text, kMaxCharacters);
  std::string out = "'";
  for (const char c : shown) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '\n') {
      out += "\\n";
    } else if (c == '\t') {
      out += "\\t";
    } else if (byte < 0x20 || byte == 0x7F) {
      char hex[8];
      std::snprintf(hex, sizeof hex, "\\x%02X", byte);
      out += hex;
    } else {
      out += c;
    }
  }
  if (shown.size() < text.size()) out += "...";
  return out + "'";
}

namespace {

std::string counted(std::size_t n, const char* one, const char* many) {
  return std::to_string(n) + " " + (n == 1 ? one : many);
}

}  // namespace

std::string describe_value(const Value& v) {
  switch (v.kind()) {
    case Value::Kind::null:
      return "null";
    case Value::Kind::boolean:
      return v.as_bool() ? "the boolean true" : "the boolean false";
    case Value::Kind::integer:
      return "the integer " + std::to_string(v.as_int());
    case Value::Kind::floating:
      return "the number " + text_form(v);
    case Value::Kind::string:
      return "the text " + quoted_text(v.as_string());
    case Value::Kind::sequence:
      return "a list of " + counted(v.as_sequence().size(), "item", "items");
    case Value::Kind::mapping:
      return "a mapping of " + counted(v.as_mapping().size(), "key", "keys");
  }
  return "a value";
}

}  // namespace tessik::detail
