// Whole-file reading as strict UTF-8 with line ends normalised to LF.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <string>
#include <system_error>

#include <tessik/foundation/detail/utf8.hpp>
#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/text.hpp>

namespace tessik {
namespace {

// "cannot read agents/a.md: it does not exist".
[[noreturn]] void throw_os_error(int err, const std::filesystem::path& p) {
  throw FileSystemError::from_errno("cannot read " + p.native(), err);
}

[[noreturn]] void throw_too_large(const std::filesystem::path& p, std::size_t max_bytes) {
  throw InvalidValueError("cannot read " + p.native() + ": it is larger than the limit of " +
                          std::to_string(max_bytes) + " bytes");
}

// Where byte `offset` of `bytes` stands, counting CR LF, lone CR and LF as
// one line end each, as the text is read.
TextPosition position_of_byte(std::string_view bytes, std::size_t offset) {
  TextPosition at;
  for (std::size_t i = 0; i < offset; ++i) {
    const char c = bytes[i];
    if (c == '\n' || (c == '\r' && (i + 1 >= bytes.size() || bytes[i + 1] != '\n'))) {
      ++at.line;
      at.column = 1;
    } else if (c != '\r' && (static_cast<unsigned char>(c) & 0xC0) != 0x80) {
      ++at.column;
    }
  }
  return at;
}

// "a.md is not valid UTF-8: byte 0xFF at offset 3", naming the bytes of
// the ill-formed sequence; the error carries the line and column.
[[noreturn]] void throw_decode_error(const std::filesystem::path& p, std::string_view bytes,
                                     std::size_t pos) {
  const utf8::Step step = utf8::decode(bytes, pos);
  const std::size_t length = std::max<std::size_t>(step.length, 1);
  std::string shown = length == 1 ? "byte" : "bytes";
  for (std::size_t i = pos; i < pos + length; ++i) {
    char hex[8];
    std::snprintf(hex, sizeof hex, " 0x%02X", static_cast<unsigned char>(bytes[i]));
    shown += hex;
  }
  const bool truncated = length > 1 && pos + length == bytes.size();
  UnicodeDecodeError error(p.native() + " is not valid UTF-8: " + shown + " at offset " +
                           std::to_string(pos) +
                           (truncated ? " (cut off by the end of the file)" : ""));
  error.set_position(position_of_byte(bytes, pos));
  throw error;  // NOLINT(misc-throw-by-value-catch-by-reference): built, then positioned
}

class FileDescriptor {
 public:
  explicit FileDescriptor(int fd) noexcept : fd_(fd) {}
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor() { ::close(fd_); }
  int get() const noexcept { return fd_; }

 private:
  int fd_;
};

}  // namespace

std::string read_file_bytes(const std::filesystem::path& p, std::size_t max_bytes) {
  // O_NONBLOCK keeps a FIFO from blocking the open; such files are refused
  // right after.
  const int fd = ::open(p.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
  if (fd < 0) throw_os_error(errno, p);
  const FileDescriptor file(fd);
  struct stat st {};
  if (::fstat(fd, &st) != 0) throw_os_error(errno, p);
  if (S_ISDIR(st.st_mode)) throw_os_error(EISDIR, p);
  if (!S_ISREG(st.st_mode)) {
    throw FileSystemError("cannot read " + p.native() + ": it is not a regular file", EINVAL);
  }
  if (static_cast<std::uintmax_t>(st.st_size) > max_bytes) throw_too_large(p, max_bytes);

  std::string bytes;
  bytes.reserve(static_cast<std::size_t>(st.st_size));
  char buffer[65536];
  for (;;) {
    const ssize_t n = ::read(fd, buffer, sizeof buffer);
    if (n < 0) {
      if (errno == EINTR) continue;
      throw_os_error(errno, p);
    }
    if (n == 0) break;
    // The file may grow while it is read.
    if (static_cast<std::size_t>(n) > max_bytes - bytes.size()) throw_too_large(p, max_bytes);
    bytes.append(buffer, static_cast<std::size_t>(n));
  }
  return bytes;
}

std::string read_text_file(const std::filesystem::path& p, std::size_t max_bytes) {
  std::string text = read_file_bytes(p, max_bytes);
  if (const std::size_t bad = utf8::first_invalid(text); bad != std::string::npos) {
    throw_decode_error(p, text, bad);
  }
  // CR LF and lone CR become LF, in place.
  std::size_t out = 0;
  for (std::size_t in = 0; in < text.size(); ++in) {
    if (text[in] == '\r') {
      text[out++] = '\n';
      if (in + 1 < text.size() && text[in + 1] == '\n') ++in;
    } else {
      text[out++] = text[in];
    }
  }
  text.resize(out);
  return text;
}

}  // namespace tessik
