// Flat, byte-ordered listing of one agent directory.
#include <dirent.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <string>
#include <vector>

#include <tessik/agent_loader/definitions/detail/directory_listing.hpp>
#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/text.hpp>

namespace tessik::detail {
namespace {

struct DirCloser {
  void operator()(DIR* dir) const noexcept { ::closedir(dir); }
};

[[noreturn]] void throw_listing_error(const std::string& directory, int error_number) {
  throw FileSystemError::from_errno("cannot list directory " + repr(directory), error_number);
}

}  // namespace

std::vector<DirectoryEntry> list_directory(const std::filesystem::path& directory) {
  // The empty path names the current directory; every other path is opened
  // exactly as given, so a relative directory stays relative to the caller's
  // working directory.
  const std::string open_as = directory.empty() ? std::string(".") : directory.string();
  std::unique_ptr<DIR, DirCloser> dir(::opendir(open_as.c_str()));
  if (!dir) throw_listing_error(open_as, errno);

  struct Name {
    std::string text;
    bool may_be_link;
  };
  std::vector<Name> names;
  for (;;) {
    errno = 0;
    // readdir is safe across threads on distinct streams, and this stream is
    // this call's own.
    const dirent* entry = ::readdir(dir.get());  // NOLINT(concurrency-mt-unsafe)
    if (entry == nullptr) {
      if (errno != 0) throw_listing_error(open_as, errno);
      break;
    }
    const std::string_view name = entry->d_name;
    if (name == "." || name == "..") continue;
    names.push_back({std::string(name), entry->d_type == DT_LNK || entry->d_type == DT_UNKNOWN});
  }
  // std::string compares through char_traits<char>, which orders bytes as
  // unsigned values: for UTF-8 names that is code point order.
  std::sort(names.begin(), names.end(),
            [](const Name& a, const Name& b) { return a.text < b.text; });

  std::vector<DirectoryEntry> entries;
  entries.reserve(names.size());
  for (const Name& name : names) {
    entries.push_back({path_text(directory / name.text), name.may_be_link});
  }
  return entries;
}

}  // namespace tessik::detail
