// The link-escape check for custom agent directory entries.
#include <cstdlib>
#include <memory>
#include <string>

#include "loading.hpp"

namespace tessik::detail {

bool is_safe_path(const std::filesystem::path& file_path, const std::filesystem::path& base_dir) {
  // realpath() follows every link in every component and requires each
  // component to exist, so a dangling link, a loop or an unreadable
  // component all fail here and count as unsafe.
  std::unique_ptr<char, decltype(&std::free)> resolved(::realpath(file_path.c_str(), nullptr),
                                                       &std::free);
  if (!resolved) return false;
  const std::string_view canonical = resolved.get();
  const std::string& base = base_dir.native();
  if (canonical == base) return true;
  return canonical.size() > base.size() && canonical.starts_with(base) &&
         canonical[base.size()] == '/';
}

}  // namespace tessik::detail
