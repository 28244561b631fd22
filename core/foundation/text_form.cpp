// The text form and the quoted literal form of Values.
#include <unicode/uchar.h>

#include <charconv>
#include <cmath>
#include <cstdio>
#include <ostream>
#include <string>

#include <tessik/foundation/detail/tree_writer.hpp>
#include <tessik/foundation/detail/utf8.hpp>
#include <tessik/foundation/text.hpp>

namespace tessik {
namespace {

// Shortest round-trip digits, spelled the way a person reads numbers:
// fixed notation for decimal exponents from -4 to 15, exponent notation
// with a signed two-digit-minimum exponent otherwise, ".0" on integral
// values.
void append_double(double d, std::string& out) {
  if (std::isnan(d)) {
    out += "nan";
    return;
  }
  if (std::isinf(d)) {
    out += d < 0 ? "-inf" : "inf";
    return;
  }
  char buf[64];
  const auto result = std::to_chars(buf, buf + sizeof buf, d, std::chars_format::scientific);
  const std::string_view sci(buf, static_cast<std::size_t>(result.ptr - buf));
  // sci is "[-]d[.ddd]e[+-]xx".
  const std::size_t e = sci.find('e');
  std::string_view mantissa = sci.substr(0, e);
  std::string_view exponent_text = sci.substr(e + 1);
  if (exponent_text.front() == '+') exponent_text.remove_prefix(1);
  int exponent = 0;
  std::from_chars(exponent_text.data(), exponent_text.data() + exponent_text.size(), exponent);
  const bool negative = mantissa.front() == '-';
  if (negative) mantissa.remove_prefix(1);
  // At most 17 significant digits.
  char digit_buf[32];
  std::size_t digit_count = 0;
  for (char c : mantissa) {
    if (c != '.') digit_buf[digit_count++] = c;
  }
  const std::string_view digits(digit_buf, digit_count);
  if (negative) out.push_back('-');
  if (exponent < -4 || exponent >= 16) {
    out.push_back(digits[0]);
    if (digits.size() > 1) {
      out.push_back('.');
      out.append(digits.substr(1));
    }
    char exp[16];
    std::snprintf(exp, sizeof exp, "e%c%02d", exponent < 0 ? '-' : '+', std::abs(exponent));
    out += exp;
    return;
  }
  if (exponent < 0) {
    out += "0.";
    out.append(static_cast<std::size_t>(-exponent - 1), '0');
    out += digits;
    return;
  }
  const auto int_len = static_cast<std::size_t>(exponent) + 1;
  if (digits.size() <= int_len) {
    out += digits;
    out.append(int_len - digits.size(), '0');
    out += ".0";
  } else {
    out.append(digits.substr(0, int_len));
    out.push_back('.');
    out.append(digits.substr(int_len));
  }
}

// Printable as the literal form understands it: not a control, format,
// surrogate, private-use, unassigned or separator character, except the
// ASCII blank.
bool is_printable(char32_t cp) {
  if (cp == ' ') return true;
  if (cp < 0x20 || cp == 0x7F) return false;
  if (cp < 0x7F) return true;
  switch (u_charType(static_cast<UChar32>(cp))) {
    case U_CONTROL_CHAR:
    case U_FORMAT_CHAR:
    case U_SURROGATE:
    case U_PRIVATE_USE_CHAR:
    case U_UNASSIGNED:
    case U_SPACE_SEPARATOR:
    case U_LINE_SEPARATOR:
    case U_PARAGRAPH_SEPARATOR:
      return false;
    default:
      return true;
  }
}

void append_hex_escape(std::string& out, char kind, unsigned value, int width) {
  char buf[16];
  std::snprintf(buf, sizeof buf, "\\%c%0*x", kind, width, value);
  out += buf;
}

void append_string_literal(std::string_view s, std::string& out) {
  const bool has_single = s.find('\'') != std::string_view::npos;
  const bool has_double = s.find('"') != std::string_view::npos;
  const char quote = has_single && !has_double ? '"' : '\'';
  out.push_back(quote);
  std::size_t pos = 0;
  while (pos < s.size()) {
    const utf8::Step step = utf8::decode(s, pos);
    if (!step.valid) {
      for (std::size_t i = 0; i < step.length; ++i) {
        append_hex_escape(out, 'x', static_cast<unsigned char>(s[pos + i]), 2);
      }
      pos += step.length;
      continue;
    }
    const char32_t cp = step.code_point;
    if (cp == static_cast<char32_t>(quote) || cp == '\\') {
      out.push_back('\\');
      out.push_back(static_cast<char>(cp));
    } else if (cp == '\n') {
      out += "\\n";
    } else if (cp == '\r') {
      out += "\\r";
    } else if (cp == '\t') {
      out += "\\t";
    } else if (is_printable(cp)) {
      out.append(s.substr(pos, step.length));
    } else if (cp <= 0xFF) {
      append_hex_escape(out, 'x', cp, 2);
    } else if (cp <= 0xFFFF) {
      append_hex_escape(out, 'u', cp, 4);
    } else {
      append_hex_escape(out, 'U', cp, 8);
    }
    pos += step.length;
  }
  out.push_back(quote);
}

void append_scalar_literal(const Value& v, std::string& out) {
  switch (v.kind()) {
    case Value::Kind::null:
      out += "None";
      break;
    case Value::Kind::boolean:
      out += v.as_bool() ? "True" : "False";
      break;
    case Value::Kind::integer:
      out += std::to_string(v.as_int());
      break;
    case Value::Kind::floating:
      append_double(v.as_float(), out);
      break;
    case Value::Kind::string:
      append_string_literal(v.as_string(), out);
      break;
    default:
      break;  // containers are handled by the tree writer
  }
}

// Keys are spelled like values, containers included.
constexpr detail::TreeStyle kLiteralStyle{&append_scalar_literal, nullptr, ", ", ": ", -1};

}  // namespace

std::string text_form(const Value& v) {
  switch (v.kind()) {
    case Value::Kind::string:
      return v.as_string();
    case Value::Kind::sequence:
    case Value::Kind::mapping:
      return repr(v);
    default: {
      std::string out;
      append_scalar_literal(v, out);
      return out;
    }
  }
}

std::string repr(const Value& v) {
  std::string out;
  detail::write_tree(v, kLiteralStyle, out);
  return out;
}

std::string repr(std::string_view s) {
  std::string out;
  out.reserve(s.size() + 2);
  append_string_literal(s, out);
  return out;
}

std::ostream& operator<<(std::ostream& os, const Value& v) { return os << repr(v); }

}  // namespace tessik
