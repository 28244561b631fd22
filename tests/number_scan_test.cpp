#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

#include <tessik/foundation/detail/number_scan.hpp>

namespace tessik::detail {
namespace {

constexpr DecimalSyntax kConversion{};
constexpr DecimalSyntax kYamlPlain{.mantissa = Underscores::anywhere,
                                   .exponent = Underscores::none,
                                   .point_required = true,
                                   .exponent_sign_required = true};
constexpr DecimalSyntax kYamlTagged{.mantissa = Underscores::anywhere,
                                    .exponent = Underscores::none};

// "int.frac e sign exp" of a scan, or "-" when the text is refused.
std::string scanned(std::string_view text, const DecimalSyntax& syntax) {
  const std::optional<DecimalDigits> d = scan_decimal(text, syntax);
  if (!d) return "-";
  return d->integer + "." + d->fraction + "e" + (d->negative_exponent ? "-" : "+") + d->exponent;
}

TEST(NumberScan, DecimalSyntaxes) {
  const struct {
    const char* text;
    const char* conversion;
    const char* yaml_plain;
    const char* yaml_tagged;
  } cases[] = {
      {"1.5", "1.5e+", "1.5e+", "1.5e+"},
      {".5", ".5e+", ".5e+", ".5e+"},
      {"5.", "5.e+", "5.e+", "5.e+"},
      {"1e3", "1.e+3", "-", "1.e+3"},
      {"1.0e3", "1.0e+3", "-", "1.0e+3"},
      {"1.0E-3", "1.0e-3", "1.0e-3", "1.0e-3"},
      {"1_000.2_5", "1000.25e+", "1000.25e+", "1000.25e+"},
      {"1__0.0", "-", "10.0e+", "10.0e+"},
      {"1_.5", "-", "1.5e+", "1.5e+"},
      {"._5", "-", ".5e+", ".5e+"},
      {"_1.0", "-", "-", "-"},
      {"1.0e+1_0", "1.0e+10", "-", "-"},
      {"1.0e+_1", "-", "-", "-"},
      {".", "-", "-", "-"},
      {"", "-", "-", "-"},
      {"1.0e", "-", "-", "-"},
      {"1.0e+", "-", "-", "-"},
      {"e5", "-", "-", "-"},
      {"1.0x", "-", "-", "-"},
      {"+1.0", "-", "-", "-"},  // the sign is the caller's
  };
  for (const auto& c : cases) {
    EXPECT_EQ(scanned(c.text, kConversion), c.conversion) << c.text;
    EXPECT_EQ(scanned(c.text, kYamlPlain), c.yaml_plain) << c.text;
    EXPECT_EQ(scanned(c.text, kYamlTagged), c.yaml_tagged) << c.text;
  }
}

TEST(NumberScan, DecimalValueRoundsAndSaturates) {
  const double inf = std::numeric_limits<double>::infinity();
  const struct {
    DecimalDigits digits;
    double expected;
  } cases[] = {
      {{"", "", false, ""}, 0.0},
      {{"1", "25", false, ""}, 1.25},
      {{"", "1", true, "1"}, 0.01},
      {{"17976931348623157", "", false, "292"}, 1.7976931348623157e308},
      {{"1", "", false, "309"}, inf},
      {{"1", "", false, "99999999999999999999"}, inf},
      {{"1", "", true, "310"}, 1e-310},  // subnormal, not flushed
      {{"1", "", true, "400"}, 0.0},
      {{"0", "", false, "99999999999999999999"}, 0.0},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(decimal_value(c.digits), c.expected)
        << c.digits.integer << "." << c.digits.fraction << "e" << c.digits.exponent;
  }
}

TEST(NumberScan, IntegersInEveryBaseUpToTheSignedRange) {
  const struct {
    const char* text;
    unsigned base;
    Underscores rule;
    std::optional<std::int64_t> expected;  // nullopt: refused
    bool overflow;
  } cases[] = {
      {"42", 10, Underscores::between_digits, 42, false},
      {"-1_000", 10, Underscores::between_digits, -1000, false},
      {"1__0", 10, Underscores::between_digits, std::nullopt, false},
      {"1_", 10, Underscores::between_digits, std::nullopt, false},
      {"1__0_", 10, Underscores::anywhere, 10, false},
      {"_", 10, Underscores::anywhere, std::nullopt, false},
      {"1_0", 10, Underscores::none, std::nullopt, false},
      {"ff", 16, Underscores::anywhere, 255, false},
      {"_fF", 16, Underscores::anywhere, 255, false},
      {"fg", 16, Underscores::anywhere, std::nullopt, false},
      {"101", 2, Underscores::anywhere, 5, false},
      {"102", 2, Underscores::anywhere, std::nullopt, false},
      {"017", 8, Underscores::anywhere, 15, false},
      {"018", 8, Underscores::anywhere, std::nullopt, false},
      {"", 10, Underscores::anywhere, std::nullopt, false},
      {"-", 10, Underscores::anywhere, std::nullopt, false},
      {"9223372036854775807", 10, Underscores::none, INT64_MAX, false},
      {"-9223372036854775808", 10, Underscores::none, INT64_MIN, false},
      {"9223372036854775808", 10, Underscores::none, std::nullopt, true},
      {"-9223372036854775809", 10, Underscores::none, std::nullopt, true},
      {"-8000000000000000", 16, Underscores::none, INT64_MIN, false},
      {"99999999999999999999999", 10, Underscores::none, std::nullopt, true},
  };
  for (const auto& c : cases) {
    std::string_view t = c.text;
    const bool negative = take_sign(t);
    Magnitude m(magnitude_limit(negative));
    const bool read = read_magnitude(t, c.base, c.rule, m);
    EXPECT_EQ(read, c.expected.has_value() || c.overflow) << c.text;
    if (!read) continue;
    EXPECT_EQ(m.overflow(), c.overflow) << c.text;
    EXPECT_EQ(signed_value(negative, m), c.expected) << c.text;
  }
}

}  // namespace
}  // namespace tessik::detail
