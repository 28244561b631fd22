#include "reviewer_tools/tool_path.hpp"

#include <algorithm>
#include <cctype>

#include "change/quoted_path.hpp"

namespace tessik::cli {
namespace {

bool is_git_dir_name(std::string_view component) {
  return component.size() == 4 &&
         std::equal(component.begin(), component.end(), ".git", [](char a, char b) {
           return std::tolower(static_cast<unsigned char>(a)) == b;
         });
}

std::vector<std::string_view> split(std::string_view path) {
  std::vector<std::string_view> out;
  std::size_t start = 0;
  while (start <= path.size()) {
    std::size_t end = path.find('/', start);
    if (end == std::string_view::npos) end = path.size();
    const std::string_view part = path.substr(start, end - start);
    if (!part.empty() && part != ".") out.push_back(part);
    start = end + 1;
  }
  return out;
}

}  // namespace

std::string confined_path(std::string_view shown) {
  // A name the diff shows in git's quoted form is taken back to its bytes.
  const std::string bytes = path_from_shown(shown);
  const std::string_view raw = bytes;
  if (raw.empty()) throw ToolRefusal("the path is empty: give a path relative to the repository");
  if (raw.find('\0') != std::string_view::npos) throw ToolRefusal("the path holds a NUL byte");
  if (raw.front() == '/') {
    throw ToolRefusal(
        "absolute paths are refused: give a path relative to the repository's "
        "top level");
  }
  std::vector<std::string> parts;
  for (std::string_view part : split(raw)) {
    if (part == "..") throw ToolRefusal("paths that climb with '..' are refused");
    if (is_git_dir_name(part)) throw ToolRefusal("nothing under .git/ is shown");
    parts.emplace_back(part);
  }
  return join_components(parts);
}

std::optional<std::vector<std::string>> resolve_components(std::string_view path) {
  std::vector<std::string> parts;
  for (std::string_view part : split(path)) {
    if (part != "..") {
      parts.emplace_back(part);
    } else if (parts.empty()) {
      return std::nullopt;
    } else {
      parts.pop_back();
    }
  }
  return parts;
}

std::string quoted_path(const std::string& path) {
  std::string out(1, '\'');
  out += shown_path(path);
  out += '\'';
  return out;
}

std::string join_components(const std::vector<std::string>& components) {
  std::string out;
  for (const std::string& c : components) {
    if (!out.empty()) out += '/';
    out += c;
  }
  return out;
}

}  // namespace tessik::cli
