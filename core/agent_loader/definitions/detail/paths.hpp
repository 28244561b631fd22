// Where the built-in agents live, the suffix rule of definition files, and
// the one way the loaders make a path canonical.
//
//   detail::agents_dir()                // e.g. /opt/app/agents
//   detail::shared_guard_rails_path()   // .../agents/_shared/guard_rails.md
//   detail::path_suffix("a.b.yml")      // ".yml"
//   detail::canonical_path("a/../b", ec)  // /abs/b when it exists
#ifndef TESSIK_AGENT_LOADER_DEFINITIONS_DETAIL_PATHS_HPP_
#define TESSIK_AGENT_LOADER_DEFINITIONS_DETAIL_PATHS_HPP_

#include <filesystem>
#include <string>
#include <system_error>

namespace tessik::detail {

// The built-in agents directory, absolute, with symbolic links resolved when
// it exists (lexically tidied when it does not). An installed library uses the package's
// share/tessik_agents/agents, found relative to the library's own file (or
// to the program a static library is linked into), so the installation may
// be moved; otherwise, as in a build tree, it is the repository's `agents/`
// (beside `core/`). Computed once, on first use, and never changed; the
// directory need not exist (a missing guard-rails document is then reported
// by the guard-rails merge, a missing directory by the directory loader).
// Thread-safe.
const std::filesystem::path& agents_dir();

// `agents_dir()` / "_shared" / "guard_rails.md": the guard-rails document
// that the built-in agents' prompts carry. Computed once. Thread-safe.
const std::filesystem::path& shared_guard_rails_path();

// The suffix of a path's final component: from its last dot to its end,
// when that dot is neither the component's first nor its last character;
// otherwise empty. "x.YAML" gives ".YAML", "a.b.yml" ".yml", ".md" and
// "notes.md." give "". A trailing separator does not count as a component
// ("dir/x.md/" gives ".md"). Pure text work; touches no file system.
std::string path_suffix(const std::filesystem::path& path);

// The absolute path of `path` with every symbolic link in every component
// followed and "." and ".." resolved; every component must exist. On failure
// (missing, a dangling link, a loop, no permission) returns an empty path
// with `ec` holding the errno value. Thread-safe.
std::filesystem::path canonical_path(const std::filesystem::path& path, std::error_code& ec);

}  // namespace tessik::detail

#endif  // TESSIK_AGENT_LOADER_DEFINITIONS_DETAIL_PATHS_HPP_
