// Text rules shared by the whole library: the white-space set, Unicode case
// mapping, the number conversions, the text and literal forms of values,
// code-point counting, strict UTF-8 file reading and the text form of paths.
//
// Every function that takes text accepts any bytes: invalid UTF-8 never
// crashes, it passes through unchanged (or is counted one byte per code
// point) unless the function says otherwise.
#ifndef TESSIK_TEXT_HPP_
#define TESSIK_TEXT_HPP_

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <string>
#include <string_view>

#include "value.hpp"

namespace tessik {

// True for the white-space set: U+0009..U+000D, U+001C..U+001F, U+0020,
// U+0085, U+00A0, U+1680, U+2000..U+200A, U+2028, U+2029, U+202F, U+205F and
// U+3000.
bool is_space(char32_t c) noexcept;

// Remove leading and/or trailing white space (as `is_space`); inner
// characters are never touched. The result views into `s`.
std::string_view strip(std::string_view s);
std::string_view lstrip(std::string_view s);
std::string_view rstrip(std::string_view s);

// Unicode full lower-case mapping.
std::string lower(std::string_view s);

// The title-casing rule of display names: the first cased letter after any
// non-letter (or at the start) gets its title-case mapping, every other
// letter its lower-case mapping ("SQL bot" -> "Sql Bot", "x2y" -> "X2Y",
// "code-quality" -> "Code-Quality", "ßa" -> "Ssa").
std::string title(std::string_view s);

// Integer conversion. An integer is unchanged; a double is truncated toward
// zero; a boolean gives 0 or 1; a string holding an optionally signed decimal
// integer (white space around it, single underscores between digits) is
// parsed. Throws InvalidValueError for any other string and for NaN,
// OverflowError for infinities and values outside 64 bits, TypeError for
// null, sequences and mappings.
std::int64_t to_int(const Value& v);

// Floating-point conversion. Integers and booleans give the equal double;
// a double is unchanged; a string holding a decimal number (sign, point,
// exponent, white space around, single underscores between digits) or
// "inf", "infinity", "nan" in any case with an optional sign is parsed.
// Throws InvalidValueError for any other string, TypeError for null,
// sequences and mappings.
double to_float(const Value& v);

// The text form: strings unchanged, integers in decimal, doubles as the
// shortest round-trip digits ("1.0", "2.5", "1e-05", "1e+16", "inf", "nan",
// "-0.0"), "True"/"False", "None"; sequences and mappings in bracket form
// with their elements' literal forms.
std::string text_form(const Value& v);

// The quoted literal form used by "%r": strings in quotes with escapes,
// "None", "True"/"False", numbers in text form, sequences "[a, b]" and
// mappings "{k: v}" with their elements' literal forms.
std::string repr(const Value& v);
std::string repr(std::string_view s);
inline std::string repr(const std::string& s) { return repr(std::string_view(s)); }
inline std::string repr(const char* s) { return repr(std::string_view(s)); }

// Prints the quoted literal form (`repr`), so test failures read well.
std::ostream& operator<<(std::ostream& os, const Value& v);

// The number of code points in `s` (an invalid byte counts as one).
std::size_t code_point_count(std::string_view s);

// The first `n` code points of `s` (all of `s` when it is shorter).
std::string_view first_code_points(std::string_view s, std::size_t n);

// Reads a whole file as strict UTF-8 and turns CR LF and lone CR into LF.
// Throws FileSystemError (with the errno; the message reads like
// "[Errno 2] No such file or directory: 'a.md'") for a missing path, a
// directory or an unreadable file; UnicodeDecodeError for invalid UTF-8,
// naming the offending byte and its position; InvalidValueError when the
// file holds more than `max_bytes` bytes (checked before reading a regular
// file whole, and while reading anything else).
std::string read_text_file(const std::filesystem::path& p,
                           std::size_t max_bytes = static_cast<std::size_t>(-1));

// The lexically tidied text form of a path: repeated separators, a trailing
// separator and "." components dropped, ".." kept, the empty path ".".
std::string path_text(const std::filesystem::path& p);

}  // namespace tessik

#endif  // TESSIK_TEXT_HPP_
