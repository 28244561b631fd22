#include "errors.hpp"

#include <cerrno>

namespace tessik {

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
