// Integer and floating-point conversion of Values.
// newlocale and strtod_l are POSIX extensions, declared by the C headers.
#include <locale.h>  // NOLINT(modernize-deprecated-headers)
#include <stdlib.h>  // NOLINT(modernize-deprecated-headers)

#include <charconv>
#include <cmath>
#include <string>

#include "errors.hpp"
#include "text.hpp"

namespace tessik {
namespace {

bool is_digit(char c) { return c >= '0' && c <= '9'; }

bool equals_ascii_nocase(std::string_view text, std::string_view lower_word) {
  if (text.size() != lower_word.size()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i] >= 'A' && text[i] <= 'Z' ? static_cast<char>(text[i] + 32) : text[i];
    if (c != lower_word[i]) return false;
  }
  return true;
}

// Removes single underscores that stand between two digits; returns false
// when an underscore stands anywhere else (or two stand together).
bool drop_digit_underscores(std::string_view in, std::string& out) {
  out.clear();
  out.reserve(in.size());
  for (std::size_t i = 0; i < in.size(); ++i) {
    if (in[i] != '_') {
      out.push_back(in[i]);
      continue;
    }
    if (i == 0 || i + 1 >= in.size() || !is_digit(in[i - 1]) || !is_digit(in[i + 1])) {
      return false;
    }
  }
  return true;
}

[[noreturn]] void throw_int_literal(const std::string& text) {
  throw InvalidValueError("invalid literal for int() with base 10: " + repr(text));
}

[[noreturn]] void throw_float_literal(const std::string& text) {
  throw InvalidValueError("could not convert string to float: " + repr(text));
}

std::int64_t parse_int_text(const std::string& text) {
  const std::string_view body = strip(text);
  std::string digits;
  if (body.empty() || !drop_digit_underscores(body, digits)) throw_int_literal(text);
  std::string_view d(digits);
  bool negative = false;
  if (d.front() == '+' || d.front() == '-') {
    negative = d.front() == '-';
    d.remove_prefix(1);
  }
  if (d.empty()) throw_int_literal(text);
  for (char c : d) {
    if (!is_digit(c)) throw_int_literal(text);
  }
  // Parse the magnitude as unsigned so that INT64_MIN fits.
  std::uint64_t magnitude = 0;
  const auto [end, ec] = std::from_chars(d.data(), d.data() + d.size(), magnitude);
  const std::uint64_t limit = negative ? 9223372036854775808ULL : 9223372036854775807ULL;
  if (ec == std::errc::result_out_of_range || magnitude > limit || end != d.data() + d.size()) {
    throw OverflowError("int too large to convert to a 64-bit integer: " + repr(text));
  }
  return negative ? static_cast<std::int64_t>(0 - magnitude) : static_cast<std::int64_t>(magnitude);
}

// True when `d` is a decimal number: digits with an optional point, or a
// point with digits, then an optional exponent with optional sign.
bool is_decimal_number(std::string_view d) {
  std::size_t i = 0;
  std::size_t int_digits = 0;
  std::size_t frac_digits = 0;
  while (i < d.size() && is_digit(d[i])) ++i, ++int_digits;
  if (i < d.size() && d[i] == '.') {
    ++i;
    while (i < d.size() && is_digit(d[i])) ++i, ++frac_digits;
  }
  if (int_digits + frac_digits == 0) return false;
  if (i < d.size() && (d[i] == 'e' || d[i] == 'E')) {
    ++i;
    if (i < d.size() && (d[i] == '+' || d[i] == '-')) ++i;
    std::size_t exp_digits = 0;
    while (i < d.size() && is_digit(d[i])) ++i, ++exp_digits;
    if (exp_digits == 0) return false;
  }
  return i == d.size();
}

double parse_float_text(const std::string& text) {
  const std::string_view body = strip(text);
  std::string cleaned;
  if (body.empty() || !drop_digit_underscores(body, cleaned)) throw_float_literal(text);
  std::string_view d(cleaned);
  bool negative = false;
  if (d.front() == '+' || d.front() == '-') {
    negative = d.front() == '-';
    d.remove_prefix(1);
  }
  if (equals_ascii_nocase(d, "inf") || equals_ascii_nocase(d, "infinity")) {
    return negative ? -HUGE_VAL : HUGE_VAL;
  }
  if (equals_ascii_nocase(d, "nan")) return negative ? -std::nan("") : std::nan("");
  if (!is_decimal_number(d)) throw_float_literal(text);
  double value = 0.0;
  const auto [end, ec] = std::from_chars(d.data(), d.data() + d.size(), value);
  if (ec == std::errc::result_out_of_range) {
    // from_chars leaves the value alone on overflow and underflow; strtod
    // gives the rounded result (infinity or zero). The C locale keeps the
    // decimal point a point whatever the program's locale.
    static const locale_t c_locale = newlocale(LC_ALL_MASK, "C", locale_t{});
    value = strtod_l(std::string(d).c_str(), nullptr, c_locale);
  } else if (ec != std::errc() || end != d.data() + d.size()) {
    throw_float_literal(text);
  }
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
      if (std::isnan(d)) throw InvalidValueError("cannot convert float NaN to integer");
      if (std::isinf(d)) throw OverflowError("cannot convert float infinity to integer");
      const double t = std::trunc(d);
      if (t < -9223372036854775808.0 || t >= 9223372036854775808.0) {
        throw OverflowError("float " + text_form(v) + " is out of the 64-bit integer range");
      }
      return static_cast<std::int64_t>(t);
    }
    case Value::Kind::string:
      return parse_int_text(v.as_string());
    default:
      throw TypeError(
          "int() argument must be a string, a bytes-like object or a real number, not '" +
          std::string(Value::kind_name(v.kind())) + "'");
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
      throw TypeError("float() argument must be a string or a real number, not '" +
                      std::string(Value::kind_name(v.kind())) + "'");
  }
}

}  // namespace tessik
