#include "change/diff_split.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tessik::cli {
namespace {

struct Case {
  const char* name;
  std::string diff;
  std::vector<FileChange> expected;
};

const std::string kModified =
    "diff --git a/app/db.py b/app/db.py\n"
    "index 1111111..2222222 100644\n"
    "--- a/app/db.py\n"
    "+++ b/app/db.py\n"
    "@@ -1,2 +1,2 @@ def connect():\n"
    " import sqlite3\n"
    "-PATH = 'a'\n"
    "+PATH = 'b'\n"
    "@@ -10 +10,2 @@\n"
    " x = 1\n"
    "+y = 2\n";
const std::string kModifiedHunks =
    "@@ -1,2 +1,2 @@ def connect():\n import sqlite3\n-PATH = 'a'\n+PATH = 'b'\n"
    "@@ -10 +10,2 @@\n x = 1\n+y = 2";

const Case kCases[] = {
    {"modified file keeps every hunk and drops the headers",
     kModified,
     {{"app/db.py", kModifiedHunks}}},
    {"missing final line break changes nothing",
     kModified.substr(0, kModified.size() - 1),
     {{"app/db.py", kModifiedHunks}}},
    {"new file takes the new path and says it is new",
     "diff --git a/n.sql b/n.sql\nnew file mode 100644\nindex 0000000..1\n"
     "--- /dev/null\n+++ b/n.sql\n@@ -0,0 +1 @@\n+SELECT 1;\n",
     {{"n.sql", "new file mode 100644\n@@ -0,0 +1 @@\n+SELECT 1;"}}},
    {"deleted file takes the old path, not /dev/null",
     "diff --git a/old.py b/old.py\ndeleted file mode 100644\n"
     "--- a/old.py\n+++ /dev/null\n@@ -1 +0,0 @@\n-x = 1\n",
     {{"old.py", "deleted file mode 100644\n@@ -1 +0,0 @@\n-x = 1"}}},
    {"rename with edits takes the new name and gives both, modes first as git orders them",
     "diff --git a/util.py b/fmt.py\nsimilarity index 80%\nrename from util.py\n"
     "rename to fmt.py\nold mode 100644\nnew mode 100755\nindex 1..2\n--- a/util.py\n"
     "+++ b/fmt.py\n@@ -1 +1,2 @@\n a\n+b\n",
     {{"fmt.py",
       "old mode 100644\nnew mode 100755\nsimilarity index 80%\nrename from util.py\n"
       "rename to fmt.py\n@@ -1 +1,2 @@\n a\n+b"}}},
    {"pure rename and copy between mnemonic prefixes keep their header lines",
     "diff --git c/a.txt w/b.txt\nsimilarity index 100%\nrename from a.txt\nrename to b.txt\n"
     "diff --git c/x y w/x z\nsimilarity index 90%\ncopy from x y\ncopy to x z\n",
     {{"b.txt", "similarity index 100%\nrename from a.txt\nrename to b.txt"},
      {"x z", "similarity index 90%\ncopy from x y\ncopy to x z"}}},
    {"mode change alone, any prefixes: the name both sides share",
     "diff --git a/bin/run b/bin/run\nold mode 100644\nnew mode 100755\n"
     "diff --git bin/my tool bin/my tool\nold mode 100755\nnew mode 100644\n"
     "diff --git i/a b w/a b\nold mode 100644\nnew mode 100755\n"
     "diff --git a/x b/x\n--- a/x\n+++ /dev/null\n",
     {{"bin/run", "old mode 100644\nnew mode 100755"},
      {"bin/my tool", "old mode 100755\nnew mode 100644"},
      {"a b", "old mode 100644\nnew mode 100755"},
      {"x", ""}}},
    {"hunks under mnemonic or no prefixes name the file itself",
     "diff --git c/a/b.c w/a/b.c\n--- c/a/b.c\n+++ w/a/b.c\n@@ -1 +1 @@\n-x\n+y\n"
     "diff --git a/b.c a/b.c\n--- a/b.c\n+++ a/b.c\n@@ -1 +1 @@\n-x\n+y\n",
     {{"a/b.c", "@@ -1 +1 @@\n-x\n+y"}, {"a/b.c", "@@ -1 +1 @@\n-x\n+y"}}},
    {"type change is a deletion and a new file of one path",
     "diff --git a/l b/l\ndeleted file mode 100644\nindex 1..0\n--- a/l\n+++ /dev/null\n"
     "@@ -1 +0,0 @@\n-x\ndiff --git a/l b/l\nnew file mode 120000\nindex 0..2\n--- /dev/null\n"
     "+++ b/l\n@@ -0,0 +1 @@\n+t\n\\ No newline at end of file\n",
     {{"l", "deleted file mode 100644\n@@ -1 +0,0 @@\n-x"},
      {"l", "new file mode 120000\n@@ -0,0 +1 @@\n+t\n\\ No newline at end of file"}}},
    {"binary file gets git's marker line as its diff",
     "diff --git a/logo.png b/logo.png\nnew file mode 100644\nindex 0000000..3\n"
     "Binary files /dev/null and b/logo.png differ\n",
     {{"logo.png", "new file mode 100644\nBinary files /dev/null and b/logo.png differ"}}},
    {"binary marker is rebuilt from what happened, not taken as written",
     "diff --git c/uv.lock w/uv.lock\nindex 1..0 100644\nBinary files c/uv.lock and /dev/null "
     "differ\n",
     {{"uv.lock", "Binary files a/uv.lock and b/uv.lock differ"}}},
    {"binary patch data is replaced by a marker line",
     "diff --git a/logo.png b/logo.png\ndeleted file mode 100644\nGIT binary patch\n"
     "literal 0\nHcmV?d00001\n\nliteral 4\nLcmZQzWMT#Y01f~L\n\n",
     {{"logo.png", "deleted file mode 100644\nBinary files a/logo.png and /dev/null differ"}}},
    {"quoted non-ASCII path is unquoted",
     "diff --git \"a/t\\303\\251st.txt\" \"b/t\\303\\251st.txt\"\n"
     "--- \"a/t\\303\\251st.txt\"\n+++ \"b/t\\303\\251st.txt\"\n@@ -1 +1 @@\n-a\n+b\n",
     {{"t\xc3\xa9st.txt", "@@ -1 +1 @@\n-a\n+b"}}},
    {"name that is not UTF-8 stays in git's quoted form, wherever it is shown",
     "diff --git \"a/t\\351\" \"b/u\\351\"\nsimilarity index 100%\nrename from \"t\\351\"\n"
     "rename to \"u\\351\"\ndiff --git \"a/\\377\" \"b/\\377\"\nBinary files \"a/\\377\" and "
     "\"b/\\377\" differ\n",
     {{"\"u\\351\"", "similarity index 100%\nrename from \"t\\351\"\nrename to \"u\\351\""},
      {"\"\\377\"", "Binary files \"a/\\377\" and \"b/\\377\" differ"}}},
    {"path with a blank is not cut at the blank",
     "diff --git a/my notes.md b/my notes.md\n--- a/my notes.md\t\n+++ b/my notes.md\t\n"
     "@@ -1 +1 @@\n-a\n+b\n",
     {{"my notes.md", "@@ -1 +1 @@\n-a\n+b"}}},
    {"removed line that looks like a file header stays in its hunk",
     "diff --git a/q.sql b/q.sql\n--- a/q.sql\n+++ b/q.sql\n@@ -1 +1 @@\n"
     "--- old comment\n+++ new comment\n",
     {{"q.sql", "@@ -1 +1 @@\n--- old comment\n+++ new comment"}}},
    {"no-newline marker after the last hunk line is kept",
     "diff --git a/a b/a\n--- a/a\n+++ b/a\n@@ -1 +1 @@\n-x\n\\ No newline at end of file\n+y\n"
     "\\ No newline at end of file\n",
     {{"a", "@@ -1 +1 @@\n-x\n\\ No newline at end of file\n+y\n\\ No newline at end of file"}}},
    {"context line whose blank an editor stripped still counts",
     "diff --git a/a b/a\n--- a/a\n+++ b/a\n@@ -1,3 +1,3 @@\n x\n\n-y\n+z\n",
     {{"a", "@@ -1,3 +1,3 @@\n x\n\n-y\n+z"}}},
    {"mail header and signature around the files are ignored",
     "From 1234 Mon Sep 17 00:00:00 2001\nSubject: [PATCH] fix\n\n---\n a | 2 +-\n\n"
     "diff --git a/a b/a\n--- a/a\n+++ b/a\n@@ -1 +1 @@\n-x\n+y\n-- \n2.39.2\n",
     {{"a", "@@ -1 +1 @@\n-x\n+y"}}},
    {"plain diff -u output with timestamps",
     "--- old/a.c\t2024-01-01 10:00:00\n+++ new/a.c\t2024-01-02 10:00:00\n@@ -1 +1 @@\n-x\n+y\n"
     "--- old/b.c\t2024-01-01 10:00:00\n+++ new/b.c\t2024-01-02 10:00:00\n@@ -1 +1 @@\n-p\n+q\n",
     {{"new/a.c", "@@ -1 +1 @@\n-x\n+y"}, {"new/b.c", "@@ -1 +1 @@\n-p\n+q"}}},
    {"files keep their order in the diff",
     "diff --git a/z b/z\n--- a/z\n+++ b/z\n@@ -1 +1 @@\n-1\n+2\n"
     "diff --git a/a b/a\n--- a/a\n+++ b/a\n@@ -1 +1 @@\n-1\n+2\n",
     {{"z", "@@ -1 +1 @@\n-1\n+2"}, {"a", "@@ -1 +1 @@\n-1\n+2"}}},
    {"empty input has no files", "", {}},
};

TEST(SplitUnifiedDiff, GivesOneChangePerFile) {
  for (const Case& c : kCases) EXPECT_EQ(split_unified_diff(c.diff), c.expected) << c.name;
}

TEST(SplitUnifiedDiff, RefusesMalformedHunks) {
  const char* malformed[] = {
      // header announces three lines, two follow before the next file
      "diff --git a/a b/a\n--- a/a\n+++ b/a\n@@ -1,3 +1,3 @@\n x\n y\n"
      "diff --git a/b b/b\n",
      // the diff stops inside a hunk
      "diff --git a/a b/a\n--- a/a\n+++ b/a\n@@ -1,3 +1,3 @@\n x\n",
      // garbage where the counts should be
      "diff --git a/a b/a\n--- a/a\n+++ b/a\n@@ -x +1 @@\n+y\n",
  };
  for (const char* diff : malformed) {
    EXPECT_THROW(split_unified_diff(diff), DiffFormatError) << diff;
  }
}

}  // namespace
}  // namespace tessik::cli
