// Owning handles for the libgit2 objects the tool uses, and the one place
// that turns a libgit2 failure into an exception.
//
//   git::Session session;  // libgit2 initialised before the first handle
//   git::Repository repo = git::open_repository("/src/project");
//   git::Object head = git::revparse(repo, "HEAD");
//
// Every handle frees its object exactly once; moving transfers ownership.
// A handle is not safe to use from several threads at once (libgit2 objects
// are not), so whoever shares one guards it.
#ifndef TESSIK_TOOLS_CHANGE_GIT_GIT_HANDLES_HPP_
#define TESSIK_TOOLS_CHANGE_GIT_GIT_HANDLES_HPP_

#include <git2.h>

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>

namespace tessik::cli::git {

// A git operation that failed: an unknown revision, a directory that is not a
// repository, an unreadable object. The message names what was asked and
// carries libgit2's own explanation.
class GitError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Makes sure libgit2 is initialised; any number may live at once, on any
// thread. The first initialises libgit2 for the rest of the process: each
// initialisation after a shutdown would load the system's certificate
// bundle again (several milliseconds, on every review).
class Session {
 public:
  Session() {
    static const int once = git_libgit2_init();
    (void)once;
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
};

template <typename T, void (*Free)(T*)>
struct Deleter {
  void operator()(T* p) const noexcept { Free(p); }
};

using Repository = std::unique_ptr<git_repository, Deleter<git_repository, git_repository_free>>;
using Object = std::unique_ptr<git_object, Deleter<git_object, git_object_free>>;
using Tree = std::unique_ptr<git_tree, Deleter<git_tree, git_tree_free>>;
using TreeEntry = std::unique_ptr<git_tree_entry, Deleter<git_tree_entry, git_tree_entry_free>>;
using Blob = std::unique_ptr<git_blob, Deleter<git_blob, git_blob_free>>;
using Commit = std::unique_ptr<git_commit, Deleter<git_commit, git_commit_free>>;
using Diff = std::unique_ptr<git_diff, Deleter<git_diff, git_diff_free>>;
using Odb = std::unique_ptr<git_odb, Deleter<git_odb, git_odb_free>>;

// Throws GitError "<what>: <libgit2's last error>" when `code` is negative.
void check(int code, const std::string& what);

// The repository that holds `directory` (the directory itself or one of its
// parents, as `git` finds it). Throws GitError naming the directory when
// there is none.
Repository open_repository(const std::filesystem::path& directory);

// The object a revision expression names ("HEAD", "main~2", an abbreviated
// hash). Throws GitError naming the expression when git does not know it.
Object revparse(git_repository* repo, const std::string& revision);

// The tree of the commit (or tag) `object` peels to. Throws GitError.
Tree tree_of(git_object* object, const std::string& revision);

}  // namespace tessik::cli::git

#endif  // TESSIK_TOOLS_CHANGE_GIT_GIT_HANDLES_HPP_
