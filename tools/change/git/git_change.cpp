#include "change/git/git_change.hpp"

#include <algorithm>
#include <memory>

#include <tessik/foundation/errors.hpp>

#include "change/git/git_handles.hpp"
#include "change/git/git_patch.hpp"

namespace tessik::cli {
namespace {

// The two trees of a range; `old_tree` is null for the empty tree.
struct TreePair {
  git::Tree old_tree, new_tree;
};

// The commit `object` peels to (an annotated tag names its commit).
git::Commit peel_to_commit(git_object* object, const std::string& range) {
  git_object* peeled = nullptr;
  git::check(git_object_peel(&peeled, object, GIT_OBJECT_COMMIT),
             "the revision range '" + range + "' does not name commits");
  return git::Commit(reinterpret_cast<git_commit*>(peeled));
}

// The tree of parent `n` (1: the first) of `commit`; null for the first
// parent of a root commit, which is compared with the empty tree.
git::Tree parent_tree(git_commit* commit, unsigned n, const std::string& range) {
  if (n == 1 && git_commit_parentcount(commit) == 0) return nullptr;
  git_commit* parent = nullptr;
  if (n > git_commit_parentcount(commit)) {
    const unsigned count = git_commit_parentcount(commit);
    throw git::GitError("the revision range '" + range + "' names parent " + std::to_string(n) +
                        " of a commit with " + std::to_string(count) +
                        (count == 1 ? " parent" : " parents"));
  }
  git::check(git_commit_parent(&parent, commit, n - 1), "cannot read a parent in '" + range + "'");
  git::Commit owned(parent);
  git_tree* tree = nullptr;
  git::check(git_commit_tree(&tree, owned.get()), "cannot read a parent tree in '" + range + "'");
  return git::Tree(tree);
}

git::Tree commit_tree(git_commit* commit, const std::string& range) {
  git_tree* tree = nullptr;
  git::check(git_commit_tree(&tree, commit), "cannot read the tree of '" + range + "'");
  return git::Tree(tree);
}

// "C^!" (C against its first parent) and "C^-N" (C against its parent N,
// the first without N): the revision C and the parent's number, or nullopt
// for any other form.
std::optional<std::pair<std::string, unsigned>> parent_form(const std::string& range) {
  if (range.size() > 2 && range.ends_with("^!")) return {{range.substr(0, range.size() - 2), 1}};
  const std::size_t caret = range.rfind("^-");
  if (caret == std::string::npos || caret == 0) return std::nullopt;
  const std::string digits = range.substr(caret + 2);
  if (digits.size() > 9 ||
      !std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; })) {
    return std::nullopt;
  }
  const unsigned n = digits.empty() ? 1 : static_cast<unsigned>(std::stoul(digits));
  if (n == 0) return std::nullopt;
  return {{range.substr(0, caret), n}};
}

git::Object resolve(git_repository* repo, const std::string& revision, const std::string& range) {
  git_object* object = nullptr;
  git::check(git_revparse_single(&object, repo, revision.c_str()),
             "git does not know the revision range '" + range + "'");
  return git::Object(object);
}

TreePair range_trees(git_repository* repo, const std::string& range) {
  if (const auto parent = parent_form(range)) {
    const git::Object object = resolve(repo, parent->first, range);
    const git::Commit commit = peel_to_commit(object.get(), range);
    return {parent_tree(commit.get(), parent->second, range), commit_tree(commit.get(), range)};
  }
  // libgit2 leaves the left side resolved when only the right one fails:
  // own both before checking.
  git_revspec parsed{};
  const int code = git_revparse(&parsed, repo, range.c_str());
  git::Object from(parsed.from), to(parsed.to);
  git::check(code, "git does not know the revision range '" + range + "'");
  if ((parsed.flags & GIT_REVSPEC_SINGLE) != 0) {
    const git::Commit commit = peel_to_commit(from.get(), range);
    return {parent_tree(commit.get(), 1, range), commit_tree(commit.get(), range)};
  }
  if ((parsed.flags & GIT_REVSPEC_MERGE_BASE) != 0) {
    // Tags name their commits: the merge base is sought between those.
    const git::Commit left = peel_to_commit(from.get(), range);
    const git::Commit right = peel_to_commit(to.get(), range);
    git_oid base;
    git::check(git_merge_base(&base, repo, git_commit_id(left.get()), git_commit_id(right.get())),
               "the two sides of '" + range + "' have no common ancestor");
    git_object* base_object = nullptr;
    git::check(git_object_lookup(&base_object, repo, &base, GIT_OBJECT_COMMIT),
               "cannot read the merge base of '" + range + "'");
    from.reset(base_object);
  }
  return {git::tree_of(from.get(), range), git::tree_of(to.get(), range)};
}

// The working tree of `repo`, or empty when it has none. libgit2 takes the
// directory around a git directory opened directly for its working tree even
// when that directory holds none; git gives such a git directory no working
// tree unless core.worktree names one, and neither does this.
std::filesystem::path work_tree(git_repository* repo) {
  const char* workdir = git_repository_workdir(repo);
  if (workdir == nullptr) return {};
  const std::filesystem::path dot_git = std::filesystem::path(workdir) / ".git";
  std::error_code ec;
  if (std::filesystem::is_directory(dot_git, ec)) {
    if (std::filesystem::equivalent(dot_git, git_repository_path(repo), ec)) return workdir;
  } else if (std::filesystem::exists(dot_git, ec)) {
    return workdir;  // a ".git" file: a linked worktree or a submodule
  }
  git_config* config = nullptr;
  if (git_repository_config_snapshot(&config, repo) < 0) return {};
  const char* named = nullptr;
  const bool has_worktree = git_config_get_string(&named, config, "core.worktree") == 0;
  git_config_free(config);
  return has_worktree ? std::filesystem::path(workdir) : std::filesystem::path();
}

std::string no_work_tree(const std::filesystem::path& directory) {
  return directory.string() +
         " is in a git directory without a working tree (a bare repository, or a git "
         "directory whose config names no core.worktree)";
}

// How many files of the working tree git neither tracks nor ignores: the
// working-tree change leaves them out, as `git diff HEAD` does.
std::size_t untracked_files(git_repository* repo) {
  git_status_options options;
  git::check(git_status_options_init(&options, GIT_STATUS_OPTIONS_VERSION),
             "cannot prepare the status");
  options.show = GIT_STATUS_SHOW_WORKDIR_ONLY;
  options.flags = GIT_STATUS_OPT_INCLUDE_UNTRACKED | GIT_STATUS_OPT_RECURSE_UNTRACKED_DIRS;
  git_status_list* list = nullptr;
  git::check(git_status_list_new(&list, repo, &options), "cannot list the untracked files");
  std::size_t count = 0;
  for (std::size_t i = 0; i < git_status_list_entrycount(list); ++i) {
    if ((git_status_byindex(list, i)->status & GIT_STATUS_WT_NEW) != 0) ++count;
  }
  git_status_list_free(list);
  return count;
}

}  // namespace

GitChange working_tree_of(const std::filesystem::path& directory) {
  const git::Session session;
  git::Repository repo = git::open_repository(directory);
  std::filesystem::path top = work_tree(repo.get());
  if (top.empty()) throw git::GitError(no_work_tree(directory));
  return {.patch = {},
          .git_dir = git_repository_path(repo.get()),
          .top_level = std::move(top),
          .new_tree = std::nullopt};
}

GitChange read_git_change(const std::filesystem::path& directory,
                          const std::optional<std::string>& range, std::size_t max_bytes) {
  const git::Session session;
  git::Repository repo = git::open_repository(directory);
  GitChange change;
  change.git_dir = git_repository_path(repo.get());
  change.top_level = work_tree(repo.get());
  Comparison compare;
  if (range) {
    auto trees = std::make_shared<TreePair>(range_trees(repo.get(), *range));
    compare = [&repo, trees, &range](const git_diff_options& options) {
      git_diff* diff = nullptr;
      git::check(git_diff_tree_to_tree(&diff, repo.get(), trees->old_tree.get(),
                                       trees->new_tree.get(), &options),
                 "cannot compare the two sides of '" + *range + "'");
      return git::Diff(diff);
    };
    change.new_tree = git_oid_tostr_s(git_tree_id(trees->new_tree.get()));
  } else {
    if (change.top_level.empty()) {
      throw git::GitError(no_work_tree(directory) + "; name a range instead");
    }
    auto head = std::make_shared<git::Tree>();
    if (git_repository_head_unborn(repo.get()) != 1)
      *head = git::tree_of(git::revparse(repo.get(), "HEAD").get(), "HEAD");
    change.untracked = untracked_files(repo.get());
    compare = [&repo, head](const git_diff_options& options) {
      git_diff* diff = nullptr;
      git::check(git_diff_tree_to_workdir_with_index(&diff, repo.get(), head->get(), &options),
                 "cannot compare the working tree with HEAD");
      return git::Diff(diff);
    };
  }
  change.patch = git_patch(compare, max_bytes);
  return change;
}

}  // namespace tessik::cli
