// Integer and floating-point conversion of Values.
#include <cmath>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <tessik/foundation/detail/number_scan.hpp>
#include <tessik/foundation/detail/value_words.hpp>
#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/text.hpp>

namespace tessik {
namespace {

using detail::Underscores;

bool equals_ascii_nocase(std::string_view text, std::string_view lower_word) {
  if (text.size() != lower_word.size()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i] >= 'A' && text[i] <= 'Z' ? static_cast<char>(text[i] + 32) : text[i];
    if (c != lower_word[i]) return false;
  }
  return true;
}

[[noreturn]] void throw_int_literal(const std::string& text) {
  throw InvalidValueError("expected an integer, got the text " + detail::quoted_text(text));
}

[[noreturn]] void throw_float_literal(const std::string& text) {
  throw InvalidValueError("expected a number, got the text " + detail::quoted_text(text));
}

[[noreturn]] void throw_int_range(const Value& v) {
  throw OverflowError("expected an integer within the 64-bit range, got " +
                      detail::describe_value(v));
}

// Text conversions take surrounding white space and single underscores
// between digits: " -1_000 ".
std::int64_t parse_int_text(const std::string& text) {
  std::string_view body = strip(text);
  const bool negative = detail::take_sign(body);
  detail::Magnitude magnitude(detail::magnitude_limit(negative));
  if (!detail::read_magnitude(body, 10, Underscores::between_digits, magnitude)) {
    throw_int_literal(text);
  }
  const std::optional<std::int64_t> value = detail::signed_value(negative, magnitude);
  if (!value) throw_int_range(Value(text));
  return *value;
}

double parse_float_text(const std::string& text) {
  std::string_view body = strip(text);
  const bool negative = detail::take_sign(body);
  if (equals_ascii_nocase(body, "inf") || equals_ascii_nocase(body, "infinity")) {
    return negative ? -HUGE_VAL : HUGE_VAL;
  }
  if (equals_ascii_nocase(body, "nan")) return negative ? -std::nan("") : std::nan("");
  const std::optional<detail::DecimalDigits> number = detail::scan_decimal(body, {});
  if (!number) throw_float_literal(text);
  const double value = detail::decimal_value(*number);
  return negative ? -value : value;
}

}  // namespace

std::int64_t to_int(const Value& v) {
  switch (v.kind()) {
    case Value::Kind::integer:
      return v.as_int();
    case Value::Kind::boolean:
      return v.as_bool() ? 1 : 0;
    case Value::Kind::floating: {
      const double d = v.as_float();
      if (std::isnan(d)) throw InvalidValueError("expected an integer, got the number nan");
      if (std::isinf(d))
        throw OverflowError("expected an integer, got " + detail::describe_value(v));
      const double t = std::trunc(d);
      if (t < -9223372036854775808.0 || t >= 9223372036854775808.0) throw_int_range(v);
      return static_cast<std::int64_t>(t);
    }
    case Value::Kind::string:
      return parse_int_text(v.as_string());
    default:
      throw TypeError("expected an integer, got " + detail::describe_value(v));
  }
}

double to_float(const Value& v) {
  switch (v.kind()) {
    case Value::Kind::integer:
      return static_cast<double>(v.as_int());
    case Value::Kind::boolean:
      return v.as_bool() ? 1.0 : 0.0;
    case Value::Kind::floating:
      return v.as_float();
    case Value::Kind::string:
      return parse_float_text(v.as_string());
    default:
      throw TypeError("expected a number, got " + detail::describe_value(v));
  }
}

}  // namespace tessik
