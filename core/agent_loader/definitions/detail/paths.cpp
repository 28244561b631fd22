#include <tessik/agent_loader/definitions/detail/paths.hpp>

#include <dlfcn.h>
#include <link.h>

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <optional>
#include <system_error>

#include <tessik/foundation/text.hpp>

#ifndef TESSIK_SOURCE_AGENTS_DIR
#error "TESSIK_SOURCE_AGENTS_DIR must name the repository's agents directory"
#endif

namespace tessik::detail {
namespace {

// Where an installed package keeps its agents, relative to the directory of
// the installed library (or of the program a static library is linked
// into). The install rules pass the layout they install; these defaults are
// the usual prefix layout.
#ifndef TESSIK_AGENTS_FROM_LIBDIR
#define TESSIK_AGENTS_FROM_LIBDIR "../share/tessik_agents/agents"
#endif
#ifndef TESSIK_AGENTS_FROM_BINDIR
#define TESSIK_AGENTS_FROM_BINDIR "../share/tessik_agents/agents"
#endif

// The canonical path of an existing directory, or nothing.
std::optional<std::filesystem::path> existing_directory(const std::filesystem::path& path) {
  std::error_code ec;
  std::filesystem::path resolved = canonical_path(path, ec);
  if (ec || !std::filesystem::is_directory(resolved, ec)) return std::nullopt;
  return resolved;
}

// The agents directory of the installed package this code was loaded from,
// when there is one. The object file holding this code is found through the
// dynamic loader: a shared library by its own path, the main program (this
// code linked statically) through /proc/self/exe, since the loader only
// knows the program by the name it was started under.
std::optional<std::filesystem::path> installed_agents_dir() {
  Dl_info info{};
  link_map* object = nullptr;
  if (::dladdr1(reinterpret_cast<void*>(&installed_agents_dir), &info,
                reinterpret_cast<void**>(&object), RTLD_DL_LINKMAP) == 0) {
    return std::nullopt;
  }
  const bool is_program =
      object == nullptr || object->l_name == nullptr || object->l_name[0] == '\0';
  std::error_code ec;
  const std::filesystem::path file =
      canonical_path(is_program ? "/proc/self/exe" : object->l_name, ec);
  if (ec) return std::nullopt;
  // The two relative paths are equal unless the libdir is nested (lib/<triplet>).
  // NOLINTNEXTLINE(bugprone-branch-clone)
  const char* relative = is_program ? TESSIK_AGENTS_FROM_BINDIR : TESSIK_AGENTS_FROM_LIBDIR;
  return existing_directory(file.parent_path() / relative);
}

// The one place that decides where the built-in agents are: the installed
// package's directory when this code runs from an installation (wherever it
// was moved), otherwise the source tree's `agents/` that the build passes.
std::filesystem::path locate_agents_dir() {
  if (auto installed = installed_agents_dir()) return *installed;
  const std::filesystem::path configured = TESSIK_SOURCE_AGENTS_DIR;
  std::error_code ec;
  std::filesystem::path resolved = canonical_path(configured, ec);
  // A path that does not resolve stays as configured, tidied; whoever reads
  // from it then reports the failure with the path in the message.
  return ec ? configured.lexically_normal() : resolved;
}

}  // namespace

const std::filesystem::path& agents_dir() {
  static const std::filesystem::path dir = locate_agents_dir();
  return dir;
}

const std::filesystem::path& shared_guard_rails_path() {
  static const std::filesystem::path path = agents_dir() / "_shared" / "guard_rails.md";
  return path;
}

std::filesystem::path canonical_path(const std::filesystem::path& path, std::error_code& ec) {
  // realpath() follows every link in every component and requires each
  // component to exist.
  std::unique_ptr<char, decltype(&std::free)> resolved(::realpath(path.c_str(), nullptr),
                                                       &std::free);
  if (!resolved) {
    ec.assign(errno, std::generic_category());
    return {};
  }
  ec.clear();
  return resolved.get();
}

std::string path_suffix(const std::filesystem::path& path) {
  const std::string text = path_text(path);
  const std::size_t slash = text.rfind('/');
  const std::string_view name =
      std::string_view(text).substr(slash == std::string::npos ? 0 : slash + 1);
  const std::size_t dot = name.rfind('.');
  if (dot == std::string_view::npos || dot == 0 || dot + 1 == name.size()) return {};
  return std::string(name.substr(dot));
}

}  // namespace tessik::detail
