// Which changed files a review sends, before any request is assembled.
//
//   ChangeSelection s = select_changes(std::move(changes), {.exclude = {"docs/**"}}, attrs);
//   s.sent;      // what the agents review, in diff order
//   s.left_out;  // {"package-lock.json", "lock file", 7340032}, ...
//
// A file is left out by the first of these that applies, unless an
// --include glob matches it (include wins over every exclusion):
//   1. an --exclude glob (or the file's `exclude` list) matches it;
//   2. with the default exclusions on: a lock file of a package manager
//      (npm, yarn, pnpm, bun, Cargo, Poetry, Pipenv, PDM, uv, Composer,
//      Bundler, Go modules, Mix, pub, CocoaPods, SwiftPM, NuGet, Nix, Gradle,
//      Deno, Conan), a minified asset (*.min.js, *.min.css), a source map, a
//      file git shows as binary, a path .gitattributes marks
//      linguist-generated, linguist-vendored or -diff, and a file whose diff
//      is larger than kMaxSentFileDiffBytes.
// A deleted file that is sent goes as its header and its hunk header with a
// one-line note of how many lines went, unless `full_deletions`.
#ifndef TESSIK_TOOLS_CHANGE_CHANGE_SELECTION_HPP_
#define TESSIK_TOOLS_CHANGE_CHANGE_SELECTION_HPP_

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <tessik/models.hpp>

namespace tessik::cli {

// The largest diff of one file the default exclusions let through: 1 MiB
// (about 350,000 tokens, generated data rather than code to review).
inline constexpr std::size_t kMaxSentFileDiffBytes = std::size_t{1} << 20;

struct LeftOutFile {
  std::string path;
  std::string reason;  // "lock file", "matches --exclude 'docs/**'", ...
  std::size_t bytes;   // of its diff
};

struct SelectionRules {
  std::vector<std::string> exclude{}, include{};
  bool default_excludes = true;
  bool full_deletions = false;
};

struct ChangeSelection {
  std::vector<FileChange> sent{};
  std::vector<LeftOutFile> left_out{};
  // The exclude and include globs that matched no changed file, as
  // "exclude 'x'" and "include 'y'".
  std::vector<std::string> unmatched{};
};

// What .gitattributes say keeps a path out (GitAttributes::left_out_reason);
// may be empty when there is no repository.
using AttributeLookup = std::function<std::optional<std::string>(const std::string& path)>;

// Applies `rules` to `changes` as the file comment says. Never throws for
// any path or diff.
ChangeSelection select_changes(std::vector<FileChange> changes, const SelectionRules& rules,
                               const AttributeLookup& attributes);

// The diff of a deleted file shortened to what precedes its hunk and the hunk
// header, with "[deleted file: N lines removed; they are not shown]"; nullopt
// when `diff` is not the deletion of a whole file.
std::optional<std::string> shortened_deletion(std::string_view diff);

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_CHANGE_CHANGE_SELECTION_HPP_
