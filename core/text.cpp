// White space, case mapping, code points, file reading and path text.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <unicode/ucasemap.h>
#include <unicode/uchar.h>

#include <cerrno>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "errors.hpp"
#include "text.hpp"
#include "utf8.hpp"

namespace tessik {
namespace {

// Applies `map` to each maximal well-formed run of `s`; ill-formed bytes are
// copied unchanged.
template <class Map>
std::string map_valid_runs(std::string_view s, Map map) {
  std::string out;
  out.reserve(s.size());
  std::size_t pos = 0;
  while (pos < s.size()) {
    std::size_t end = pos;
    while (end < s.size()) {
      const utf8::Step step = utf8::decode(s, end);
      if (!step.valid) break;
      end += step.length;
    }
    if (end > pos) map(s.substr(pos, end - pos), out);
    if (end < s.size()) {
      const utf8::Step bad = utf8::decode(s, end);
      out.append(s.substr(end, bad.length));
      end += bad.length;
    }
    pos = end;
  }
  return out;
}

void icu_lower(std::string_view run, std::string& out) {
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<UCaseMap, decltype(&ucasemap_close)> map(ucasemap_open("", 0, &status),
                                                           &ucasemap_close);
  if (U_FAILURE(status)) {
    out.append(run);
    return;
  }
  // Lower-casing grows text by at most a factor of 3 in UTF-8.
  std::string buf(run.size() * 3 + 4, '\0');
  status = U_ZERO_ERROR;
  const int32_t n = ucasemap_utf8ToLower(map.get(), buf.data(), static_cast<int32_t>(buf.size()),
                                         run.data(), static_cast<int32_t>(run.size()), &status);
  if (U_FAILURE(status)) {
    out.append(run);
    return;
  }
  out.append(buf.data(), static_cast<std::size_t>(n));
}

using CaseMap = std::unique_ptr<UCaseMap, decltype(&ucasemap_close)>;

// A case map that title-cases a whole string as one word, so no break
// iterator is needed.
CaseMap open_title_map() {
  UErrorCode status = U_ZERO_ERROR;
  return CaseMap(
      ucasemap_open("", U_TITLECASE_WHOLE_STRING | U_TITLECASE_NO_BREAK_ADJUSTMENT, &status),
      &ucasemap_close);
}

// Full title-case or lower-case mapping of one encoded code point.
void map_code_point(UCaseMap* map, std::string_view encoded, bool to_title, std::string& out) {
  char buf[32];
  UErrorCode status = U_ZERO_ERROR;
  const auto len = static_cast<int32_t>(encoded.size());
  const int32_t n = map == nullptr ? -1
                    : to_title
                        ? ucasemap_utf8ToTitle(map, buf, sizeof buf, encoded.data(), len, &status)
                        : ucasemap_utf8ToLower(map, buf, sizeof buf, encoded.data(), len, &status);
  if (n < 0 || U_FAILURE(status)) {
    out.append(encoded);
    return;
  }
  out.append(buf, static_cast<std::size_t>(n));
}

[[noreturn]] void throw_os_error(int err, const std::filesystem::path& p) {
  throw FileSystemError("[Errno " + std::to_string(err) + "] " +
                            std::generic_category().message(err) + ": " + repr(p.string()),
                        err);
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
    const utf8::Step step = utf8::decode(s, pos);
    if (!step.valid || !is_space(step.code_point)) break;
    pos += step.length;
  }
  return s.substr(pos);
}

std::string_view rstrip(std::string_view s) {
  // Walk forward (UTF-8 cannot be decoded backward safely when ill-formed),
  // remembering where the trailing run of white space starts.
  std::size_t pos = 0;
  std::size_t keep = 0;
  while (pos < s.size()) {
    const utf8::Step step = utf8::decode(s, pos);
    pos += step.length;
    if (!step.valid || !is_space(step.code_point)) keep = pos;
  }
  return s.substr(0, keep);
}

std::string_view strip(std::string_view s) { return rstrip(lstrip(s)); }

std::string lower(std::string_view s) { return map_valid_runs(s, icu_lower); }

std::string title(std::string_view s) {
  std::string out;
  out.reserve(s.size());
  const CaseMap map = open_title_map();
  bool previous_cased = false;
  std::size_t pos = 0;
  while (pos < s.size()) {
    const utf8::Step step = utf8::decode(s, pos);
    if (!step.valid) {
      out.append(s.substr(pos, step.length));
      previous_cased = false;
    } else {
      map_code_point(map.get(), s.substr(pos, step.length), /*to_title=*/!previous_cased, out);
      previous_cased = u_hasBinaryProperty(static_cast<UChar32>(step.code_point), UCHAR_CASED);
    }
    pos += step.length;
  }
  return out;
}

std::size_t code_point_count(std::string_view s) {
  std::size_t count = 0;
  for (std::size_t pos = 0; pos < s.size(); ++count) {
    if (static_cast<unsigned char>(s[pos]) < 0x80) {
      ++pos;
    } else {
      pos += utf8::decode(s, pos).length;
    }
  }
  return count;
}

std::string_view first_code_points(std::string_view s, std::size_t n) {
  std::size_t pos = 0;
  for (std::size_t taken = 0; taken < n && pos < s.size(); ++taken) {
    if (static_cast<unsigned char>(s[pos]) < 0x80) {
      ++pos;
    } else {
      pos += utf8::decode(s, pos).length;
    }
  }
  return s.substr(0, pos);
}

std::string read_text_file(const std::filesystem::path& p, std::size_t max_bytes) {
  const int fd = ::open(p.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) throw_os_error(errno, p);
  struct Closer {
    int fd;
    ~Closer() { ::close(fd); }
  } closer{fd};
  struct stat st {};
  if (::fstat(fd, &st) != 0) throw_os_error(errno, p);
  if (S_ISDIR(st.st_mode)) throw_os_error(EISDIR, p);
  if (S_ISREG(st.st_mode) && static_cast<std::uint64_t>(st.st_size) > max_bytes) {
    throw InvalidValueError("file too large: " + repr(p.string()) + " has " +
                            std::to_string(st.st_size) + " bytes, the limit is " +
                            std::to_string(max_bytes));
  }
  std::string bytes;
  if (S_ISREG(st.st_mode)) bytes.reserve(static_cast<std::size_t>(st.st_size));
  char buf[65536];
  for (;;) {
    const ssize_t n = ::read(fd, buf, sizeof buf);
    if (n < 0) {
      if (errno == EINTR) continue;
      throw_os_error(errno, p);
    }
    if (n == 0) break;
    if (bytes.size() + static_cast<std::size_t>(n) > max_bytes) {
      throw InvalidValueError("file too large: " + repr(p.string()) +
                              " has more than the limit of " + std::to_string(max_bytes) +
                              " bytes");
    }
    bytes.append(buf, static_cast<std::size_t>(n));
  }

  if (const std::size_t bad = utf8::first_invalid(bytes); bad != std::string::npos) {
    const utf8::Step step = utf8::decode(bytes, bad);
    const bool truncated = bad + step.length >= bytes.size() && step.length > 0 &&
                           static_cast<unsigned char>(bytes[bad]) >= 0xC2;
    char hex[8];
    std::snprintf(hex, sizeof hex, "0x%02x", static_cast<unsigned char>(bytes[bad]));
    throw UnicodeDecodeError("'utf-8' codec can't decode byte " + std::string(hex) +
                             " in position " + std::to_string(bad) + ": " +
                             (truncated ? "unexpected end of data" : "invalid byte sequence") +
                             " (in " + repr(p.string()) + ")");
  }

  // CR LF and lone CR become LF.
  std::string out;
  out.reserve(bytes.size());
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (bytes[i] == '\r') {
      out.push_back('\n');
      if (i + 1 < bytes.size() && bytes[i + 1] == '\n') ++i;
    } else {
      out.push_back(bytes[i]);
    }
  }
  return out;
}

std::string path_text(const std::filesystem::path& p) {
  const std::string& s = p.native();
  if (s.empty()) return ".";
  const bool absolute = s.front() == '/';
  std::vector<std::string_view> parts;
  std::string_view rest(s);
  while (!rest.empty()) {
    const std::size_t slash = rest.find('/');
    const std::string_view part = rest.substr(0, slash);
    if (!part.empty() && part != ".") parts.push_back(part);
    if (slash == std::string_view::npos) break;
    rest.remove_prefix(slash + 1);
  }
  std::string out = absolute ? "/" : "";
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (i > 0) out += '/';
    out += parts[i];
  }
  if (out.empty()) out = ".";
  return out;
}

}  // namespace tessik
