// The files of a reviewed change's new side, as the reviewer tools may show
// them to a model.
//
//   GitChange change = read_git_change(".", "HEAD~1..HEAD");
//   auto tree = std::make_shared<SourceTree>(change);
//   std::string text = tree->read("src/main.cpp");        // the commit's version
//   SourceListing files = tree->list("src", 20'000);      // what a search may read
//
// The new side is the working tree for uncommitted changes and the commit's
// tree for a range. Either way the tree is rooted at the repository's top
// level and confined: a path is refused when it is absolute, climbs with
// "..", lies under .git/, is ignored by git (.gitignore, .git/info/exclude),
// or resolves through a symbolic link to anything outside the top level or to
// a refused path; a binary file (a NUL byte in its first 8,000 bytes) and a
// file larger than `limits::kToolFileBytes` are refused before they are
// shown, the latter before it is read. Refusals are ToolRefusal, whose
// message names the path as given, never the repository's place on disk.
//
// Threads: every operation may be called from several threads at once; the
// libgit2 calls are serialised inside.
#ifndef TESSIK_TOOLS_REVIEWER_TOOLS_SOURCE_TREE_HPP_
#define TESSIK_TOOLS_REVIEWER_TOOLS_SOURCE_TREE_HPP_

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "change/git/git_change.hpp"
#include "reviewer_tools/tool_path.hpp"

namespace tessik::cli {

struct SourceListing {
  std::vector<std::string> paths;  // in byte order
  bool truncated = false;          // more files were there than asked for
};

class SourceTree {
 public:
  // The new side of `change`: its commit tree when it names one, else its
  // working tree. Throws git::GitError when the repository or tree cannot be
  // opened.
  explicit SourceTree(const GitChange& change);
  ~SourceTree();
  SourceTree(const SourceTree&) = delete;
  SourceTree& operator=(const SourceTree&) = delete;

  // The bytes of the file at `path`, unchanged. Throws ToolRefusal for any
  // refused or missing path, a directory, a binary or too large file.
  std::string read(std::string_view path) const;

  // The files under `path` ("" or "." for everything; a file gives itself)
  // that `read` would not refuse for their path, at most `max_files` of them.
  // Symbolic links are not followed. Throws ToolRefusal for a refused or
  // missing `path`.
  SourceListing list(std::string_view path, std::size_t max_files) const;

  // The repository handles and the side's root; defined where the two sides
  // are implemented, opaque everywhere else.
  struct State;

 private:
  std::unique_ptr<State> state_;
};

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_REVIEWER_TOOLS_SOURCE_TREE_HPP_
