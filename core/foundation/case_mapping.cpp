// Unicode lower-casing and the title-casing rule of display names, through
// ICU's full (multi-character, context-sensitive) case mappings.
#include <unicode/bytestream.h>
#include <unicode/casemap.h>
#include <unicode/stringoptions.h>
#include <unicode/uchar.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <string>

#include <tessik/foundation/detail/utf8.hpp>
#include <tessik/foundation/text.hpp>

namespace tessik {
namespace {

bool is_ascii(std::string_view s) noexcept {
  return std::all_of(s.begin(), s.end(),
                     [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

char ascii_lower(char c) noexcept { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }
char ascii_upper(char c) noexcept { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; }
bool ascii_cased(char c) noexcept { return ascii_lower(c) != ascii_upper(c); }

bool is_cased(char32_t cp) noexcept {
  return u_hasBinaryProperty(static_cast<UChar32>(cp), UCHAR_CASED) != 0;
}
bool is_case_ignorable(char32_t cp) noexcept {
  return u_hasBinaryProperty(static_cast<UChar32>(cp), UCHAR_CASE_IGNORABLE) != 0;
}

// ICU takes 32-bit lengths; longer text is mapped in pieces cut before a
// lead byte (the final-sigma context does not reach across a cut).
constexpr std::size_t kPieceBytes = std::size_t{1} << 30;

std::size_t piece_end(std::string_view s, std::size_t begin) noexcept {
  if (s.size() - begin <= kPieceBytes) return s.size();
  std::size_t end = begin + kPieceBytes;
  for (int back = 0; back < 3 && (static_cast<unsigned char>(s[end]) & 0xC0) == 0x80; ++back) --end;
  return end;
}

// Appends the full lower-case mapping of `s` (root locale). ICU copies
// ill-formed bytes through unchanged.
void append_lower(std::string_view s, std::string& out) {
  icu::StringByteSink<std::string> sink(&out);
  for (std::size_t begin = 0; begin < s.size();) {
    const std::size_t end = piece_end(s, begin);
    UErrorCode status = U_ZERO_ERROR;
    icu::CaseMap::utf8ToLower("", 0,
                              icu::StringPiece(s.data() + begin, static_cast<int32_t>(end - begin)),
                              sink, nullptr, status);
    if (U_FAILURE(status)) out.append(s.substr(begin, end - begin));
    begin = end;
  }
}

// Appends the full title-case mapping of one encoded code point ("ß" ->
// "Ss", "ǆ" -> "ǅ").
void append_title(std::string_view encoded, std::string& out) {
  icu::StringByteSink<std::string> sink(&out);
  UErrorCode status = U_ZERO_ERROR;
  icu::CaseMap::utf8ToTitle(
      "", U_TITLECASE_WHOLE_STRING | U_TITLECASE_NO_BREAK_ADJUSTMENT | U_TITLECASE_NO_LOWERCASE,
      nullptr, icu::StringPiece(encoded.data(), static_cast<int32_t>(encoded.size())), sink,
      nullptr, status);
  if (U_FAILURE(status)) out.append(encoded);
}

// Whether the capital sigma that ends at byte `after` of `s` is in the
// final-sigma context on its right: no cased letter follows it once
// case-ignorable characters are skipped.
bool ends_word(std::string_view s, std::size_t after) noexcept {
  for (std::size_t pos = after; pos < s.size();) {
    const utf8::Step step = utf8::decode(s, pos);
    if (!step.valid) return true;
    if (!is_case_ignorable(step.code_point)) return !is_cased(step.code_point);
    pos += step.length;
  }
  return true;
}

std::string ascii_title(std::string_view s) {
  std::string out(s);
  bool previous_cased = false;
  for (char& c : out) {
    const bool cased = ascii_cased(c);
    c = previous_cased ? ascii_lower(c) : ascii_upper(c);
    previous_cased = cased;
  }
  return out;
}

}  // namespace

std::string lower(std::string_view s) {
  // ASCII is mapped while it is copied; text with anything else goes to ICU
  // whole, since a mapping can depend on the letters before it (a final
  // sigma).
  std::string out(s.size(), '\0');
  for (std::size_t i = 0; i < s.size(); ++i) {
    if (static_cast<unsigned char>(s[i]) >= 0x80) {
      out.clear();
      append_lower(s, out);
      return out;
    }
    out[i] = ascii_lower(s[i]);
  }
  return out;
}

std::string title(std::string_view s) {
  if (is_ascii(s)) return ascii_title(s);
  std::string out;
  out.reserve(s.size());
  bool previous_cased = false;
  // Whether the last character that is not case-ignorable was cased: the
  // left half of the final-sigma context.
  bool cased_before = false;
  std::size_t pos = 0;
  while (pos < s.size()) {
    const utf8::Step step = utf8::decode(s, pos);
    if (!step.valid) {
      // Each ill-formed byte stands for one uncased character.
      out.push_back(s[pos]);
      previous_cased = cased_before = false;
      ++pos;
      continue;
    }
    const char32_t cp = step.code_point;
    const std::string_view encoded = s.substr(pos, step.length);
    if (!previous_cased) {
      append_title(encoded, out);
    } else if (cp == U'\u03A3') {
      // Lower-casing a capital sigma alone loses its context; decide
      // between the final and the ordinary small sigma here.
      out += cased_before && ends_word(s, pos + step.length) ? "\u03C2" : "\u03C3";
    } else {
      append_lower(encoded, out);
    }
    previous_cased = is_cased(cp);
    if (!is_case_ignorable(cp)) cased_before = previous_cased;
    pos += step.length;
  }
  return out;
}

}  // namespace tessik
