#include <tessik/foundation/detail/number_scan.hpp>

// newlocale and strtod_l are POSIX extensions, declared by the C headers.
#include <locale.h>  // NOLINT(modernize-deprecated-headers)
#include <stdlib.h>  // NOLINT(modernize-deprecated-headers)

#include <charconv>
#include <limits>
#include <system_error>

namespace tessik::detail {
namespace {

bool is_digit_of(char c, unsigned base) { return digit_value(c) < static_cast<int>(base); }

bool underscore_allowed(std::string_view text, std::size_t at, unsigned base, Underscores rule) {
  switch (rule) {
    case Underscores::none:
      return false;
    case Underscores::anywhere:
      return true;
    case Underscores::between_digits:
      return at > 0 && at + 1 < text.size() && is_digit_of(text[at - 1], base) &&
             is_digit_of(text[at + 1], base);
  }
  return false;
}

// Appends the digits of the run [from, to) of `text` to `out`, without its
// underscores.
void append_digits(std::string_view text, std::size_t from, std::size_t to, std::string& out) {
  for (std::size_t i = from; i < to; ++i) {
    if (text[i] != '_') out.push_back(text[i]);
  }
}

// The exponent part at `i` (just past the "e"), into `out`; the position
// after it, or nullopt when it is malformed.
std::optional<std::size_t> scan_exponent(std::string_view text, std::size_t i,
                                         const DecimalSyntax& syntax, DecimalDigits& out) {
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) {
    out.negative_exponent = text[i] == '-';
    ++i;
  } else if (syntax.exponent_sign_required) {
    return std::nullopt;
  }
  // The exponent's run must start with a digit, whatever the rule.
  if (i >= text.size() || !is_decimal_digit(text[i])) return std::nullopt;
  const DigitRun run = scan_digit_run(text, i, 10, syntax.exponent);
  append_digits(text, i, run.end, out.exponent);
  return run.end;
}

}  // namespace

int digit_value(char c) {
  if (is_decimal_digit(c)) return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return 99;
}

bool take_sign(std::string_view& text) {
  if (text.empty() || (text[0] != '+' && text[0] != '-')) return false;
  const bool negative = text[0] == '-';
  text.remove_prefix(1);
  return negative;
}

DigitRun scan_digit_run(std::string_view text, std::size_t pos, unsigned base, Underscores rule) {
  DigitRun run{pos, 0};
  for (; run.end < text.size(); ++run.end) {
    const char c = text[run.end];
    if (is_digit_of(c, base)) {
      ++run.digits;
    } else if (c != '_' || !underscore_allowed(text, run.end, base, rule)) {
      break;
    }
  }
  return run;
}

void Magnitude::add_digit(unsigned base, unsigned digit) {
  if (overflow_) return;
  if (value_ > (limit_ - digit) / base) {
    overflow_ = true;
    return;
  }
  value_ = value_ * base + digit;
}

std::uint64_t magnitude_limit(bool negative) {
  return static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()) + (negative ? 1 : 0);
}

bool read_magnitude(std::string_view text, unsigned base, Underscores rule, Magnitude& m) {
  const DigitRun run = scan_digit_run(text, 0, base, rule);
  if (run.end != text.size() || run.digits == 0) return false;
  for (char c : text) {
    if (c != '_') m.add_digit(base, static_cast<unsigned>(digit_value(c)));
  }
  return true;
}

std::optional<std::int64_t> signed_value(bool negative, const Magnitude& m) {
  if (m.overflow()) return std::nullopt;
  const std::uint64_t u = m.value();
  // Unsigned negation, so that 2^63 becomes INT64_MIN without overflow.
  return negative ? static_cast<std::int64_t>(0 - u) : static_cast<std::int64_t>(u);
}

std::optional<DecimalDigits> scan_decimal(std::string_view text, const DecimalSyntax& syntax) {
  DecimalDigits out;
  std::size_t i = 0;
  // The integer run must start with a digit, whatever the rule.
  if (!text.empty() && is_decimal_digit(text[0])) {
    i = scan_digit_run(text, 0, 10, syntax.mantissa).end;
    append_digits(text, 0, i, out.integer);
  }
  const bool point = i < text.size() && text[i] == '.';
  if (point) {
    const std::size_t from = ++i;
    i = scan_digit_run(text, from, 10, syntax.mantissa).end;
    append_digits(text, from, i, out.fraction);
  }
  if (!point && syntax.point_required) return std::nullopt;
  if (out.integer.empty() && out.fraction.empty()) return std::nullopt;
  if (i < text.size() && (text[i] == 'e' || text[i] == 'E')) {
    const std::optional<std::size_t> end = scan_exponent(text, i + 1, syntax, out);
    if (!end) return std::nullopt;
    i = *end;
  }
  if (i != text.size()) return std::nullopt;
  return out;
}

double decimal_value(const DecimalDigits& number) {
  std::string clean;
  clean.reserve(number.integer.size() + number.fraction.size() + number.exponent.size() + 4);
  clean += number.integer.empty() ? "0" : number.integer;
  clean += '.';
  clean += number.fraction.empty() ? "0" : number.fraction;
  clean += number.negative_exponent ? "e-" : "e+";
  clean += number.exponent.empty() ? "0" : number.exponent;
  double value = 0.0;
  const auto [end, ec] = std::from_chars(clean.data(), clean.data() + clean.size(), value);
  if (ec == std::errc::result_out_of_range) {
    // from_chars leaves the value alone on overflow and underflow; strtod
    // gives the rounded result (infinity or zero). The C locale keeps the
    // decimal point a point whatever the program's locale.
    static const locale_t c_locale = newlocale(LC_ALL_MASK, "C", locale_t{});
    value = strtod_l(clean.c_str(), nullptr, c_locale);
  }
  return value;
}

}  // namespace tessik::detail
