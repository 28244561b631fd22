#include <tessik/foundation/errors.hpp>

#include <cerrno>
#include <system_error>

namespace tessik {

FileSystemError FileSystemError::from_errno(const std::string& what, int error_number) {
  return {what + ": " + std::generic_category().message(error_number), error_number};
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
