// Path globs as .gitignore writes them, for --exclude, --include and the
// agents' trigger_patterns:
//
//   glob_matches("*.lock", "web/yarn.lock")          // true: no "/", any depth
//   glob_matches("docs/**", "docs/api/index.md")     // true: ** crosses folders
//   glob_matches("src/*.py", "src/a/b.py")           // false: * stays in one folder
//   glob_matches("**/*.h", "x.h")                    // true: ** may be no folder
//
// `*` matches any run of characters within one path component, `?` one
// character, `[...]` one of a set (as fnmatch(3) reads it); `**` as a whole
// component matches any number of components, none included. A glob without
// "/" (other than a trailing one) matches the last component at any depth; a
// leading "/" anchors the glob at the top and is dropped; a trailing "/"
// matches everything under that folder. Paths and globs are bytes: a name
// that is not UTF-8 or holds a blank or a line break is matched like any other.
#ifndef TESSIK_TOOLS_CHANGE_PATH_GLOB_HPP_
#define TESSIK_TOOLS_CHANGE_PATH_GLOB_HPP_

#include <string_view>

namespace tessik::cli {

// Whether `path` (relative, "/"-separated) matches `glob`. Time proportional
// to the product of the two component counts, whatever the number of "**".
bool glob_matches(std::string_view glob, std::string_view path);

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_CHANGE_PATH_GLOB_HPP_
