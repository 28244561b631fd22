#include "yaml_scalar.hpp"

#include <array>
#include <charconv>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <system_error>

namespace tessik::detail {
namespace {

using Status = ScalarRead::Status;

bool is_digit(char c) { return c >= '0' && c <= '9'; }

int digit_value(char c) {
  if (is_digit(c)) return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return 99;
}

bool is_null_text(std::string_view t) {
  return t.empty() || t == "~" || t == "null" || t == "Null" || t == "NULL";
}

std::optional<bool> read_bool(std::string_view t) {
  static constexpr std::array<std::string_view, 9> kTrue = {"yes",  "Yes", "YES", "true", "True",
                                                            "TRUE", "on",  "On",  "ON"};
  static constexpr std::array<std::string_view, 9> kFalse = {
      "no", "No", "NO", "false", "False", "FALSE", "off", "Off", "OFF"};
  for (std::string_view w : kTrue) {
    if (t == w) return true;
  }
  for (std::string_view w : kFalse) {
    if (t == w) return false;
  }
  return std::nullopt;
}

// Splits an optional leading sign off `t`.
bool take_sign(std::string_view& t) {
  if (!t.empty() && (t[0] == '+' || t[0] == '-')) {
    const bool negative = t[0] == '-';
    t.remove_prefix(1);
    return negative;
  }
  return false;
}

// Accumulates an unsigned magnitude, refusing to pass `limit`.
class Magnitude {
 public:
  explicit Magnitude(std::uint64_t limit) : limit_(limit) {}
  void add_digit(unsigned base, unsigned digit) {
    if (overflow_) return;
    if (value_ > (limit_ - digit) / base) {
      overflow_ = true;
      return;
    }
    value_ = value_ * base + digit;
  }
  bool overflow() const { return overflow_; }
  std::uint64_t value() const { return value_; }

 private:
  std::uint64_t limit_;
  std::uint64_t value_ = 0;
  bool overflow_ = false;
};

// Digits of `base` with "_" anywhere; at least one digit. Feeds `m`.
bool read_digits(std::string_view t, unsigned base, Magnitude& m) {
  bool any = false;
  for (char c : t) {
    if (c == '_') continue;
    const int d = digit_value(c);
    if (d >= static_cast<int>(base)) return false;
    m.add_digit(base, static_cast<unsigned>(d));
    any = true;
  }
  return any;
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
  if (m.overflow()) return {Status::out_of_range, Value()};
  const std::uint64_t u = m.value();
  const std::int64_t i = negative ? static_cast<std::int64_t>(0 - u) : static_cast<std::int64_t>(u);
  return {Status::ok, Value(i)};
}

ScalarRead read_int(std::string_view t) {
  const bool negative = take_sign(t);
  if (t.empty()) return {};
  const std::uint64_t limit =
      static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()) + (negative ? 1 : 0);
  Magnitude m(limit);
  if (t.starts_with("0b")) {
    return read_digits(t.substr(2), 2, m) ? make_int(negative, m) : ScalarRead{};
  }
  if (t.starts_with("0x")) {
    return read_digits(t.substr(2), 16, m) ? make_int(negative, m) : ScalarRead{};
  }
  if (t[0] == '0') {
    // "0" itself, or leading-zero octal ("017" is 15, "0_" is 0).
    if (t.size() == 1) return {Status::ok, Value(0)};
    for (char c : t.substr(1)) {
      if (c != '_' && (c < '0' || c > '7')) return {};
    }
    read_digits(t, 8, m);
    return make_int(negative, m);
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

// A decimal exponent of the cleaned mantissa, rough but on the right side of
// zero, to tell an overflow from an underflow when from_chars gives up.
double out_of_range_double(const std::string& int_digits, const std::string& frac_digits,
                           long exponent) {
  const std::size_t lead = int_digits.find_first_not_of('0');
  long magnitude = 0;
  if (lead != std::string::npos) {
    magnitude = static_cast<long>(int_digits.size() - lead);
  } else {
    const std::size_t z = frac_digits.find_first_not_of('0');
    magnitude = z == std::string::npos ? -100000 : -static_cast<long>(z);
  }
  return magnitude + exponent > 0 ? std::numeric_limits<double>::infinity() : 0.0;
}

// Decimal float: [digits] "." [digits] [e sign digits]; with `relaxed`, the
// "." and the exponent's sign are optional. "_" may follow any digit.
std::optional<double> read_decimal(std::string_view t, bool relaxed) {
  std::string int_digits, frac_digits, exp_digits;
  std::size_t i = 0;
  if (i < t.size() && is_digit(t[i])) {
    for (; i < t.size() && (is_digit(t[i]) || t[i] == '_'); ++i) {
      if (t[i] != '_') int_digits += t[i];
    }
  }
  const bool dot = i < t.size() && t[i] == '.';
  if (dot) {
    for (++i; i < t.size() && (is_digit(t[i]) || t[i] == '_'); ++i) {
      if (t[i] != '_') frac_digits += t[i];
    }
  }
  if ((!dot && !relaxed) || (int_digits.empty() && frac_digits.empty())) return std::nullopt;
  char exp_sign = '+';
  if (i < t.size() && (t[i] == 'e' || t[i] == 'E')) {
    ++i;
    if (i < t.size() && (t[i] == '+' || t[i] == '-')) {
      exp_sign = t[i++];
    } else if (!relaxed) {
      return std::nullopt;
    }
    for (; i < t.size() && is_digit(t[i]); ++i) exp_digits += t[i];
    if (exp_digits.empty()) return std::nullopt;
  }
  if (i != t.size()) return std::nullopt;
  std::string clean = (int_digits.empty() ? "0" : int_digits) + "." +
                      (frac_digits.empty() ? "0" : frac_digits) + "e" + exp_sign +
                      (exp_digits.empty() ? "0" : exp_digits);
  double d = 0;
  const auto [end, ec] = std::from_chars(clean.data(), clean.data() + clean.size(), d);
  if (ec == std::errc::result_out_of_range) {
    long e = exp_digits.size() > 6 ? 1000000 : (exp_digits.empty() ? 0 : std::stol(exp_digits));
    return out_of_range_double(int_digits, frac_digits, exp_sign == '-' ? -e : e);
  }
  if (ec != std::errc() || end != clean.data() + clean.size()) return std::nullopt;
  return d;
}

// Base-60 float: digits, one or more ":" components, and a fraction on the
// last ("1:30.5" is 90.5).
std::optional<double> read_sexagesimal_float(std::string_view t) {
  const std::size_t colon = t.find(':');
  const std::size_t dot = t.rfind('.');
  if (colon == std::string_view::npos || dot == std::string_view::npos || dot < colon) {
    return std::nullopt;
  }
  std::string_view head = t.substr(0, colon);
  if (head.empty() || !is_digit(head[0])) return std::nullopt;
  double value = 0;
  for (char c : head) {
    if (c == '_') continue;
    if (!is_digit(c)) return std::nullopt;
    value = value * 10 + (c - '0');
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
  std::string fraction = "0.";
  for (char c : t.substr(dot + 1)) {
    if (c == '_') continue;
    if (!is_digit(c)) return std::nullopt;
    fraction += c;
  }
  double f = 0;
  if (fraction.size() > 2) std::from_chars(fraction.data(), fraction.data() + fraction.size(), f);
  return value + f;
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
