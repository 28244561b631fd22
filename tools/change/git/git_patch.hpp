// The patch of one comparison (two trees, or a tree and the working tree),
// as `git diff` writes it.
//
//   std::string patch = git_patch([&](const git_diff_options& o) { ...compare... }, limit);
//
// Renames (and copies, when the repository's diff.renames says so) are
// paired as git pairs them: only a deleted file can be the old side of a
// rename and only a new file the new side. A file whose type changed (a
// regular file replaced by a symbolic link, or the reverse) is never
// paired: it is written as git writes it, a deletion followed by a new file
// of the same path. libgit2 alone would take the old side of such a file for
// a rename source. (With diff.renames=copies git may still take it for the
// source of a copy; here it is not.) The similarity libgit2 reports may
// differ from git's by a point for a rename with edits.
#ifndef TESSIK_TOOLS_CHANGE_GIT_GIT_PATCH_HPP_
#define TESSIK_TOOLS_CHANGE_GIT_GIT_PATCH_HPP_

#include <cstddef>
#include <functional>
#include <string>

#include "change/git/git_handles.hpp"

namespace tessik::cli {

// Makes the comparison with the given options (the caller's libgit2 call);
// throws git::GitError when it fails.
using Comparison = std::function<git::Diff(const git_diff_options&)>;

// The patch of `compare`, files in path order (a rename at its new path).
// Throws InvalidValueError naming `max_bytes` when the patch would exceed it
// (it is never built past that size), git::GitError when libgit2 fails.
std::string git_patch(const Comparison& compare, std::size_t max_bytes);

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_CHANGE_GIT_GIT_PATCH_HPP_
