#include "paths.hpp"

#include <system_error>

#include "../text.hpp"

#ifndef TESSIK_SOURCE_AGENTS_DIR
#error "TESSIK_SOURCE_AGENTS_DIR must name the repository's agents directory"
#endif

namespace tessik::detail {
namespace {

// The one place that decides where the built-in agents are. The build passes
// the source tree's `agents/`; a relocatable installation changes only this
// function.
std::filesystem::path locate_agents_dir() {
  const std::filesystem::path configured = TESSIK_SOURCE_AGENTS_DIR;
  std::error_code ec;
  std::filesystem::path resolved = std::filesystem::weakly_canonical(configured, ec);
  // A path that cannot even be examined stays as configured; whoever reads
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
