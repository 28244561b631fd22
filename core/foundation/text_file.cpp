// Whole-file reading as strict UTF-8 with line ends normalised to LF.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>
#include <system_error>

#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/text.hpp>
#include <tessik/foundation/detail/utf8.hpp>

namespace tessik {
namespace {

// "[Errno 2] No such file or directory: 'agents/a.md'", the platform's
// wording with the path in literal form.
[[noreturn]] void throw_os_error(int err, const std::filesystem::path& p) {
  throw FileSystemError("[Errno " + std::to_string(err) + "] " +
                            std::generic_category().message(err) + ": " + repr(p.native()),
                        err);
}

[[noreturn]] void throw_too_large(const std::filesystem::path& p, std::size_t max_bytes) {
  throw InvalidValueError("file too large: " + repr(p.native()) + " holds more than " +
                          std::to_string(max_bytes) + " bytes");
}

// Describes the ill-formed sequence at `pos` the way UTF-8 decoders
// usually do: "'utf-8' codec can't decode byte 0xff in position 3: invalid
// start byte", or "bytes in position 3-4" when the sequence is longer.
[[noreturn]] void throw_decode_error(std::string_view bytes, std::size_t pos) {
  const utf8::Step step = utf8::decode(bytes, pos);
  const auto lead = static_cast<unsigned char>(bytes[pos]);
  const char* reason = lead < 0xC2 || lead > 0xF4          ? "invalid start byte"
                       : pos + step.length == bytes.size() ? "unexpected end of data"
                                                           : "invalid continuation byte";
  char where[96];
  if (step.length <= 1) {
    std::snprintf(where, sizeof where, "byte 0x%02x in position %zu", lead, pos);
  } else {
    std::snprintf(where, sizeof where, "bytes in position %zu-%zu", pos, pos + step.length - 1);
  }
  throw UnicodeDecodeError(std::string("'utf-8' codec can't decode ") + where + ": " + reason);
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
    throw FileSystemError("not a regular file: " + repr(p.native()), EINVAL);
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
    throw_decode_error(text, bad);
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
