// Where the change a `review` run reviews comes from, and the files its
// reviewer tools may read:
//
//   --diff FILE | --diff -     a unified diff, read as bytes
//   --git                      the working tree's uncommitted changes
//   --git RANGE                "A..B", "A...B" or one commit
//   --repo DIR                 the repository (default: the current directory)
//
// Whichever way the change comes in, the library gets the same bytes: CR LF
// line ends and bytes that are not UTF-8 are passed on unchanged.
#ifndef TESSIK_TOOLS_CHANGE_REVIEW_SOURCE_HPP_
#define TESSIK_TOOLS_CHANGE_REVIEW_SOURCE_HPP_

#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <tessik/models.hpp>

#include "change/git/git_change.hpp"
#include "cli/cli_args.hpp"
#include "reviewer_tools/source_tree.hpp"

namespace tessik::cli {

struct ReviewSource {
  std::vector<FileChange> changes;  // empty: nothing to review
  std::string described;            // "standard input", a file name, a range
  std::optional<GitChange> git{};   // with --git: where the change came from (patch dropped)
};

// Throws UsageError when neither or both of --diff and --git are given.
void check_source_flags(const ParsedArgs& args);

// The change named by --diff or --git (with `range`, that range instead of
// --git's own: the commits --since-last-review picked). Throws UsageError when neither or
// both are given, git::GitError when the repository or range is unknown,
// InvalidValueError naming the text-file limit for a change past it, and
// for a non-empty diff that holds no file change.
ReviewSource read_review_source(const ParsedArgs& args, std::istream& in,
                                const std::optional<std::string>& range = std::nullopt);

// The new side of the change for the reviewer tools: the new side of a
// --git change, else the working tree of the repository (--repo or the
// current directory). Throws git::GitError outside a repository.
std::shared_ptr<const SourceTree> review_tree(const ReviewSource& source, const ParsedArgs& args);

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_CHANGE_REVIEW_SOURCE_HPP_
