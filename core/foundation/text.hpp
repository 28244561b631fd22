// Text rules shared by the whole library: the white-space set, Unicode case
// mapping, the number conversions, the text and literal forms of values,
// code-point counting, strict UTF-8 file reading and the text form of paths.
//
//   strip("\u00a0 name \n")           -> "name"
//   title("code-quality")             -> "Code-Quality"
//   to_int(Value(" 1_000 "))          -> 1000
//   text_form(Value(1e-05))           -> "1e-05"
//   repr(Value("it's"))               -> "\"it's\""
//   first_code_points("\u00e9t\u00e9", 2) -> "\u00e9t"
//
// Text is UTF-8 in std::string / std::string_view. Every function here
// accepts any bytes: ill-formed UTF-8 never crashes or reads out of bounds.
// Unless a function says otherwise, each byte of an ill-formed sequence
// stands for one uncased, non-space character and passes through unchanged.
//
// All functions are safe to call from several threads at once.
#ifndef TESSIK_FOUNDATION_TEXT_HPP_
#define TESSIK_FOUNDATION_TEXT_HPP_

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <string>
#include <string_view>

#include <tessik/foundation/limits.hpp>
#include <tessik/foundation/value.hpp>

namespace tessik {

// True for the white-space set: U+0009..U+000D, U+001C..U+001F, U+0020,
// U+0085, U+00A0, U+1680, U+2000..U+200A, U+2028, U+2029, U+202F, U+205F and
// U+3000. Zero-width space (U+200B) and the byte-order mark are not in it.
bool is_space(char32_t c) noexcept;

// Remove leading, trailing or both runs of white space (as `is_space`);
// inner characters are never touched. The result views into `s` and does
// not allocate.
std::string_view strip(std::string_view s);
std::string_view lstrip(std::string_view s);
std::string_view rstrip(std::string_view s);

// The Unicode full lower-case mapping, locale-independent and
// context-sensitive ("HIGH" -> "high", "\u0130" -> "i\u0307", a word-final
// capital sigma -> "\u03c2").
std::string lower(std::string_view s);

// The title-casing rule of display names: a character that follows a cased
// letter (one with upper- and lower-case forms) gets its lower-case mapping;
// every other character gets its full title-case mapping. Digits, blanks,
// hyphens, underscores, apostrophes and other uncased characters therefore
// start a new word: "SQL bot" -> "Sql Bot", "x2y" -> "X2Y", "code-quality" ->
// "Code-Quality", "o'neil" -> "O'Neil", "\u00dfa" -> "Ssa".
std::string title(std::string_view s);

// Integer conversion. An integer is unchanged; a double is truncated toward
// zero (12.9 -> 12, -1.5 -> -1); a boolean gives 0 or 1; a string holding an
// optionally signed decimal integer, with white space around it and single
// underscores between digits (" 42 ", "+7", "1_000"), is parsed.
// Throws InvalidValueError for any other string ("42.0", "0x2A", "") and for
// NaN; OverflowError for infinities and for numbers outside the 64-bit
// signed range; TypeError for null, sequences and mappings.
std::int64_t to_int(const Value& v);

// Floating-point conversion. An integer or a boolean gives the equal double;
// a double is unchanged (NaN and infinities included); a string holding a
// decimal number (optional sign, point and exponent, white space around it,
// single underscores between digits: "0.8", " .5 ", "1e-1") or "inf",
// "infinity" or "nan" in any letter case with an optional sign is parsed. A
// literal beyond the double range gives an infinity or zero, as rounding
// would. Throws InvalidValueError for any other string, TypeError for null,
// sequences and mappings.
double to_float(const Value& v);

// The text form: a string unchanged; an integer in decimal; a double as the
// shortest digits that read back as the same number, with ".0" on integral
// values and exponent notation when the decimal exponent is below -4 or 16
// and above ("1.0", "2.5", "0.0001", "1e-05", "1e+16", "inf", "-inf", "nan",
// "-0.0"); "True"/"False"; "None"; a sequence or a mapping in bracket form
// with the literal forms of its elements ("[1, 'a']", "{'k': None}").
// Uses no call-stack recursion: any depth of tree is safe.
std::string text_form(const Value& v);

// The quoted literal form used by "%r". A string is quoted with single
// quotes unless it holds a single quote and no double quote; the backslash
// and the chosen quote are escaped, as are "\n", "\r" and "\t"; other
// non-printable characters (controls, format characters, separators other
// than the ASCII blank, private-use, surrogate and unassigned code points)
// become "\xhh", "\uhhhh" or "\Uhhhhhhhh"; printable non-ASCII is kept as
// is; each byte of ill-formed UTF-8 becomes "\xhh". Null is "None",
// booleans "True"/"False", numbers their text form, sequences "[a, b]" and
// mappings "{k: v}". Uses no call-stack recursion: any depth of tree is safe.
std::string repr(const Value& v);
std::string repr(std::string_view s);
inline std::string repr(const std::string& s) { return repr(std::string_view(s)); }
inline std::string repr(const char* s) { return repr(std::string_view(s)); }

// Prints the quoted literal form (`repr`), so test failures read well.
std::ostream& operator<<(std::ostream& os, const Value& v);

// The number of code points in `s`; each ill-formed byte counts as one.
std::size_t code_point_count(std::string_view s);

// The first `n` code points of `s` (all of `s` when it is shorter), as a
// view into `s`. Never splits a well-formed multi-byte character.
std::string_view first_code_points(std::string_view s, std::size_t n);

// The largest file `read_text_file` reads unless told otherwise: 64 MiB.
inline constexpr std::size_t kMaxTextFileBytes = limits::kTextFileBytes;

// Reads a whole regular file as it is, byte for byte: no decoding, no line
// end changes. Throws FileSystemError as `read_text_file` does (a missing
// path, a directory, anything that is not a regular file) and
// InvalidValueError, before reading, when the file holds more than
// `max_bytes`.
std::string read_file_bytes(const std::filesystem::path& p,
                            std::size_t max_bytes = kMaxTextFileBytes);

// Reads a whole regular file as strict UTF-8 and turns every CR LF pair and
// every lone CR into LF. A leading byte-order mark is kept.
//
// Throws FileSystemError, keeping the errno, for a missing path, a directory
// or an unreadable file ("cannot read a.md: it does not exist", "cannot read
// x.md: it is a directory"), and for anything that is not a regular file (a
// FIFO, a device). Throws UnicodeDecodeError for ill-formed UTF-8, naming
// the bytes and their offset ("a.md is not valid UTF-8: byte 0xFF at offset
// 3") and carrying their line and column (CR LF, lone CR and LF each end a
// line); InvalidValueError when the file holds more than `max_bytes`.
std::string read_text_file(const std::filesystem::path& p,
                           std::size_t max_bytes = kMaxTextFileBytes);

// The lexically tidied text form of a path: repeated separators, a trailing
// separator and "." components dropped, ".." kept, the empty path ".".
// "a//b/" -> "a/b", "./a/./b" -> "a/b", "a/../b" -> "a/../b", "" -> ".".
// Touches no file system.
std::string path_text(const std::filesystem::path& p);

}  // namespace tessik

#endif  // TESSIK_FOUNDATION_TEXT_HPP_
