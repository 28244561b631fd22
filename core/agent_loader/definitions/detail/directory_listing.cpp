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

std::vector<std::filesystem::path> list_directory(const std::filesystem::path& directory) {
  // The empty path names the current directory; every other path is opened
  // exactly as given, so a relative directory stays relative to the caller's
  // working directory.
  const std::string open_as = directory.empty() ? std::string(".") : directory.string();
  std::unique_ptr<DIR, DirCloser> dir(::opendir(open_as.c_str()));
  if (!dir) throw_listing_error(open_as, errno);

  std::vector<std::string> names;
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
    names.emplace_back(name);
  }
  // std::string compares through char_traits<char>, which orders bytes as
  // unsigned values: for UTF-8 names that is code point order.
  std::sort(names.begin(), names.end());

  std::vector<std::filesystem::path> paths;
  paths.reserve(names.size());
  for (const std::string& name : names) paths.emplace_back(path_text(directory / name));
  return paths;
}

}  // namespace tessik::detail
