// Failure kinds of the library.
//
// Every failure the library throws derives from `tessik::Error`, which is a
// `std::runtime_error` with two extras: `class_name()`, the short name of the
// kind that log lines and tools show ("ValueError", "TypeError", ...), and an
// optional call site, set when a failure passes through an AI client call
// ("ExampleClient.complete").
//
//   try {
//     auto def = tessik::load_agent_definition(path);
//   } catch (const tessik::YamlError& e) {
//     std::cerr << e.class_name() << ": " << e.what() << "\n";
//   }
//
// The kinds callers tell apart:
//
//   kind                 class                 class_name()
//   invalid value        InvalidValueError     "ValueError"
//   UTF-8 decoding       UnicodeDecodeError    "UnicodeDecodeError"
//   type                 TypeError             "TypeError"
//   overflow             OverflowError         "OverflowError"
//   file system          FileSystemError       "OSError" or a narrower name
//   YAML syntax          YamlError             "YAMLError"
//   foreign client error ClientError           "ClientError"
#ifndef TESSIK_FOUNDATION_ERRORS_HPP_
#define TESSIK_FOUNDATION_ERRORS_HPP_

#include <cstddef>
#include <exception>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace tessik {

// A place in a text file: line and column, both counted from 1. Columns
// count characters (code points), not bytes.
struct TextPosition {
  std::size_t line = 1;
  std::size_t column = 1;
  friend bool operator==(const TextPosition&, const TextPosition&) = default;
};

// Base of every failure the library throws.
class Error : public std::runtime_error {
 public:
  explicit Error(const std::string& message) : std::runtime_error(message) {}

  // The short name of this failure's kind, as shown in log lines.
  virtual std::string_view class_name() const noexcept { return "Error"; }

  // Where an AI client call failed, as "<client type>.<method>", or empty
  // when the failure did not pass through a client call.
  const std::optional<std::string>& call_site() const noexcept { return call_site_; }
  void set_call_site(std::string site) { call_site_ = std::move(site); }

  // Where in its file the failure stands, when it comes from one place of a
  // text: a YAML syntax error's mark, the value of a definition key that
  // cannot be converted, the first byte that is not UTF-8. The message does
  // not depend on it.
  const std::optional<TextPosition>& position() const noexcept { return position_; }
  void set_position(TextPosition position) noexcept { position_ = position; }

 private:
  std::optional<std::string> call_site_;
  std::optional<TextPosition> position_;
};

// A value of the right kind that cannot be used (a malformed number, a
// missing key, an unknown file type).
class InvalidValueError : public Error {
 public:
  using Error::Error;
  std::string_view class_name() const noexcept override { return "ValueError"; }
};

// Bytes that are not valid UTF-8 where text was required.
class UnicodeDecodeError : public InvalidValueError {
 public:
  using InvalidValueError::InvalidValueError;
  std::string_view class_name() const noexcept override { return "UnicodeDecodeError"; }
};

// A value of the wrong kind, including one that lacks the operation applied.
class TypeError : public Error {
 public:
  using Error::Error;
  std::string_view class_name() const noexcept override { return "TypeError"; }
};

// A number outside the range of its target, or an infinity made an integer.
class OverflowError : public Error {
 public:
  using Error::Error;
  std::string_view class_name() const noexcept override { return "OverflowError"; }
};

// A path that is missing, unreadable or not a regular file. Keeps the errno;
// `class_name()` narrows by it: ENOENT "FileNotFoundError", EACCES/EPERM
// "PermissionError", EISDIR "IsADirectoryError", ENOTDIR
// "NotADirectoryError", anything else "OSError".
class FileSystemError : public Error {
 public:
  FileSystemError(const std::string& message, int error_number)
      : Error(message), errno_(error_number) {}
  // "<what>: <reason(error_number)>", keeping the errno.
  static FileSystemError from_errno(const std::string& what, int error_number);
  // The errno in plain words about the path concerned: "it does not exist",
  // "it is a directory", "permission denied", "a part of its path is not a
  // directory", "its symbolic links loop"; the system's text otherwise.
  static std::string reason(int error_number);

  int error_number() const noexcept { return errno_; }
  std::string_view class_name() const noexcept override;

 private:
  int errno_;
};

// YAML text that cannot be loaded: a syntax error (with libyaml's reason and
// position), a refused tag, more than one document, or a loader limit.
class YamlError : public Error {
 public:
  using Error::Error;
  std::string_view class_name() const noexcept override { return "YAMLError"; }
};

// An AI client threw something that is not a `tessik::Error`. Carries the
// original's message and nests it (`std::rethrow_if_nested` reaches it).
// Construct it inside the catch block that caught the original.
class ClientError : public Error, public std::nested_exception {
 public:
  using Error::Error;
  std::string_view class_name() const noexcept override { return "ClientError"; }
};

}  // namespace tessik

#endif  // TESSIK_FOUNDATION_ERRORS_HPP_
