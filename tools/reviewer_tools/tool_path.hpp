// The lexical half of the reviewer tools' confinement: what a path given by
// the model may look like before anything on disk or in git is touched.
//
//   confined_path("src/./main.cpp")  -> "src/main.cpp"
//   confined_path("/etc/passwd")     -> throws ToolRefusal
//   confined_path("../../etc/passwd")-> throws ToolRefusal
//   confined_path(".git/config")     -> throws ToolRefusal
#ifndef TESSIK_TOOLS_REVIEWER_TOOLS_TOOL_PATH_HPP_
#define TESSIK_TOOLS_REVIEWER_TOOLS_TOOL_PATH_HPP_

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace tessik::cli {

// A tool input the tools will not serve. The message is written for the
// model that asked: it says what was refused and why, never where the
// repository lives on disk.
class ToolRefusal : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// `shown` as a path relative to the repository's top level, with empty and
// "." components dropped ("" for the top itself). A name in git's quoted form
// ("\"caf\\351.txt\"", as a diff shows a name that is not UTF-8) stands for
// its bytes. Throws ToolRefusal for an
// empty path, a NUL byte, an absolute path, any ".." component and any
// component that is ".git" in any letter case.
std::string confined_path(std::string_view shown);

// The components of a relative path, "." and empty ones dropped and ".."
// applied; nullopt when ".." climbs above the top. Used for link targets,
// which may climb within the repository.
std::optional<std::vector<std::string>> resolve_components(std::string_view path);

// "'<path>'", how refusals name a path (in git's quoted form when it needs
// one).
std::string quoted_path(const std::string& path);

// The components joined with "/".
std::string join_components(const std::vector<std::string>& components);

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_REVIEWER_TOOLS_TOOL_PATH_HPP_
