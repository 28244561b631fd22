// The link-escape check for custom agent directory entries.
#include <tessik/agent_loader/definitions/detail/safe_path.hpp>

#include <sys/stat.h>

#include <string>
#include <string_view>
#include <system_error>

#include <tessik/agent_loader/definitions/detail/paths.hpp>

namespace tessik::detail {

bool is_safe_path(const std::filesystem::path& file_path, const std::filesystem::path& base_dir) {
  // A dangling link, a loop or an unreadable component fails to resolve and
  // counts as unsafe.
  std::error_code ec;
  const std::filesystem::path resolved = canonical_path(file_path, ec);
  if (ec) return false;
  const std::string_view canonical = resolved.native();
  const std::string& base = base_dir.native();
  if (canonical == base) return true;
  return canonical.size() > base.size() && canonical.starts_with(base) &&
         canonical[base.size()] == '/';
}

bool is_safe_entry(const DirectoryEntry& entry, const std::filesystem::path& base_dir) {
  if (!entry.may_be_link) return true;
  struct stat info {};
  if (::lstat(entry.path.c_str(), &info) != 0) return false;
  if (!S_ISLNK(info.st_mode)) return true;
  return is_safe_path(entry.path, base_dir);
}

}  // namespace tessik::detail
