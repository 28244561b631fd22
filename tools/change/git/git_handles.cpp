#include "change/git/git_handles.hpp"

namespace tessik::cli::git {

void check(int code, const std::string& what) {
  if (code >= 0) return;
  const git_error* e = git_error_last();
  std::string detail = e != nullptr && e->message != nullptr ? e->message : "unknown git error";
  throw GitError(what + ": " + detail);
}

Repository open_repository(const std::filesystem::path& directory) {
  git_repository* repo = nullptr;
  const int code = git_repository_open_ext(&repo, directory.c_str(), 0, nullptr);
  if (code == GIT_ENOTFOUND) {
    throw GitError(directory.string() + " is not inside a git repository");
  }
  check(code, "cannot open the git repository at " + directory.string());
  return Repository(repo);
}

Object revparse(git_repository* repo, const std::string& revision) {
  git_object* object = nullptr;
  check(git_revparse_single(&object, repo, revision.c_str()),
        "git does not know the revision '" + revision + "'");
  return Object(object);
}

Tree tree_of(git_object* object, const std::string& revision) {
  git_object* tree = nullptr;
  check(git_object_peel(&tree, object, GIT_OBJECT_TREE),
        "the revision '" + revision + "' does not name a commit");
  return Tree(reinterpret_cast<git_tree*>(tree));
}

}  // namespace tessik::cli::git
