// Splitting a unified diff into the changed files the agents review.
//
//   std::vector<FileChange> changes = split_unified_diff(read_text_file("change.diff"));
//
// Input is a unified diff as `git diff` (or `diff -u`) writes it; text before
// the first file (a commit message, a mail header) and after the last hunk
// (a signature) is ignored. Each file becomes one FileChange:
//
//   file_path  the new path; the old path for a deleted file. "a/" and "b/"
//              prefixes of git sections are dropped, quoted paths
//              ("a/t\303\251st.txt") are unquoted.
//   diff       the file's hunks, from its first "@@" line to its last hunk
//              line (including "\ No newline at end of file" markers), lines
//              joined by "\n" with no line break after the last one. A
//              binary file has a one-line marker instead: git's own "Binary
//              files A and B differ" line. A pure rename or mode change has
//              no hunks and an empty diff.
//
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
