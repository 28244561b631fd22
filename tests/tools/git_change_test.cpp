// The change `review --git` reviews: produced by libgit2, it must split into
// the same files as the `git diff` command's own output, byte for byte.
#include "change/git/git_change.hpp"

#include <gtest/gtest.h>

#include "change/diff_split.hpp"
#include "change/git/git_handles.hpp"
#include "failure.hpp"
#include "run_cli.hpp"

namespace tessik::cli {
namespace {

using testing::GitRepo;

// The files as the agents read them, one block each.
std::string shown(const std::vector<FileChange>& files) {
  std::string out;
  for (const FileChange& f : files) out += "File: " + f.file_path + "\n" + f.diff + "\n\n";
  return out;
}

// Three commits, then uncommitted edits: CR LF line ends, a byte that is not
// UTF-8, a binary file, a rename, a deletion and a new staged file.
class History : public ::testing::Test {
 protected:
  void SetUp() override {
    repo.write("a.txt", "one\ntwo\nthree\n");
    repo.write("crlf.txt", "first\r\nsecond\r\n");
    repo.write("gone.txt", "to be deleted\n");
    repo.write("moved_from.txt", std::string(200, 'm') + "\n");
    repo.write(".gitattributes", "*.lock -diff\n");
    repo.write(".gitignore", "*.log\n");
    repo.write("uv.lock", "v1\n");
    repo.commit("root");
    repo.write("a.txt", "one\n2\nthree\n");
    repo.commit("second");
    repo.write("crlf.txt", "first\r\nchanged \xe9\r\n");
    repo.write("bin.dat", std::string("\0\1\2", 3));
    repo.commit("third");
    repo.git("tag -a -m root v1 HEAD~2");
    repo.git("tag -a -m third v3 HEAD");
    repo.write("a.txt", "one\n2\nthree\nfour");
    repo.git("rm -q gone.txt");
    repo.git("mv moved_from.txt moved_to.txt");
    repo.write("staged.txt", "new\n");
    repo.write("untracked.txt", "u\n");
    repo.write("new_dir/untracked.txt", "u\n");
    repo.write("ignored.log", "i\n");
    repo.write("uv.lock", "v2\n");  // binary by attribute, changed only in the working tree
    repo.git("add staged.txt");
  }
  GitRepo repo;
};

TEST_F(History, EveryRangeFormGivesTheFilesGitDiffGives) {
  // A range and the equivalent `git diff` command line.
  const std::pair<std::optional<std::string>, const char*> cases[] = {
      {std::nullopt, "diff HEAD"},
      {"HEAD~2..HEAD", "diff HEAD~2 HEAD"},
      {"HEAD~1", "diff HEAD~2 HEAD~1"},
      {"HEAD~2", "diff 4b825dc642cb6eb9a060e54bf8d69288fbee4904 HEAD~2"},  // the root commit
      {"HEAD~1...HEAD", "diff HEAD~1 HEAD"},
      {"v1...v3", "diff v1...v3"},  // annotated tags
      {"v1..v3", "diff v1 v3"},
      {"v3", "diff HEAD~1 HEAD"},
      {"HEAD^!", "diff HEAD^!"},
      {"v3^-", "diff HEAD^-"},
      {"HEAD~1^-1", "diff HEAD~1^-1"},
  };
  for (const auto& [range, git_args] : cases) {
    const GitChange change = read_git_change(repo.path(), range);
    EXPECT_EQ(split_unified_diff(change.patch),
              split_unified_diff(repo.git(std::string("-c diff.noprefix=false ") + git_args)))
        << git_args;
    EXPECT_EQ(change.new_tree.has_value(), range.has_value()) << git_args;
  }
}

TEST_F(History, TheWorkingTreeChangeNamesTheRepositoryTop) {
  const GitChange change = read_git_change(repo.path() / ".", std::nullopt);
  EXPECT_EQ(std::filesystem::canonical(change.top_level), repo.path());
  EXPECT_EQ(change.untracked, 2u);  // not the ignored one
  std::vector<std::string> paths;
  for (const FileChange& f : split_unified_diff(change.patch)) paths.push_back(f.file_path);
  EXPECT_EQ(paths, (std::vector<std::string>{"a.txt", "gone.txt", "moved_to.txt", "staged.txt",
                                             "uv.lock"}));
}

// Every kind of change git's header lines describe, uncommitted and then
// committed: the --git change must split into what `git diff` and
// `git format-patch` give, header lines and all.
TEST(GitChange, EveryKindOfChangeReadsAsGitWritesIt) {
  GitRepo repo;
  const auto text = [](const std::string& tag) {
    std::string t;
    for (int i = 0; i < 40; ++i) t += tag + " line " + std::to_string(i) + "\n";
    return t;
  };
  for (const char* tag : {"moved", "edited", "source", "link", "n"}) {
    repo.write(std::string(tag) == "n" ? "t\xe9.txt" : std::string(tag) + ".txt", text(tag));
  }
  repo.write("tool.sh", "echo\n");
  repo.write("bin.dat", std::string("\1\0\2", 3));
  repo.write("gone.txt", "g\n");
  repo.commit("before");
  const auto split_git = [&](const std::string& args) {
    return shown(
        split_unified_diff(repo.git("-c diff.noprefix=false -c core.quotePath=true " + args)));
  };
  const auto agree = [&](const char* what) {
    repo.git("add -A");
    const std::string worktree =
        shown(split_unified_diff(read_git_change(repo.path(), std::nullopt).patch));
    EXPECT_EQ(worktree, split_git("diff HEAD")) << what;
    repo.commit(what);
    const std::string commit =
        shown(split_unified_diff(read_git_change(repo.path(), "HEAD").patch));
    EXPECT_EQ(commit, split_git("diff HEAD~ HEAD")) << what;
    EXPECT_EQ(commit, split_git("format-patch -1 --stdout")) << what;
    EXPECT_EQ(commit, worktree) << what;
    return commit;
  };
  repo.mkdir("sub");
  repo.git("mv moved.txt sub/moved.txt");  // pure rename
  repo.git("mv edited.txt edited2.txt");   // rename with an edit
  repo.write("edited2.txt", text("edited") + "one more\n");
  repo.git("update-index --chmod=+x tool.sh");  // mode change
  std::filesystem::permissions(repo / "tool.sh", std::filesystem::perms::owner_exec,
                               std::filesystem::perm_options::add);
  repo.git("mv link.txt kept.txt");  // a link takes the old name: no rename
  repo.link("kept.txt", "link.txt");
  repo.write("bin.dat", std::string("\1\0\3", 3));
  repo.git("mv t\xe9.txt u\xe9.txt");
  repo.git("rm -q gone.txt");
  const std::string changed = agree("every kind");
  for (const char* expected :
       {"File: sub/moved.txt\nsimilarity index 100%\nrename from moved.txt\nrename to sub/",
        "rename from edited.txt\nrename to edited2.txt\n@@ -38,3 +38,4 @@",
        "File: tool.sh\nold mode 100644\nnew mode 100755\n\n",
        "File: kept.txt\nnew file mode 100644\n@@ -0,0 +1,40 @@",
        "File: link.txt\ndeleted file mode 100644\n@@ -1,40 +0,0 @@",
        "File: link.txt\nnew file mode 120000\n@@ -0,0 +1 @@\n+kept.txt",
        "File: bin.dat\nBinary files a/bin.dat and b/bin.dat differ\n\n",
        "File: \"u\\351.txt\"\nsimilarity index 100%\nrename from \"t\\351.txt\"",
        "File: gone.txt\ndeleted file mode 100644\n@@ -1 +0,0 @@\n-g\n\n"}) {
    EXPECT_NE(changed.find(expected), std::string::npos) << expected;
  }
  repo.git("config diff.renames copies");
  repo.write("sub/copy.txt", text("source"));  // copied from a file that changed too
  repo.write("source.txt", text("source") + "x\n");
  EXPECT_NE(agree("copy").find("File: sub/copy.txt\nsimilarity index 100%\ncopy from source.txt"),
            std::string::npos);
}

TEST(GitChange, BadInputsNameWhatIsWrong) {
  GitRepo repo;
  repo.write("a.txt", "a\n");
  repo.commit("one");
  testing::TempDir plain;
  // A copy of the git directory whose config says nothing of core.bare: no
  // working tree, although libgit2 would take the folder around it for one.
  const std::filesystem::path git_dir = plain / "copy.git";
  std::filesystem::copy(repo / ".git", git_dir, std::filesystem::copy_options::recursive);
  repo.git("config -f " + (git_dir / "config").string() + " --unset core.bare");
  const std::tuple<std::filesystem::path, std::optional<std::string>, const char*> cases[] = {
      {plain.path(), std::nullopt, "is not inside a git repository"},
      {repo.path(), "nosuchbranch", "git does not know the revision range 'nosuchbranch'"},
      {repo.path(), "HEAD..nosuch", "git does not know the revision range 'HEAD..nosuch'"},
      {repo.path(), "HEAD~5", "git does not know the revision range 'HEAD~5'"},
      {repo.path(), "nosuch^!", "git does not know the revision range 'nosuch^!'"},
      {repo.path(), "HEAD^-2", "'HEAD^-2' names parent 2 of a commit with 0 parents"},
      {git_dir, std::nullopt, "without a working tree"},
  };
  for (const auto& [dir, range, message] : cases) {
    try {
      read_git_change(dir, range);
      ADD_FAILURE() << message;
    } catch (const git::GitError& e) {
      EXPECT_NE(std::string(e.what()).find(message), std::string::npos) << e.what();
    }
  }
}

// Nothing changed (before the first commit too) is an empty patch; the size
// limit holds at its value and is named past it.
TEST(GitChange, EmptyPatchAndThePatchSizeLimit) {
  GitRepo repo;
  EXPECT_EQ(read_git_change(repo.path(), std::nullopt).patch, "");  // no commit yet
  repo.write("a.txt", "a\n");
  repo.commit("one");
  EXPECT_EQ(read_git_change(repo.path(), std::nullopt).patch, "");
  repo.write("a.txt", "b\n");
  const std::size_t size = read_git_change(repo.path(), std::nullopt).patch.size();
  EXPECT_EQ(read_git_change(repo.path(), std::nullopt, size).patch.size(), size);
  const testing::Failure f =
      testing::failure_of([&] { read_git_change(repo.path(), std::nullopt, size - 1); });
  EXPECT_EQ(f.kind + ": " + f.message,
            "ValueError: the change is larger than the text-file limit of " +
                std::to_string(size - 1) + " bytes");
}

}  // namespace
}  // namespace tessik::cli
