#include "utf8.hpp"

#include <unicode/utf8.h>

#include <cstdint>

namespace tessik::utf8 {

Step decode(std::string_view s, std::size_t pos) noexcept {
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(s.data());
  const auto length = static_cast<std::int32_t>(s.size());
  auto i = static_cast<std::int32_t>(pos);
  UChar32 c = 0;
  U8_NEXT(bytes, i, length, c);
  const auto consumed = static_cast<std::size_t>(i) - pos;
  if (c < 0) return {static_cast<char32_t>(bytes[pos]), consumed, false};
  return {static_cast<char32_t>(c), consumed, true};
}

std::size_t first_invalid(std::string_view s) noexcept {
  std::size_t pos = 0;
  while (pos < s.size()) {
    // ASCII fast path.
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

void append(std::string& out, char32_t cp) {
  char buf[4];
  std::int32_t n = 0;
  UBool error = false;
  U8_APPEND(reinterpret_cast<std::uint8_t*>(buf), n, 4, static_cast<UChar32>(cp), error);
  if (!error) out.append(buf, static_cast<std::size_t>(n));
}

}  // namespace tessik::utf8
