#include "change/change_selection.hpp"

#include <array>
#include <charconv>

#include <tessik/foundation/detail/value_words.hpp>

#include "change/path_glob.hpp"

namespace tessik::cli {
namespace {

// Lock files by name, at any depth.
constexpr std::array<std::string_view, 27> kLockFiles{"package-lock.json", "npm-shrinkwrap.json",
                                                      "yarn.lock",         "pnpm-lock.yaml",
                                                      "bun.lockb",         "bun.lock",
                                                      "Cargo.lock",        "poetry.lock",
                                                      "Pipfile.lock",      "pdm.lock",
                                                      "uv.lock",           "composer.lock",
                                                      "Gemfile.lock",      "go.sum",
                                                      "go.work.sum",       "mix.lock",
                                                      "pubspec.lock",      "Podfile.lock",
                                                      "Package.resolved",  "packages.lock.json",
                                                      "flake.lock",        "gradle.lockfile",
                                                      "deno.lock",         "conan.lock",
                                                      "paket.lock",        "cabal.project.freeze",
                                                      "Manifest.toml"};

struct NamedGlob {
  std::string_view glob, reason;
};
constexpr std::array<NamedGlob, 7> kAssetGlobs{{{"*.min.js", "minified asset"},
                                                {"*.min.mjs", "minified asset"},
                                                {"*.min.css", "minified asset"},
                                                {"*.js.map", "source map"},
                                                {"*.mjs.map", "source map"},
                                                {"*.cjs.map", "source map"},
                                                {"*.css.map", "source map"}}};

std::string_view last_component(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

// The first line of `diff` that begins with `prefix`, from the start of a line.
std::size_t line_starting(std::string_view diff, std::string_view prefix) {
  for (std::size_t at = 0; at < diff.size();) {
    if (diff.substr(at).starts_with(prefix)) return at;
    const std::size_t end = diff.find('\n', at);
    if (end == std::string_view::npos) break;
    at = end + 1;
  }
  return std::string_view::npos;
}

bool is_binary(std::string_view diff) {
  const std::size_t at = line_starting(diff, "Binary files ");
  if (at == std::string_view::npos) return false;
  const std::string_view line = diff.substr(at, diff.find('\n', at) - at);
  return line.ends_with(" differ") && line_starting(diff, "@@ ") == std::string_view::npos;
}

std::optional<std::string> default_reason(const FileChange& change,
                                          const AttributeLookup& attributes) {
  const std::string_view name = last_component(change.file_path);
  for (std::string_view lock : kLockFiles) {
    if (name == lock) return "lock file";
  }
  for (const NamedGlob& g : kAssetGlobs) {
    if (glob_matches(g.glob, change.file_path)) return std::string(g.reason);
  }
  if (attributes) {
    if (std::optional<std::string> reason = attributes(change.file_path)) return reason;
  }
  if (is_binary(change.diff)) return "binary";
  if (change.diff.size() > kMaxSentFileDiffBytes) return "diff larger than 1 MiB";
  return std::nullopt;
}

// The first glob of `globs` matching `path`, marking it used.
const std::string* first_match(const std::vector<std::string>& globs, std::vector<char>& used,
                               const std::string& path) {
  for (std::size_t i = 0; i < globs.size(); ++i) {
    if (glob_matches(globs[i], path)) {
      used[i] = 1;
      return &globs[i];
    }
  }
  return nullptr;
}

}  // namespace

std::optional<std::string> shortened_deletion(std::string_view diff) {
  const std::size_t hunk = line_starting(diff, "@@ -");
  if (hunk == std::string_view::npos) return std::nullopt;
  const std::size_t header_end = diff.find('\n', hunk);
  if (header_end == std::string_view::npos) return std::nullopt;
  const std::string_view header = diff.substr(hunk, header_end - hunk);
  // "@@ -1,N +0,0 @@": the whole old file, nothing of a new one.
  if (!header.starts_with("@@ -1") || header.find(" +0,0 @@") == std::string_view::npos) {
    return std::nullopt;
  }
  std::size_t removed = 0;
  for (std::size_t at = header_end + 1; at < diff.size();) {
    const std::size_t end = std::min(diff.find('\n', at), diff.size());
    const char first = diff[at];
    if (first == '-') {
      ++removed;
    } else if (first != '\\') {
      return std::nullopt;  // another hunk or a kept line: not a whole deletion
    }
    at = end + 1;
  }
  return std::string(diff.substr(0, header_end + 1)) + "[deleted file: " + std::to_string(removed) +
         (removed == 1 ? " line" : " lines") + " removed; they are not shown]";
}

ChangeSelection select_changes(std::vector<FileChange> changes, const SelectionRules& rules,
                               const AttributeLookup& attributes) {
  ChangeSelection out;
  std::vector<char> excluded_used(rules.exclude.size(), 0), included_used(rules.include.size(), 0);
  for (FileChange& change : changes) {
    const bool included = first_match(rules.include, included_used, change.file_path) != nullptr;
    std::optional<std::string> reason;
    if (const std::string* glob = first_match(rules.exclude, excluded_used, change.file_path)) {
      reason = "matches exclude " + detail::quoted_text(*glob);
    } else if (rules.default_excludes) {
      reason = default_reason(change, attributes);
    }
    if (reason && !included) {
      out.left_out.push_back({change.file_path, std::move(*reason), change.diff.size()});
      continue;
    }
    if (!rules.full_deletions) {
      if (std::optional<std::string> shorter = shortened_deletion(change.diff)) {
        change.diff = std::move(*shorter);
      }
    }
    out.sent.push_back(std::move(change));
  }
  for (std::size_t i = 0; i < rules.exclude.size(); ++i) {
    if (excluded_used[i] == 0)
      out.unmatched.push_back("exclude " + detail::quoted_text(rules.exclude[i]));
  }
  for (std::size_t i = 0; i < rules.include.size(); ++i) {
    if (included_used[i] == 0)
      out.unmatched.push_back("include " + detail::quoted_text(rules.include[i]));
  }
  return out;
}

}  // namespace tessik::cli
