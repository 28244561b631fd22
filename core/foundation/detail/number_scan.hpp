// The one scanner of number text, shared by the Value conversions (`to_int`,
// `to_float`) and the YAML scalar rules. Each caller states its own syntax:
// where underscores may stand, whether a decimal point or an exponent sign
// is required; the digit runs, the 64-bit range check and the rounding to a
// double are the same for both.
//
//   std::string_view t = "-1_000";
//   const bool negative = detail::take_sign(t);            // true, t == "1_000"
//   detail::Magnitude m(detail::magnitude_limit(negative));
//   detail::read_magnitude(t, 10, detail::Underscores::between_digits, m);
//   detail::signed_value(negative, m);                     // -1000
//
// Pure text work, no locale; safe to call from several threads.
#ifndef TESSIK_FOUNDATION_DETAIL_NUMBER_SCAN_HPP_
#define TESSIK_FOUNDATION_DETAIL_NUMBER_SCAN_HPP_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tessik::detail {

constexpr bool is_decimal_digit(char c) { return c >= '0' && c <= '9'; }

// The value of a hexadecimal digit of either case (0-15), or 99 for any
// other character, which is no digit in any base.
int digit_value(char c);

// Where "_" may stand in a run of digits.
enum class Underscores {
  none,            // nowhere
  between_digits,  // singly, with a digit on each side: "1_000", not "1__0" or "1_"
  anywhere,        // anywhere, first, last or repeated: "0x_ff", "1__0_"
};

// Drops a leading "+" or "-" from `text`; true when it was "-".
bool take_sign(std::string_view& text);

// The run of base-`base` digits (2 to 16) and allowed underscores that
// starts at `pos` in `text`: where it ends and how many digits it holds.
struct DigitRun {
  std::size_t end = 0;
  std::size_t digits = 0;
};
DigitRun scan_digit_run(std::string_view text, std::size_t pos, unsigned base, Underscores rule);

// An unsigned integer accumulated digit by digit that refuses to pass
// `limit`: once a digit would take it past, it stays in overflow.
class Magnitude {
 public:
  explicit Magnitude(std::uint64_t limit) : limit_(limit) {}
  void add_digit(unsigned base, unsigned digit);
  bool overflow() const { return overflow_; }
  std::uint64_t value() const { return value_; }

 private:
  std::uint64_t limit_;
  std::uint64_t value_ = 0;
  bool overflow_ = false;
};

// The largest magnitude a signed 64-bit integer of that sign holds:
// 2^63 - 1, or 2^63 when negative.
std::uint64_t magnitude_limit(bool negative);

// Reads all of `text` as base-`base` digits (at least one) with the
// underscores `rule` allows, into `m`. False when `text` holds anything else.
bool read_magnitude(std::string_view text, unsigned base, Underscores rule, Magnitude& m);

// The signed integer of `m` with that sign, or nullopt when `m` overflowed.
std::optional<std::int64_t> signed_value(bool negative, const Magnitude& m);

// How a decimal number may be written.
struct DecimalSyntax {
  Underscores mantissa = Underscores::between_digits;  // the run before the point starts
  Underscores exponent = Underscores::between_digits;  // with a digit in every case
  bool point_required = false;                         // "1e3" needs the point when set
  bool exponent_sign_required = false;                 // "1.0e3" needs "e+3" when set
};

// The digits of a decimal number, underscores dropped.
struct DecimalDigits {
  std::string integer;   // before the point; may be empty (".5")
  std::string fraction;  // after the point; may be empty ("5.")
  bool negative_exponent = false;
  std::string exponent;  // empty without an exponent
};

// Reads all of `text` (unsigned) as digits, an optional point with digits,
// then an optional "e" or "E" with an optional sign and digits. The mantissa
// holds at least one digit; an exponent present holds at least one.
// nullopt when `text` is not of that form under `syntax`.
std::optional<DecimalDigits> scan_decimal(std::string_view text, const DecimalSyntax& syntax);

// The double nearest to the number (round to nearest): infinity when it is
// too large, zero or a subnormal when too small.
double decimal_value(const DecimalDigits& number);

}  // namespace tessik::detail

#endif  // TESSIK_FOUNDATION_DETAIL_NUMBER_SCAN_HPP_
