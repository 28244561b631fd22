#include "change/git/git_attributes.hpp"

#include <array>

#include "change/git/git_handles.hpp"

namespace tessik::cli {

struct GitAttributes::State {
  git::Session session;
  git::Repository repo;
};

GitAttributes::GitAttributes(std::unique_ptr<State> state) : state_(std::move(state)) {}
GitAttributes::GitAttributes(GitAttributes&&) noexcept = default;
GitAttributes& GitAttributes::operator=(GitAttributes&&) noexcept = default;
GitAttributes::~GitAttributes() = default;

std::optional<GitAttributes> GitAttributes::open(const std::filesystem::path& directory) {
  auto state = std::make_unique<State>();
  try {
    state->repo = git::open_repository(directory);
  } catch (const git::GitError&) {
    return std::nullopt;
  }
  return GitAttributes(std::move(state));
}

std::optional<std::string> GitAttributes::left_out_reason(const std::string& path) const {
  std::array<const char*, 3> names{"linguist-generated", "linguist-vendored", "diff"};
  std::array<const char*, 3> values{};
  if (git_attr_get_many(values.data(), state_->repo.get(),
                        GIT_ATTR_CHECK_FILE_THEN_INDEX | GIT_ATTR_CHECK_INCLUDE_HEAD, path.c_str(),
                        names.size(), names.data()) < 0) {
    return std::nullopt;
  }
  // linguist-* may be set bare ("linguist-generated") or as "=true".
  auto set = [](const char* v) {
    return git_attr_value(v) == GIT_ATTR_VALUE_TRUE ||
           (git_attr_value(v) == GIT_ATTR_VALUE_STRING && std::string_view(v) == "true");
  };
  if (set(values[0])) return "generated (linguist-generated)";
  if (set(values[1])) return "vendored (linguist-vendored)";
  if (git_attr_value(values[2]) == GIT_ATTR_VALUE_FALSE) return "no diff (-diff)";
  return std::nullopt;
}

}  // namespace tessik::cli
