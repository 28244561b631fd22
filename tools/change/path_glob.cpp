#include "change/path_glob.hpp"

#include <fnmatch.h>

#include <string>
#include <vector>

namespace tessik::cli {
namespace {

std::vector<std::string> components(std::string_view text) {
  std::vector<std::string> out;
  std::size_t start = 0;
  while (start <= text.size()) {
    const std::size_t slash = text.find('/', start);
    const std::size_t end = slash == std::string_view::npos ? text.size() : slash;
    out.emplace_back(text.substr(start, end - start));
    if (slash == std::string_view::npos) break;
    start = slash + 1;
  }
  return out;
}

}  // namespace

bool glob_matches(std::string_view glob, std::string_view path) {
  std::string pattern(glob);
  const bool folder = pattern.ends_with('/');
  if (folder) pattern.pop_back();
  if (pattern.starts_with('/')) {
    pattern.erase(0, 1);
  } else if (pattern.find('/') == std::string::npos) {
    pattern = "**/" + pattern;
  }
  if (folder) pattern += "/**";
  const std::vector<std::string> g = components(pattern), p = components(path);
  // reach[j]: the first i glob components can match the first j path
  // components.
  std::vector<char> reach(p.size() + 1, 0), next(p.size() + 1, 0);
  reach[0] = 1;
  for (const std::string& component : g) {
    if (component == "**") {
      // Zero or more components: anything reachable before stays reachable
      // after any number of further components.
      char seen = 0;
      for (std::size_t j = 0; j <= p.size(); ++j) {
        seen = static_cast<char>(seen | reach[j]);
        next[j] = seen;
      }
    } else {
      next[0] = 0;
      for (std::size_t j = 1; j <= p.size(); ++j) {
        next[j] = static_cast<char>(reach[j - 1] != 0 &&
                                    ::fnmatch(component.c_str(), p[j - 1].c_str(), 0) == 0);
      }
    }
    reach.swap(next);
  }
  return reach[p.size()] != 0;
}

}  // namespace tessik::cli
