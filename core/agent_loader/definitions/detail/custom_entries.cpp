#include <tessik/agent_loader/definitions/detail/custom_entries.hpp>

#include <sys/stat.h>

#include <cerrno>
#include <optional>
#include <utility>

#include <tessik/agent_loader/definitions/detail/directory_listing.hpp>
#include <tessik/agent_loader/definitions/detail/paths.hpp>
#include <tessik/agent_loader/definitions/detail/safe_path.hpp>
#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/text.hpp>

namespace tessik::detail {
namespace {

// Whether `path`, links followed, names an existing directory. A path that is
// missing, runs through a non-directory or loops is simply not one; any other
// failure to examine it (no permission on a parent) is thrown, so that it is
// not mistaken for an unconfigured directory.
bool names_directory(const std::string& path) {
  struct stat info {};
  if (::stat(path.c_str(), &info) == 0) return S_ISDIR(info.st_mode);
  const int error_number = errno;
  if (error_number == ENOENT || error_number == ENOTDIR || error_number == ELOOP) return false;
  throw FileSystemError::from_errno("cannot examine custom agents directory " + repr(path),
                                    error_number);
}

std::filesystem::path canonical_directory(const std::string& path) {
  std::error_code ec;
  std::filesystem::path resolved = canonical_path(path, ec);
  if (ec) {
    throw FileSystemError::from_errno("cannot resolve custom agents directory " + repr(path),
                                      ec.value());
  }
  return resolved;
}

}  // namespace

const AgentDefinitionParser* choose_parser(const ParserList& parsers,
                                           const std::filesystem::path& path) {
  for (const auto& parser : parsers) {
    if (parser->can_parse(path)) return parser.get();
  }
  return nullptr;
}

bool read_custom_entries(const std::string& configured, const ParserList& parsers,
                         const CustomEntryEvents& events) {
  if (!names_directory(configured)) return false;
  const std::filesystem::path resolved_base = canonical_directory(configured);
  for (const DirectoryEntry& listed : list_directory(configured)) {
    const std::filesystem::path& entry = listed.path;
    // Checked before any parser sees the entry: a link out of the directory
    // must not even have its name considered.
    if (!is_safe_entry(listed, resolved_base)) {
      events.outside(entry);
      continue;
    }
    const AgentDefinitionParser* parser = choose_parser(parsers, entry);
    if (parser == nullptr) continue;
    std::optional<AgentDefinition> definition;
    try {
      definition = parser->parse(entry);
    } catch (const std::exception& failure) {
      events.failed(entry, failure);
      continue;
    }
    events.loaded(entry, std::move(*definition));
  }
  return true;
}

}  // namespace tessik::detail
