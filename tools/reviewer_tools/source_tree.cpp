#include "reviewer_tools/source_tree.hpp"

#include <algorithm>
#include <cstdlib>

#include <tessik/foundation/limits.hpp>

#include "reviewer_tools/source_sides.hpp"

namespace tessik::cli {
namespace {

// What git itself looks at to call a file binary: a NUL byte early on.
constexpr std::size_t BINARY_PROBE_BYTES = 8000;

std::filesystem::path canonical_top(const std::filesystem::path& top) {
  if (top.empty()) return {};
  char* real = ::realpath(top.c_str(), nullptr);
  if (real == nullptr) throw git::GitError("cannot resolve the working tree " + top.string());
  std::filesystem::path out(real);
  ::free(real);
  return out;
}

}  // namespace

void SourceTree::State::refuse_ignored_locked(const std::string& rel,
                                              const std::string& what) const {
  if (top.empty() || rel.empty()) return;  // a bare repository has no ignore files to apply
  int ignored = 0;
  if (git_ignore_path_is_ignored(&ignored, repo.get(), rel.c_str()) < 0) {
    throw ToolRefusal(what + " cannot be checked against the ignore rules");
  }
  if (ignored != 0) throw ToolRefusal(what + " is ignored by git and is not shown");
}

SourceTree::SourceTree(const GitChange& change) : state_(std::make_unique<State>()) {
  state_->repo = git::open_repository(change.git_dir);
  state_->top = canonical_top(change.top_level);
  if (change.new_tree) {
    git_oid id;
    git::check(git_oid_fromstr(&id, change.new_tree->c_str()), "bad tree id " + *change.new_tree);
    git_tree* tree = nullptr;
    git::check(git_tree_lookup(&tree, state_->repo.get(), &id),
               "cannot read the tree " + *change.new_tree);
    state_->tree.reset(tree);
  } else if (state_->top.empty()) {
    throw git::GitError("a bare repository has no working tree to read files from");
  }
}

SourceTree::~SourceTree() = default;

std::string SourceTree::read(std::string_view path) const {
  const std::string rel = confined_path(path);
  if (rel.empty()) throw ToolRefusal("the repository's top level is a directory, not a file");
  std::string bytes = state_->tree ? read_commit_file(*state_, rel, limits::kToolFileBytes)
                                   : read_worktree_file(*state_, rel, limits::kToolFileBytes);
  const std::string_view probe = std::string_view(bytes).substr(0, BINARY_PROBE_BYTES);
  if (probe.find('\0') != std::string_view::npos) {
    throw ToolRefusal(quoted_path(rel) + " is a binary file and is not shown");
  }
  return bytes;
}

SourceListing SourceTree::list(std::string_view path, std::size_t max_files) const {
  const std::string rel = confined_path(path.empty() ? "." : path);
  SourceListing out;
  if (state_->tree) {
    list_commit(*state_, rel, max_files, out);
  } else {
    list_worktree(*state_, rel, max_files, out);
  }
  std::sort(out.paths.begin(), out.paths.end());
  return out;
}

}  // namespace tessik::cli
