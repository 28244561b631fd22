// Lower-casing of the short words the library looks up in its fixed tables
// (severity words, categories, file names and extensions), without building
// a string for the usual case.
#ifndef TESSIK_FOUNDATION_DETAIL_SHORT_LOWER_HPP_
#define TESSIK_FOUNDATION_DETAIL_SHORT_LOWER_HPP_

#include <cstddef>
#include <string>
#include <string_view>

#include <tessik/foundation/text.hpp>

namespace tessik::detail {

// The lower-cased form of a word, held by this object. ASCII text of up to
// kBufferBytes bytes is lowered into an inline buffer; longer text, or text
// with a byte outside ASCII, goes through `lower` (Unicode mapping) into a
// string. Either way `view()` is exactly `lower(text)`.
//
// With `ascii_only`, bytes outside ASCII are copied unchanged instead: for
// keys of tables that hold only ASCII, where such text matches nothing
// whichever way it is mapped.
//
// Not copyable or movable: `view()` may point into the object itself.
class ShortLower {
 public:
  static constexpr std::size_t kBufferBytes = 32;

  explicit ShortLower(std::string_view text, bool ascii_only = false) {
    const auto lowered = [](char c) {
      return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
    };
    if (text.size() <= kBufferBytes) {
      std::size_t i = 0;
      for (; i < text.size(); ++i) {
        if (static_cast<unsigned char>(text[i]) >= 0x80 && !ascii_only) break;
        buffer_[i] = lowered(text[i]);
      }
      if (i == text.size()) {
        view_ = std::string_view(buffer_, text.size());
        return;
      }
    }
    if (ascii_only) {
      spill_.assign(text);
      for (char& c : spill_) c = lowered(c);
    } else {
      spill_ = lower(text);
    }
    view_ = spill_;
  }
  ShortLower(const ShortLower&) = delete;
  ShortLower& operator=(const ShortLower&) = delete;

  std::string_view view() const noexcept { return view_; }

 private:
  char buffer_[kBufferBytes];
  std::string spill_;
  std::string_view view_;
};

}  // namespace tessik::detail

#endif  // TESSIK_FOUNDATION_DETAIL_SHORT_LOWER_HPP_
