// The working tree as a SourceTree side: files on disk under the top level.
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <system_error>

#include <tessik/foundation/text.hpp>

#include "reviewer_tools/source_sides.hpp"

namespace tessik::cli {
namespace {

namespace fs = std::filesystem;

void refuse_ignored(const SourceTree::State& s, const std::string& rel, const std::string& what) {
  const std::lock_guard lock(s.git_mutex);
  s.refuse_ignored_locked(rel, what);
}

// The canonical path `rel` resolves to, checked to stay inside the top level
// and, when a link led elsewhere, to land on a path the tools may show.
std::string resolve_inside(const SourceTree::State& s, const std::string& rel) {
  char* real = ::realpath((s.top / rel).c_str(), nullptr);
  if (real == nullptr) {
    const int err = errno;
    if (err == ENOENT || err == ENOTDIR) throw ToolRefusal(quoted_path(rel) + " does not exist");
    throw ToolRefusal(quoted_path(rel) + " cannot be resolved");
  }
  std::string resolved(real);
  ::free(real);
  const std::string top = s.top.string();
  if (resolved != top && !resolved.starts_with(top + "/")) {
    throw ToolRefusal(quoted_path(rel) + " resolves through a link to outside the repository");
  }
  const std::string inner = resolved == top ? "" : resolved.substr(top.size() + 1);
  if (inner != rel) {
    const std::string what = quoted_path(rel) + " links to " + quoted_path(inner) + ", which";
    try {
      confined_path(inner.empty() ? "." : inner);
    } catch (const ToolRefusal& e) {
      throw ToolRefusal(what + " is refused: " + e.what());
    }
    refuse_ignored(s, inner, what);
  }
  return resolved;
}

}  // namespace

std::string read_worktree_file(const SourceTree::State& s, const std::string& rel,
                               std::size_t max_bytes) {
  refuse_ignored(s, rel, quoted_path(rel));
  const std::string resolved = resolve_inside(s, rel);
  struct stat st {};
  if (::stat(resolved.c_str(), &st) != 0) throw ToolRefusal(quoted_path(rel) + " cannot be read");
  if (S_ISDIR(st.st_mode)) throw ToolRefusal(quoted_path(rel) + " is a directory, not a file");
  if (!S_ISREG(st.st_mode)) throw ToolRefusal(quoted_path(rel) + " is not a regular file");
  if (static_cast<std::uintmax_t>(st.st_size) > max_bytes) {
    throw ToolRefusal(quoted_path(rel) + " holds " + std::to_string(st.st_size) +
                      " bytes, more than the " + std::to_string(max_bytes) + " bytes a tool reads");
  }
  try {
    return read_file_bytes(resolved, max_bytes);
  } catch (const std::exception&) {
    throw ToolRefusal(quoted_path(rel) + " cannot be read");
  }
}

void list_worktree(const SourceTree::State& s, const std::string& rel, std::size_t max_files,
                   SourceListing& out) {
  const fs::path base = rel.empty() ? s.top : s.top / rel;
  std::error_code ec;
  const fs::file_status status = fs::symlink_status(base, ec);
  if (ec || !fs::exists(status)) throw ToolRefusal(quoted_path(rel) + " does not exist");
  if (fs::is_symlink(status)) throw ToolRefusal(quoted_path(rel) + " is a link; name its target");
  refuse_ignored(s, rel, quoted_path(rel));
  if (fs::is_regular_file(status)) {
    out.paths.push_back(rel);
    return;
  }
  fs::recursive_directory_iterator it(base, fs::directory_options::skip_permission_denied, ec);
  for (; !ec && it != fs::recursive_directory_iterator(); it.increment(ec)) {
    const std::string child = it->path().lexically_relative(s.top).string();
    bool refused = false;
    try {
      confined_path(child);
      refuse_ignored(s, child, quoted_path(child));
    } catch (const ToolRefusal&) {
      refused = true;
    }
    std::error_code st_ec;
    const fs::file_status st = it->symlink_status(st_ec);
    if (refused || st_ec || fs::is_symlink(st)) {
      if (fs::is_directory(st)) it.disable_recursion_pending();
      continue;
    }
    if (!fs::is_regular_file(st)) continue;
    if (out.paths.size() == max_files) {
      out.truncated = true;
      return;
    }
    out.paths.push_back(child);
  }
}

}  // namespace tessik::cli
