// The link-escape check of custom agent directories.
#ifndef TESSIK_AGENT_LOADER_DEFINITIONS_DETAIL_SAFE_PATH_HPP_
#define TESSIK_AGENT_LOADER_DEFINITIONS_DETAIL_SAFE_PATH_HPP_

#include <filesystem>

#include <tessik/agent_loader/definitions/detail/directory_listing.hpp>

namespace tessik {
namespace detail {

// Whether `file_path`, with every link in every component followed, lies
// inside `base_dir` (or is `base_dir` itself). `base_dir` must already be
// canonical. A path that cannot be resolved (missing, a dangling link, a link
// loop, no permission) is never safe. The comparison is on the exact texts.
bool is_safe_path(const std::filesystem::path& file_path, const std::filesystem::path& base_dir);

// `is_safe_path` for an entry just listed from a directory whose canonical
// path is `base_dir`. An entry that is not itself a link resolves to
// `base_dir` plus its name: when the listing already said it is no link,
// nothing more is asked of the file system; otherwise one lstat() tells, and
// a link is resolved whole by `is_safe_path`. An entry that may be a link and
// no longer exists is not safe.
bool is_safe_entry(const DirectoryEntry& entry, const std::filesystem::path& base_dir);

}  // namespace detail
}  // namespace tessik

#endif  // TESSIK_AGENT_LOADER_DEFINITIONS_DETAIL_SAFE_PATH_HPP_
