#include "change/quoted_path.hpp"

#include <algorithm>

#include <tessik/foundation/detail/utf8.hpp>

namespace tessik::cli {
namespace {

bool needs_quoting(std::string_view bytes) {
  const bool special = std::any_of(bytes.begin(), bytes.end(), [](char ch) {
    const auto c = static_cast<unsigned char>(ch);
    return c < 0x20 || c == 0x7F || c == '"' || c == '\\';
  });
  return special || utf8::first_invalid(bytes) != std::string_view::npos;
}

std::string quoted(std::string_view bytes) {
  std::string out = "\"";
  for (const char ch : bytes) {
    const auto c = static_cast<unsigned char>(ch);
    switch (c) {
      case '\t':
        out += "\\t";
        continue;
      case '\n':
        out += "\\n";
        continue;
      case '"':
        out += "\\\"";
        continue;
      case '\\':
        out += "\\\\";
        continue;
      default:
        break;
    }
    if (c < 0x20 || c >= 0x7F) {
      out += '\\';
      out += static_cast<char>('0' + (c >> 6));
      out += static_cast<char>('0' + ((c >> 3) & 7));
      out += static_cast<char>('0' + (c & 7));
    } else {
      out += ch;
    }
  }
  return out + '"';
}

char escaped(char c) {
  switch (c) {
    case 'n':
      return '\n';
    case 't':
      return '\t';
    case 'r':
      return '\r';
    case 'a':
      return '\a';
    case 'b':
      return '\b';
    case 'f':
      return '\f';
    case 'v':
      return '\v';
    default:
      return c;  // \\ and \"
  }
}

// Unquotes the quoted token at the front of `s` (which begins with '"')
// into `out`; returns the position of its closing quote, npos when the token
// is not closed.
std::size_t unquote(std::string_view s, std::string& out) {
  for (std::size_t i = 1; i < s.size(); ++i) {
    if (s[i] == '"') return i;
    if (s[i] != '\\' || i + 1 == s.size()) {
      out += s[i];
      continue;
    }
    const char c = s[++i];
    if (c < '0' || c > '7') {
      out += escaped(c);
      continue;
    }
    int code = 0;
    for (int k = 0; k < 3 && i < s.size() && s[i] >= '0' && s[i] <= '7'; ++k, ++i) {
      code = code * 8 + (s[i] - '0');
    }
    --i;
    out += static_cast<char>(code);
  }
  return std::string_view::npos;
}

}  // namespace

std::string take_quoted_path(std::string_view& s) {
  if (s.empty() || s.front() != '"') {
    std::string out(s);
    s = {};
    return out;
  }
  std::string out;
  const std::size_t close = unquote(s, out);
  s.remove_prefix(close == std::string_view::npos ? s.size() : close + 1);
  return out;
}

std::string shown_path(std::string_view bytes) {
  return needs_quoting(bytes) ? quoted(bytes) : std::string(bytes);
}

std::string shown_path(std::string_view prefix, std::string_view bytes) {
  std::string whole(prefix);
  whole += bytes;
  return needs_quoting(bytes) ? quoted(whole) : whole;
}

std::string path_from_shown(std::string_view shown) {
  if (shown.empty() || shown.front() != '"') return std::string(shown);
  std::string bytes;
  // Only a token whose closing quote is the last byte is a quoted form.
  return unquote(shown, bytes) == shown.size() - 1 ? bytes : std::string(shown);
}

}  // namespace tessik::cli
