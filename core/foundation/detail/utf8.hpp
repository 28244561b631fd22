// The UTF-8 decoding step shared by the text functions.
//
// Decoding is strict (no overlong forms, no surrogates, nothing above
// U+10FFFF) and never reads past the end of its input. An ill-formed
// sequence is reported as one invalid unit covering its maximal ill-formed
// subpart, so callers can pass such bytes through unchanged.
#ifndef TESSIK_FOUNDATION_DETAIL_UTF8_HPP_
#define TESSIK_FOUNDATION_DETAIL_UTF8_HPP_

#include <cstddef>
#include <string_view>

namespace tessik::utf8 {

// One decoding step: the code point at a position and how many bytes it
// took. `valid` is false for an ill-formed sequence (then `code_point` is
// the first byte's value and `length` covers the ill-formed bytes).
struct Step {
  char32_t code_point;
  std::size_t length;
  bool valid;
};

// Decodes the code point starting at byte `pos` of `s` (`pos` < size).
Step decode(std::string_view s, std::size_t pos) noexcept;

// The byte offset of the first ill-formed sequence, or npos when `s` is
// well-formed UTF-8.
std::size_t first_invalid(std::string_view s) noexcept;

}  // namespace tessik::utf8

#endif  // TESSIK_FOUNDATION_DETAIL_UTF8_HPP_
