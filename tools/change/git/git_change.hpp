// The change a `review --git` run reviews, produced by git itself.
//
//   GitChange change = read_git_change(".", std::nullopt);     // uncommitted
//   GitChange range = read_git_change(".", "main..topic");     // a range
//   GitChange one = read_git_change(".", "HEAD");              // one commit
//
// No range: the working tree (with the index) against HEAD, as `git diff HEAD`
// shows it; files git does not track yet are not part of it. "A..B": the
// tree of A against the tree of B. "A...B": the merge base of A and B against
// B. "C^!": C against its first parent; "C^-N": C against its parent N (the
// first without N). Anything else names one commit, reviewed against its
// first parent (the empty tree for a root commit). Tags name the commits
// they point at. Renames are detected as `git diff` does by
// default; binary files appear as git's "Binary files ... differ" line.
#ifndef TESSIK_TOOLS_CHANGE_GIT_GIT_CHANGE_HPP_
#define TESSIK_TOOLS_CHANGE_GIT_GIT_CHANGE_HPP_

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>

#include <tessik/foundation/text.hpp>

namespace tessik::cli {

struct GitChange {
  std::string patch;                    // the unified diff, byte for byte as git writes it
  std::filesystem::path git_dir;        // the repository's .git directory
  std::filesystem::path top_level;      // the working tree's top; empty without one
  std::optional<std::string> new_tree;  // hex id of the new side's tree; none: the working tree
  std::size_t untracked = 0;            // working tree: files git neither tracks nor ignores
};

// Produces the change of the repository holding `directory`. Throws
// git::GitError when `directory` is in no repository, git does not know the
// range, or the working tree is asked of a git directory without one (a bare
// repository, or a git directory whose config names no core.worktree);
// InvalidValueError naming the limit when the patch would exceed
// `max_bytes` (it is never built past that size).
GitChange read_git_change(const std::filesystem::path& directory,
                          const std::optional<std::string>& range,
                          std::size_t max_bytes = kMaxTextFileBytes);

// The working tree of the repository holding `directory`, without a patch:
// what the reviewer tools read when the change comes from a diff file.
// Throws git::GitError as `read_git_change` does.
GitChange working_tree_of(const std::filesystem::path& directory);

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_CHANGE_GIT_GIT_CHANGE_HPP_
