// File names as git writes them in a diff, and as the agents see them.
//
//   std::string_view token = "\"t\\351st.txt\" rest";
//   std::string bytes = take_quoted_path(token);   // "t\xE9st.txt", token: " rest"
//   shown_path(bytes);                             // "\"t\\351st.txt\""
//   path_from_shown("\"t\\351st.txt\"");           // "t\xE9st.txt"
//
// A file name is bytes. What the agents read (and what a request may carry)
// is UTF-8 text, so a name that is not UTF-8, or that holds a control
// character, a double quote or a backslash, is shown in git's quoted form:
// in double quotes, with C escapes (\t, \n, \", \\) and every byte outside
// printable ASCII as a three-digit octal escape, as `git diff` writes it.
// Any other name is shown as it is. The reviewer tools take either form back.
#ifndef TESSIK_TOOLS_CHANGE_QUOTED_PATH_HPP_
#define TESSIK_TOOLS_CHANGE_QUOTED_PATH_HPP_

#include <optional>
#include <string>
#include <string_view>

namespace tessik::cli {

// Reads one path token from the front of `s` and advances `s` past it: a
// quoted token up to its closing quote, unquoted (an unterminated one runs
// to the end of `s`); an unquoted token runs to the end of `s`.
std::string take_quoted_path(std::string_view& s);

// The name `bytes` as the agents see it; see the file comment.
std::string shown_path(std::string_view bytes);

// `prefix` + `bytes` as git writes it on a "Binary files" line: quoted as a
// whole when the name needs quoting.
std::string shown_path(std::string_view prefix, std::string_view bytes);

// The bytes a shown name stands for: a well-formed quoted form unquoted,
// anything else unchanged.
std::string path_from_shown(std::string_view shown);

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_CHANGE_QUOTED_PATH_HPP_
