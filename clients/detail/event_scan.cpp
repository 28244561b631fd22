#include <tessik/clients/detail/event_scan.hpp>

#include <cstring>

#include <tessik/foundation/detail/utf8.hpp>

namespace tessik::clients::detail {
namespace {

// The escapes a string may hold here, and what each stands for.
char unescaped(char c) noexcept {
  switch (c) {
    case '"':
    case '\\':
    case '/':
      return c;
    case 'b':
      return '\b';
    case 'f':
      return '\f';
    case 'n':
      return '\n';
    case 'r':
      return '\r';
    case 't':
      return '\t';
    default:
      return 0;  // "\u" and anything not an escape
  }
}

}  // namespace

bool EventScan::literal(std::string_view word) noexcept {
  skip_space();
  if (static_cast<std::size_t>(end_ - at_) < word.size() ||
      std::memcmp(at_, word.data(), word.size()) != 0) {
    return false;
  }
  at_ += word.size();
  return true;
}

// The rest of a string from `begin` once a byte that is not plain was met.
bool EventScan::string_tail(const char* begin, std::string_view& raw) noexcept {
  bool wide = false;  // bytes above ASCII: checked as UTF-8 at the end
  for (; at_ != end_; ++at_) {
    while (at_ != end_ && kPlainStringByte[static_cast<unsigned char>(*at_)]) ++at_;
    if (at_ == end_) break;
    const auto c = static_cast<unsigned char>(*at_);
    if (c == '"') {
      raw = std::string_view(begin, static_cast<std::size_t>(at_ - begin));
      ++at_;
      return !wide || utf8::first_invalid(raw) == std::string_view::npos;
    }
    if (c < 0x20) return false;
    if (c >= 0x80) wide = true;
    if (c == '\\' && (++at_ == end_ || unescaped(*at_) == 0)) return false;
  }
  return false;
}

bool EventScan::integer(std::int64_t& value) noexcept {
  skip_space();
  const char* const begin = at_;
  while (at_ != end_ && *at_ >= '0' && *at_ <= '9') ++at_;
  const std::ptrdiff_t digits = at_ - begin;
  if (digits == 0 || digits > 18 || (digits > 1 && *begin == '0')) return false;
  // A fraction or an exponent makes it another kind of number.
  if (at_ != end_ && (*at_ == '.' || *at_ == 'e' || *at_ == 'E')) return false;
  value = 0;
  for (const char* d = begin; d != at_; ++d) value = value * 10 + (*d - '0');
  return true;
}

bool EventScan::scalar() noexcept {
  skip_space();
  if (at_ == end_) return false;
  std::string_view text;
  std::int64_t number = 0;
  switch (*at_) {
    case '"':
      return string(text);
    case 't':
      return literal("true");
    case 'f':
      return literal("false");
    case 'n':
      return literal("null");
    default:
      return integer(number);
  }
}

bool EventScan::at_end() noexcept {
  skip_space();
  return at_ == end_;
}

void append_unescaped(std::string& out, std::string_view raw) {
  std::size_t from = 0;
  for (std::size_t slash = raw.find('\\'); slash != std::string_view::npos;
       slash = raw.find('\\', from)) {
    out.append(raw.substr(from, slash - from));
    out += unescaped(raw[slash + 1]);
    from = slash + 2;
  }
  out.append(raw.substr(from));
}

}  // namespace tessik::clients::detail
