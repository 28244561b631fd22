// The two kinds of new side a SourceTree reads: the working tree on disk and
// a commit's tree in the object database. Internal to source_tree.cpp and
// its two sides; paths given here are already through `confined_path`.
#ifndef TESSIK_TOOLS_REVIEWER_TOOLS_SOURCE_SIDES_HPP_
#define TESSIK_TOOLS_REVIEWER_TOOLS_SOURCE_SIDES_HPP_

#include <filesystem>
#include <mutex>
#include <string>

#include "change/git/git_handles.hpp"
#include "reviewer_tools/source_tree.hpp"

namespace tessik::cli {

struct SourceTree::State {
  git::Session session;
  git::Repository repo;
  git::Tree tree;                // the commit's tree; null for the working tree
  std::filesystem::path top;     // canonical top of the working tree; empty when bare
  mutable std::mutex git_mutex;  // every libgit2 call on `repo` or `tree`

  // Throws ToolRefusal when git ignores `rel` (or a directory holding it).
  // `what` words the refusal ("'x'" or "'x' links to 'y', which"). Call with
  // `git_mutex` held.
  void refuse_ignored_locked(const std::string& rel, const std::string& what) const;
};

std::string read_worktree_file(const SourceTree::State& s, const std::string& rel,
                               std::size_t max_bytes);
std::string read_commit_file(const SourceTree::State& s, const std::string& rel,
                             std::size_t max_bytes);
void list_worktree(const SourceTree::State& s, const std::string& rel, std::size_t max_files,
                   SourceListing& out);
void list_commit(const SourceTree::State& s, const std::string& rel, std::size_t max_files,
                 SourceListing& out);

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_REVIEWER_TOOLS_SOURCE_SIDES_HPP_
