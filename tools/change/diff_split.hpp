// Splitting a unified diff into the changed files the agents review.
//
//   std::vector<FileChange> changes = split_unified_diff(read_text_file("change.diff"));
//
// Input is a unified diff as `git diff` (or `diff -u`) writes it; text before
// the first file (a commit message, a mail header) and after the last hunk
// (a signature) is ignored. Each file becomes one FileChange:
//
//   file_path  the new path; the old path for a deleted file. The prefixes
//              of git sections ("a/" and "b/", mnemonic ones such as "c/" and
//              "w/", none) are dropped, quoted paths ("a/t\303\251st.txt") are
//              unquoted; a name that is not UTF-8 text is given in git's
//              quoted form (see quoted_path.hpp).
//   diff       for a git section, first what happened to the file in git's
//              own header lines and order: "new file mode M", "deleted file
//              mode M", "old mode M" and "new mode M", "similarity index N%"
//              (or "dissimilarity index"), "rename from A" and "rename to B"
//              (or "copy"); the "index" line is left out. Then the file's
//              hunks, from its first "@@" line to its last hunk line
//              (including "\ No newline at end of file" markers), or for a
//              binary file git's "Binary files a/A and b/B differ" line (with
//              /dev/null for the side that does not exist). Lines are joined
//              by "\n" with no line break after the last one. A pure rename
//              or mode change has only its header lines.
//
// A file whose type changed (a file replaced by a symbolic link) is two
// sections in git's output, a deletion and a new file of the same path, and
// so two FileChanges.
// Files keep the order of the diff. A diff without a final line break gives
// the same result as with one.
#ifndef TESSIK_TOOLS_CHANGE_DIFF_SPLIT_HPP_
#define TESSIK_TOOLS_CHANGE_DIFF_SPLIT_HPP_

#include <stdexcept>
#include <string_view>
#include <vector>

#include <tessik/models.hpp>

namespace tessik::cli {

// A diff that cannot be split: a malformed hunk header, or a hunk whose
// lines do not match its header's counts. The message names the line number.
class DiffFormatError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Splits `text` into one FileChange per file; see the file comment. Throws
// DiffFormatError for a malformed hunk. Input without any file section gives
// an empty result.
std::vector<FileChange> split_unified_diff(std::string_view text);

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_CHANGE_DIFF_SPLIT_HPP_
