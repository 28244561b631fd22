// What a repository's .gitattributes say about a changed path, read by
// libgit2 as git reads them (every .gitattributes from the top down to the
// path's folder, $GIT_DIR/info/attributes, macros such as `binary`):
//
//   std::optional<GitAttributes> attrs = GitAttributes::open(".");
//   attrs->left_out_reason("dist/app.js");  // "generated (linguist-generated)"
//
// The files are read from the working tree, then the index, then HEAD's
// tree, so a bare repository still has the attributes of its HEAD.
#ifndef TESSIK_TOOLS_CHANGE_GIT_GIT_ATTRIBUTES_HPP_
#define TESSIK_TOOLS_CHANGE_GIT_GIT_ATTRIBUTES_HPP_

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace tessik::cli {

class GitAttributes {
 public:
  // The attributes of the repository holding `directory`; nullopt outside
  // any repository.
  static std::optional<GitAttributes> open(const std::filesystem::path& directory);

  // Why the attributes keep `path` (relative to the top) from a review:
  // "generated (linguist-generated)", "vendored (linguist-vendored)" or
  // "no diff (-diff)"; nullopt when they do not. A path libgit2 cannot look
  // up (one that climbs out with "..") has no attributes. Not thread-safe.
  std::optional<std::string> left_out_reason(const std::string& path) const;

  GitAttributes(GitAttributes&&) noexcept;
  GitAttributes& operator=(GitAttributes&&) noexcept;
  ~GitAttributes();

 private:
  struct State;
  explicit GitAttributes(std::unique_ptr<State> state);
  std::unique_ptr<State> state_;
};

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_CHANGE_GIT_GIT_ATTRIBUTES_HPP_
