// Listing of an agent directory in the order the loaders read it.
#ifndef TESSIK_AGENT_LOADER_DEFINITIONS_DETAIL_DIRECTORY_LISTING_HPP_
#define TESSIK_AGENT_LOADER_DEFINITIONS_DETAIL_DIRECTORY_LISTING_HPP_

#include <filesystem>
#include <vector>

namespace tessik {
namespace detail {

// One entry of a directory listing.
struct DirectoryEntry {
  std::filesystem::path path;
  // False when the directory itself reported the entry as something other
  // than a symbolic link (a file, a directory, ...); true for a link and for
  // an entry of a file system that does not report types, which then has to
  // be examined.
  bool may_be_link = true;
};

// The entries of `directory`, every one of them ("." and ".." aside): files,
// subdirectories, links (dangling ones too) and hidden entries alike, sorted
// by name byte by byte. Each path is the tidied `directory` joined with the
// name; the empty path lists the current directory. Throws FileSystemError
// when the directory cannot be opened or read.
std::vector<DirectoryEntry> list_directory(const std::filesystem::path& directory);

}  // namespace detail
}  // namespace tessik

#endif  // TESSIK_AGENT_LOADER_DEFINITIONS_DETAIL_DIRECTORY_LISTING_HPP_
