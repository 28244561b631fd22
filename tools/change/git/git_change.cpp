#include "change/git/git_change.hpp"

#include <tessik/foundation/errors.hpp>

#include "change/git/git_handles.hpp"

namespace tessik::cli {
namespace {

// The two trees of a range; `old_tree` is null for the empty tree.
struct TreePair {
  git::Tree old_tree, new_tree;
};

// The first parent's tree of the commit `object` peels to, or null for a
// root commit.
git::Tree parent_tree(git_object* object, const std::string& revision) {
  git_object* peeled = nullptr;
  git::check(git_object_peel(&peeled, object, GIT_OBJECT_COMMIT),
             "the revision '" + revision + "' does not name a commit");
  git::Commit commit(reinterpret_cast<git_commit*>(peeled));
  if (git_commit_parentcount(commit.get()) == 0) return nullptr;
  git_commit* parent = nullptr;
  git::check(git_commit_parent(&parent, commit.get(), 0), "cannot read the parent of " + revision);
  git::Commit owned(parent);
  git_tree* tree = nullptr;
  git::check(git_commit_tree(&tree, owned.get()), "cannot read the parent tree of " + revision);
  return git::Tree(tree);
}

TreePair range_trees(git_repository* repo, const std::string& range) {
  // libgit2 leaves the left side resolved when only the right one fails:
  // own both before checking.
  git_revspec parsed{};
  const int code = git_revparse(&parsed, repo, range.c_str());
  git::Object from(parsed.from), to(parsed.to);
  git::check(code, "git does not know the revision range '" + range + "'");
  if ((parsed.flags & GIT_REVSPEC_SINGLE) != 0) {
    return {parent_tree(from.get(), range), git::tree_of(from.get(), range)};
  }
  if ((parsed.flags & GIT_REVSPEC_MERGE_BASE) != 0) {
    git_oid base;
    git::check(git_merge_base(&base, repo, git_object_id(from.get()), git_object_id(to.get())),
               "the two sides of '" + range + "' have no common ancestor");
    git_object* base_object = nullptr;
    git::check(git_object_lookup(&base_object, repo, &base, GIT_OBJECT_COMMIT),
               "cannot read the merge base of '" + range + "'");
    from.reset(base_object);
  }
  return {git::tree_of(from.get(), range), git::tree_of(to.get(), range)};
}

struct PatchSink {
  std::string text;
  std::size_t max_bytes;
  bool too_large = false;
};

// Appends one line as git prints it: content lines carry their origin
// character in front, every other kind (headers, markers) is whole.
int append_line(const git_diff_delta*, const git_diff_hunk*, const git_diff_line* line,
                void* payload) {
  auto& sink = *static_cast<PatchSink*>(payload);
  const bool prefixed = line->origin == GIT_DIFF_LINE_CONTEXT ||
                        line->origin == GIT_DIFF_LINE_ADDITION ||
                        line->origin == GIT_DIFF_LINE_DELETION;
  const std::size_t size = line->content_len + (prefixed ? 1 : 0);
  if (size > sink.max_bytes - sink.text.size()) {
    sink.too_large = true;
    return 1;
  }
  if (prefixed) sink.text += line->origin;
  sink.text.append(line->content, line->content_len);
  return 0;
}

std::string patch_text(git::Diff& diff, std::size_t max_bytes) {
  // The init functions rather than the INIT macros: the macros leave trailing
  // fields to aggregate zero-initialisation, which clang warns about.
  git_diff_find_options find;
  git::check(git_diff_find_options_init(&find, GIT_DIFF_FIND_OPTIONS_VERSION),
             "cannot prepare rename detection");
  git::check(git_diff_find_similar(diff.get(), &find), "cannot detect renames");
  PatchSink sink{.text = {}, .max_bytes = max_bytes};
  const int code = git_diff_print(diff.get(), GIT_DIFF_FORMAT_PATCH, append_line, &sink);
  if (sink.too_large) {
    throw InvalidValueError("the change is larger than the text-file limit of " +
                            std::to_string(max_bytes) + " bytes");
  }
  git::check(code, "cannot write the change as a patch");
  return std::move(sink.text);
}

}  // namespace

GitChange working_tree_of(const std::filesystem::path& directory) {
  const git::Session session;
  git::Repository repo = git::open_repository(directory);
  const char* workdir = git_repository_workdir(repo.get());
  if (workdir == nullptr) {
    throw git::GitError(directory.string() + " is in a bare repository: it has no working tree");
  }
  return {.patch = {},
          .git_dir = git_repository_path(repo.get()),
          .top_level = workdir,
          .new_tree = std::nullopt};
}

GitChange read_git_change(const std::filesystem::path& directory,
                          const std::optional<std::string>& range, std::size_t max_bytes) {
  const git::Session session;
  git::Repository repo = git::open_repository(directory);
  GitChange change;
  change.git_dir = git_repository_path(repo.get());
  if (const char* workdir = git_repository_workdir(repo.get())) change.top_level = workdir;
  git_diff_options options;
  git::check(git_diff_options_init(&options, GIT_DIFF_OPTIONS_VERSION),
             "cannot prepare the comparison");
  git_diff* diff = nullptr;
  if (range) {
    TreePair trees = range_trees(repo.get(), *range);
    git::check(git_diff_tree_to_tree(&diff, repo.get(), trees.old_tree.get(), trees.new_tree.get(),
                                     &options),
               "cannot compare the two sides of '" + *range + "'");
    change.new_tree = git_oid_tostr_s(git_tree_id(trees.new_tree.get()));
  } else {
    if (change.top_level.empty()) {
      throw git::GitError(directory.string() +
                          " is in a bare repository: it has no working "
                          "tree to review; name a range instead");
    }
    git::Tree head;
    if (git_repository_head_unborn(repo.get()) != 1)
      head = git::tree_of(git::revparse(repo.get(), "HEAD").get(), "HEAD");
    git::check(git_diff_tree_to_workdir_with_index(&diff, repo.get(), head.get(), &options),
               "cannot compare the working tree with HEAD");
  }
  git::Diff owned(diff);
  change.patch = patch_text(owned, max_bytes);
  return change;
}

}  // namespace tessik::cli
