#include <tessik/foundation/detail/utf8.hpp>

#include <unicode/utf8.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace tessik::utf8 {

Step decode(std::string_view s, std::size_t pos) noexcept {
  // A sequence is at most 4 bytes long; decoding within that window keeps
  // the 32-bit offsets of the ICU macro valid for text of any size.
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(s.data() + pos);
  const auto window = static_cast<std::int32_t>(std::min<std::size_t>(4, s.size() - pos));
  std::int32_t consumed = 0;
  UChar32 c = 0;
  U8_NEXT(bytes, consumed, window, c);
  if (c < 0) return {static_cast<char32_t>(bytes[0]), static_cast<std::size_t>(consumed), false};
  return {static_cast<char32_t>(c), static_cast<std::size_t>(consumed), true};
}

std::size_t first_invalid(std::string_view s) noexcept {
  std::size_t pos = 0;
  while (pos < s.size()) {
    // ASCII fast path: eight bytes at a time while none has its top bit set,
    // then byte by byte.
    if (s.size() - pos >= 8) {
      std::uint64_t word = 0;
      std::memcpy(&word, s.data() + pos, 8);
      if ((word & 0x8080808080808080ULL) == 0) {
        pos += 8;
        continue;
      }
    }
    if (static_cast<unsigned char>(s[pos]) < 0x80) {
      ++pos;
      continue;
    }
    const Step step = decode(s, pos);
    if (!step.valid) return pos;
    pos += step.length;
  }
  return std::string_view::npos;
}

}  // namespace tessik::utf8
