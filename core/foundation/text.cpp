// White space, code-point counting and cutting, and the text form of paths.
#include <tessik/foundation/text.hpp>

#include <cstdint>
#include <string>
#include <vector>

#include <tessik/foundation/detail/utf8.hpp>

namespace tessik {
namespace {

// The length of the code point at `pos`; an ill-formed byte counts alone.
std::size_t code_point_length(std::string_view s, std::size_t pos) noexcept {
  if (static_cast<unsigned char>(s[pos]) < 0x80) return 1;
  const utf8::Step step = utf8::decode(s, pos);
  return step.valid ? step.length : 1;
}

// Bit b set for each ASCII white-space byte b: U+0009..U+000D and
// U+001C..U+0020, the ASCII part of `is_space`.
constexpr std::uint64_t kAsciiSpaceBits = std::uint64_t{0x1F} << 9 | std::uint64_t{0x1F} << 28;

bool is_ascii_space(unsigned char byte) noexcept {
  return byte <= 0x20 && ((kAsciiSpaceBits >> byte) & 1) != 0;
}

}  // namespace

bool is_space(char32_t c) noexcept {
  if (c <= 0x20) return (c >= 0x09 && c <= 0x0D) || (c >= 0x1C && c <= 0x20);
  switch (c) {
    case 0x85:
    case 0xA0:
    case 0x1680:
    case 0x2028:
    case 0x2029:
    case 0x202F:
    case 0x205F:
    case 0x3000:
      return true;
    default:
      return c >= 0x2000 && c <= 0x200A;
  }
}

std::string_view lstrip(std::string_view s) {
  std::size_t pos = 0;
  while (pos < s.size()) {
    const auto byte = static_cast<unsigned char>(s[pos]);
    if (byte < 0x80) {
      if (!is_ascii_space(byte)) break;
      ++pos;
      continue;
    }
    const utf8::Step step = utf8::decode(s, pos);
    if (!step.valid || !is_space(step.code_point)) break;
    pos += step.length;
  }
  return s.substr(pos);
}

std::string_view rstrip(std::string_view s) {
  // The last ASCII byte that is not white space ends what is kept at the
  // least. An ASCII byte always stands alone, even next to ill-formed bytes,
  // so only the bytes after it need decoding: none when the text ends in
  // ASCII.
  std::size_t start = s.size();
  while (start > 0) {
    const auto byte = static_cast<unsigned char>(s[start - 1]);
    if (byte < 0x80 && !is_ascii_space(byte)) break;
    --start;
  }
  // Walks forward from there, since ill-formed UTF-8 cannot be decoded
  // backward reliably, remembering where the trailing run of white space
  // starts.
  std::size_t pos = start;
  std::size_t keep = start;
  while (pos < s.size()) {
    const utf8::Step step = utf8::decode(s, pos);
    pos += step.length;
    if (!step.valid || !is_space(step.code_point)) keep = pos;
  }
  return s.substr(0, keep);
}

std::string_view strip(std::string_view s) { return rstrip(lstrip(s)); }

std::size_t code_point_count(std::string_view s) {
  std::size_t count = 0;
  for (std::size_t pos = 0; pos < s.size(); ++count) pos += code_point_length(s, pos);
  return count;
}

std::string_view first_code_points(std::string_view s, std::size_t n) {
  std::size_t pos = 0;
  for (std::size_t taken = 0; taken < n && pos < s.size(); ++taken) {
    pos += code_point_length(s, pos);
  }
  return s.substr(0, pos);
}

std::string path_text(const std::filesystem::path& p) {
  const std::string& s = p.native();
  if (s.empty()) return ".";
  std::string out;
  out.reserve(s.size());
  if (s.front() == '/') out.push_back('/');
  std::string_view rest(s);
  bool first = true;
  while (!rest.empty()) {
    const std::size_t slash = rest.find('/');
    const std::string_view part = rest.substr(0, slash);
    if (!part.empty() && part != ".") {
      if (!first) out += '/';
      out += part;
      first = false;
    }
    if (slash == std::string_view::npos) break;
    rest.remove_prefix(slash + 1);
  }
  if (out.empty()) out.push_back('.');
  return out;
}

}  // namespace tessik
