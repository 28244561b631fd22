// A reader for the small JSON objects of a stream's frequent delta events,
// which reads them in place instead of building a value tree.
//
//   EventScan scan(data);
//   std::string_view text;
//   const bool ok = scan.object([&](std::string_view key) {
//     return key == "text" && scan.string(text);
//   }) && scan.at_end();
//   if (ok) append_unescaped(out, text);
//
// It takes only a narrow, exact part of JSON: objects and arrays of strings,
// non-negative integers of at most 18 digits, true, false and null. It
// refuses (returns false) anything beyond that part: other numbers, a
// "\u" escape, a key with any escape, a key a member callback does not
// take. Everything it takes, the full JSON parser reads as the same
// values, so a caller that falls back to the full parser on a refusal gets
// the same result either way, errors included.
#ifndef TESSIK_CLIENTS_DETAIL_EVENT_SCAN_HPP_
#define TESSIK_CLIENTS_DETAIL_EVENT_SCAN_HPP_

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tessik::clients::detail {

// The bytes a string holds as they are: not a quote, a backslash, a control
// character or a byte above ASCII.
inline constexpr std::array<bool, 256> kPlainStringByte = [] {
  std::array<bool, 256> plain{};
  for (int c = 0x20; c < 0x80; ++c) plain[static_cast<std::size_t>(c)] = c != '"' && c != '\\';
  return plain;
}();

// Not thread-safe; the text must outlive the scanner and the views it gives.
class EventScan {
 public:
  explicit EventScan(std::string_view text) noexcept
      : at_(text.data()), end_(text.data() + text.size()) {}

  // An object: calls `member(key)` with the scanner before each member's
  // value, which `member` must read (returning true) or refuse (false).
  template <class Member>
  bool object(Member&& member) {
    if (!eat('{')) return false;
    if (eat('}')) return true;
    do {
      std::string_view key;
      if (!string(key) || key.find('\\') != std::string_view::npos || !eat(':') || !member(key)) {
        return false;
      }
    } while (eat(','));
    return eat('}');
  }

  // An array: calls `item()` before each element, which it must read.
  template <class Item>
  bool array(Item&& item) {
    if (!eat('[')) return false;
    if (eat(']')) return true;
    do {
      if (!item()) return false;
    } while (eat(','));
    return eat(']');
  }

  // A string; `raw` is its text between the quotes, escapes not yet
  // undone (see append_unescaped).
  bool string(std::string_view& raw) noexcept {
    if (!eat('"')) return false;
    const char* const begin = at_;
    while (at_ != end_ && kPlainStringByte[static_cast<unsigned char>(*at_)]) ++at_;
    if (at_ != end_ && *at_ == '"') {
      raw = std::string_view(begin, static_cast<std::size_t>(at_++ - begin));
      return true;
    }
    return string_tail(begin, raw);
  }
  // A non-negative integer of at most 18 digits without a leading zero.
  bool integer(std::int64_t& value) noexcept;
  // null.
  bool null() noexcept { return literal("null"); }
  // A string, an integer as above, true, false or null, not kept.
  bool scalar() noexcept;
  // Only white space is left.
  bool at_end() noexcept;

 private:
  // Inline: called once per token, so a call would cost more than the work.
  void skip_space() noexcept {
    while (at_ != end_ && (*at_ == ' ' || *at_ == '\n' || *at_ == '\r' || *at_ == '\t')) ++at_;
  }
  bool eat(char c) noexcept {
    skip_space();
    if (at_ == end_ || *at_ != c) return false;
    ++at_;
    return true;
  }
  bool literal(std::string_view word) noexcept;
  bool string_tail(const char* begin, std::string_view& raw) noexcept;

  const char* at_;
  const char* end_;
};

// The members met so far, one bit each, so that a repeated one can be
// refused (the full parser keeps the last of repeated members).
class SeenMembers {
 public:
  // True the first time `bit` is met.
  bool first(unsigned bit) noexcept {
    const bool fresh = (bits_ & bit) == 0;
    bits_ |= bit;
    return fresh;
  }
  // Every bit of `mask` was met.
  bool all(unsigned mask) const noexcept { return (bits_ & mask) == mask; }

 private:
  unsigned bits_ = 0;
};

// Appends the text of a string EventScan::string took to `out`.
void append_unescaped(std::string& out, std::string_view raw);

}  // namespace tessik::clients::detail

#endif  // TESSIK_CLIENTS_DETAIL_EVENT_SCAN_HPP_
