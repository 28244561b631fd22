// A hash for the short keys the library looks up most (table words, JSON
// object keys), cheap whatever the key's length.
#ifndef TESSIK_FOUNDATION_DETAIL_SHORT_KEY_HASH_HPP_
#define TESSIK_FOUNDATION_DETAIL_SHORT_KEY_HASH_HPP_

#include <cstdint>
#include <string_view>

namespace tessik::detail {

// The key's length and its first, middle and last bytes, mixed by one
// multiplication: a handful of instructions, and enough to tell apart the
// words of a table or the keys of one object. The high bits are the best
// mixed; callers take theirs from there. Not for keys an adversary could
// choose to collide where that would cost more than a longer probe.
constexpr std::uint64_t short_key_hash(std::string_view key) noexcept {
  std::uint64_t h = key.size();
  if (!key.empty()) {
    h |= std::uint64_t{static_cast<unsigned char>(key.front())} << 8 |
         std::uint64_t{static_cast<unsigned char>(key[key.size() / 2])} << 16 |
         std::uint64_t{static_cast<unsigned char>(key.back())} << 24;
  }
  return h * 0x9E3779B97F4A7C15ULL;
}

}  // namespace tessik::detail

#endif  // TESSIK_FOUNDATION_DETAIL_SHORT_KEY_HASH_HPP_
