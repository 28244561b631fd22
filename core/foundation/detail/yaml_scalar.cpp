#include <tessik/foundation/detail/yaml_scalar.hpp>

#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>

#include <tessik/foundation/detail/const_table.hpp>
#include <tessik/foundation/detail/number_scan.hpp>

namespace tessik::detail {
namespace {

using Status = ScalarRead::Status;

constexpr bool is_digit(char c) { return is_decimal_digit(c); }

bool is_null_text(std::string_view t) {
  return t.empty() || t == "~" || t == "null" || t == "Null" || t == "NULL";
}

constexpr ConstStringSet kTrueWords({"yes", "Yes", "YES", "true", "True", "TRUE", "on", "On",
                                     "ON"});
constexpr ConstStringSet kFalseWords({"no", "No", "NO", "false", "False", "FALSE", "off", "Off",
                                      "OFF"});

std::optional<bool> read_bool(std::string_view t) {
  if (kTrueWords.contains(t)) return true;
  if (kFalseWords.contains(t)) return false;
  return std::nullopt;
}

// Reads all of `t` as base-`base` digits, "_" anywhere, at least one digit.
bool read_digits(std::string_view t, unsigned base, Magnitude& m) {
  return read_magnitude(t, base, Underscores::anywhere, m);
}

// Whether `t` is decimal digits and "_" only (or empty).
bool all_digits(std::string_view t) {
  return scan_digit_run(t, 0, 10, Underscores::anywhere).end == t.size();
}

// One base-60 component after a ':': one or two digits, at most 59.
std::optional<unsigned> sexagesimal_digit(std::string_view part) {
  if (part.empty() || part.size() > 2 || !is_digit(part.back())) return std::nullopt;
  if (part.size() == 2 && (part[0] < '0' || part[0] > '5')) return std::nullopt;
  unsigned v = 0;
  for (char c : part) v = v * 10 + static_cast<unsigned>(c - '0');
  return v;
}

ScalarRead make_int(bool negative, const Magnitude& m) {
  const std::optional<std::int64_t> i = signed_value(negative, m);
  if (!i) return {Status::out_of_range, Value()};
  return {Status::ok, Value(*i)};
}

ScalarRead read_int(std::string_view t) {
  const bool negative = take_sign(t);
  if (t.empty()) return {};
  Magnitude m(magnitude_limit(negative));
  if (t.starts_with("0b")) {
    return read_digits(t.substr(2), 2, m) ? make_int(negative, m) : ScalarRead{};
  }
  if (t.starts_with("0x")) {
    return read_digits(t.substr(2), 16, m) ? make_int(negative, m) : ScalarRead{};
  }
  if (t[0] == '0') {
    // "0" itself, or leading-zero octal ("017" is 15, "0_" is 0).
    if (t.size() == 1) return {Status::ok, Value(0)};
    return read_digits(t, 8, m) ? make_int(negative, m) : ScalarRead{};
  }
  if (!is_digit(t[0])) return {};
  const std::size_t colon = t.find(':');
  if (!read_digits(t.substr(0, colon), 10, m)) return {};
  if (colon == std::string_view::npos) return make_int(negative, m);
  // Base 60: "1:30" is 90, "1:00:05" is 3605.
  std::string_view rest = t.substr(colon + 1);
  for (;;) {
    const std::size_t next = rest.find(':');
    const std::optional<unsigned> d = sexagesimal_digit(rest.substr(0, next));
    if (!d) return {};
    m.add_digit(60, *d);
    if (next == std::string_view::npos) break;
    rest = rest.substr(next + 1);
  }
  return make_int(negative, m);
}

// Decimal float: [digits] "." [digits] [e sign digits]; with `relaxed`, the
// "." and the exponent's sign are optional. "_" may follow any digit of the
// mantissa, never stand in the exponent.
std::optional<double> read_decimal(std::string_view t, bool relaxed) {
  const DecimalSyntax syntax{
      .mantissa = Underscores::anywhere,
      .exponent = Underscores::none,
      .point_required = !relaxed,
      .exponent_sign_required = !relaxed,
  };
  const std::optional<DecimalDigits> number = scan_decimal(t, syntax);
  if (!number) return std::nullopt;
  return decimal_value(*number);
}

// Base-60 float: digits, one or more ":" components, and a fraction on the
// last ("1:30.5" is 90.5).
std::optional<double> read_sexagesimal_float(std::string_view t) {
  const std::size_t colon = t.find(':');
  const std::size_t dot = t.rfind('.');
  if (colon == std::string_view::npos || dot == std::string_view::npos || dot < colon) {
    return std::nullopt;
  }
  const std::string_view head = t.substr(0, colon);
  if (head.empty() || !is_digit(head[0]) || !all_digits(head)) return std::nullopt;
  double value = 0;
  for (char c : head) {
    if (c != '_') value = value * 10 + (c - '0');
  }
  std::string_view rest = t.substr(colon + 1, dot - colon - 1);
  for (;;) {
    const std::size_t next = rest.find(':');
    const std::optional<unsigned> d = sexagesimal_digit(rest.substr(0, next));
    if (!d) return std::nullopt;
    value = value * 60 + *d;
    if (next == std::string_view::npos) break;
    rest = rest.substr(next + 1);
  }
  const std::string_view tail = t.substr(dot + 1);
  if (!all_digits(tail)) return std::nullopt;
  DecimalDigits fraction;
  for (char c : tail) {
    if (c != '_') fraction.fraction += c;
  }
  return value + decimal_value(fraction);
}

std::optional<double> read_float(std::string_view t, bool relaxed) {
  if (t == ".nan" || t == ".NaN" || t == ".NAN") return std::numeric_limits<double>::quiet_NaN();
  const bool negative = take_sign(t);
  std::optional<double> d;
  if (t == ".inf" || t == ".Inf" || t == ".INF") {
    d = std::numeric_limits<double>::infinity();
  } else if (t.find(':') != std::string_view::npos) {
    d = read_sexagesimal_float(t);
  } else {
    d = read_decimal(t, relaxed);
  }
  if (d && negative) *d = -*d;
  return d;
}

bool may_be_number(char c) { return is_digit(c) || c == '-' || c == '+' || c == '.'; }

}  // namespace

ScalarRead read_plain_scalar(std::string_view text) {
  if (is_null_text(text)) return {Status::ok, Value()};
  if (std::optional<bool> b = read_bool(text)) return {Status::ok, Value(*b)};
  if (may_be_number(text[0])) {
    ScalarRead i = read_int(text);
    if (i.status != Status::no_match) return i;
    if (std::optional<double> d = read_float(text, false)) return {Status::ok, Value(*d)};
  }
  return {Status::ok, Value(text)};
}

ScalarRead read_tagged_scalar(ScalarType type, std::string_view text) {
  switch (type) {
    case ScalarType::string:
      return {Status::ok, Value(text)};
    case ScalarType::null:
      return is_null_text(text) ? ScalarRead{Status::ok, Value()} : ScalarRead{};
    case ScalarType::boolean:
      if (std::optional<bool> b = read_bool(text)) return {Status::ok, Value(*b)};
      return {};
    case ScalarType::integer:
      return read_int(text);
    case ScalarType::floating: {
      if (std::optional<double> d = read_float(text, true)) return {Status::ok, Value(*d)};
      // The remaining integer forms: hexadecimal, binary, base 60.
      ScalarRead i = read_int(text);
      if (i.status != Status::ok) return {};
      return {Status::ok, Value(static_cast<double>(i.value.as_int()))};
    }
  }
  return {};
}

}  // namespace tessik::detail
