#include <tessik/foundation/errors.hpp>

#include <cerrno>
#include <string>
#include <system_error>

namespace tessik {

std::string FileSystemError::reason(int error_number) {
  switch (error_number) {
    case ENOENT:
      return "it does not exist";
    case EISDIR:
      return "it is a directory";
    case EACCES:
    case EPERM:
      return "permission denied";
    case ENOTDIR:
      return "a part of its path is not a directory";
    case ELOOP:
      return "its symbolic links loop";
    case ENAMETOOLONG:
      return "its name is too long";
    default: {
      std::string text = std::generic_category().message(error_number);
      if (!text.empty() && text[0] >= 'A' && text[0] <= 'Z')
        text[0] = static_cast<char>(text[0] + 32);
      return text;
    }
  }
}

FileSystemError FileSystemError::from_errno(const std::string& what, int error_number) {
  return {what + ": " + reason(error_number), error_number};
}

std::string_view FileSystemError::class_name() const noexcept {
  switch (errno_) {
    case ENOENT:
      return "FileNotFoundError";
    case EACCES:
    case EPERM:
      return "PermissionError";
    case EISDIR:
      return "IsADirectoryError";
    case ENOTDIR:
      return "NotADirectoryError";
    default:
      return "OSError";
  }
}

}  // namespace tessik
