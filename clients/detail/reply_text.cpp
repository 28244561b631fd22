#include <tessik/clients/detail/reply_text.hpp>

#include <cstdio>
#include <string>

#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/json.hpp>

namespace tessik::clients::detail {
namespace {

// Length of the valid UTF-8 sequence at the start of `s`, 0 if none.
std::size_t utf8_sequence(std::string_view s) noexcept {
  const auto b = [&s](std::size_t i) { return static_cast<unsigned char>(s[i]); };
  const unsigned char lead = b(0);
  std::size_t len = 0;
  if (lead >= 0xC2 && lead <= 0xDF)
    len = 2;
  else if (lead >= 0xE0 && lead <= 0xEF)
    len = 3;
  else if (lead >= 0xF0 && lead <= 0xF4)
    len = 4;
  if (len == 0 || s.size() < len) return 0;
  for (std::size_t i = 1; i < len; ++i) {
    if ((b(i) & 0xC0) != 0x80) return 0;
  }
  if (lead == 0xE0 && b(1) < 0xA0) return 0;  // overlong
  if (lead == 0xED && b(1) > 0x9F) return 0;  // surrogate
  if (lead == 0xF0 && b(1) < 0x90) return 0;  // overlong
  if (lead == 0xF4 && b(1) > 0x8F) return 0;  // beyond U+10FFFF
  return len;
}

std::string text_at(const Value* v) { return v && v->is_string() ? v->as_string() : std::string(); }

}  // namespace

std::string_view status_words(long status) noexcept {
  switch (status) {
    case 400:
      return "bad request";
    case 401:
      return "authentication failed";
    case 403:
      return "permission denied";
    case 404:
      return "not found";
    case 408:
      return "request timed out";
    case 413:
      return "request too large";
    case 429:
      return "rate limited";
    case 500:
      return "server error";
    case 502:
      return "bad gateway";
    case 503:
      return "service unavailable";
    case 504:
      return "gateway timeout";
    case 529:
      return "overloaded";
    default:
      return "request failed";
  }
}

std::string excerpt(std::string_view body, std::size_t limit) {
  std::string out = "'";
  std::size_t i = 0;
  while (i < body.size() && i < limit) {
    const auto c = static_cast<unsigned char>(body[i]);
    if (c >= 0x80) {
      const std::size_t len = utf8_sequence(body.substr(i));
      if (len != 0) {
        out.append(body.substr(i, len));
        i += len;
        continue;
      }
    }
    if (c == '\n') {
      out += "\\n";
    } else if (c == '\'' || c == '\\') {
      out += '\\';
      out += static_cast<char>(c);
    } else if (c < 0x20 || c >= 0x7F) {
      char hex[8];
      std::snprintf(hex, sizeof hex, "\\x%02x", c);
      out += hex;
    } else {
      out += static_cast<char>(c);
    }
    ++i;
  }
  out += '\'';
  if (i < body.size()) out += "...";
  return out;
}

std::string provider_message(std::string_view body) {
  Value parsed;
  try {
    parsed = parse_json(body);
  } catch (const Error&) {
    return {};
  }
  if (!parsed.is_mapping()) return {};
  const Value* error = parsed.find("error");
  if (error && error->is_mapping()) return text_at(error->find("message"));
  if (error && error->is_string()) return error->as_string();
  return text_at(parsed.find("message"));
}

std::string http_failure(long status, int attempts, std::string_view body) {
  std::string message(status_words(status));
  message += " (HTTP " + std::to_string(status);
  if (attempts > 1) message += " after " + std::to_string(attempts) + " attempts";
  message += ")";
  const std::string said = provider_message(body);
  if (!said.empty()) return message + ": " + said;
  if (body.empty()) return message + " with an empty body";
  return message + "; the body begins: " + excerpt(body);
}

Value parse_reply(std::string_view body) {
  if (body.empty()) throw InvalidValueError("the reply body is empty");
  try {
    return parse_json(body);
  } catch (const Error& e) {
    throw InvalidValueError("the reply is not JSON (" + std::string(e.what()) +
                            "); it begins: " + excerpt(body));
  }
}

}  // namespace tessik::clients::detail
