#include <tessik/agent_loader/definitions/detail/front_matter.hpp>

#include <algorithm>

#include <tessik/foundation/detail/regex.hpp>

namespace tessik::detail {
namespace {

const Regex& front_matter_pattern() {
  static const Regex pattern("front-matter", R"(^---\s*\n(.*?)\n---\s*\n(.*))",
                             {.anchored = true, .dot_all = true, .compiled = true});
  return pattern;
}

// A line "---" + white space + line end, preceded by a line feed: the only
// thing that can close a front-matter.
const Regex& closing_line_pattern() {
  static const Regex pattern("front-matter closing line", R"(\n---\s*\n)", {.compiled = true});
  return pattern;
}

}  // namespace

std::optional<FrontMatterSplit> split_front_matter(std::string_view text) {
  if (!text.starts_with("---")) return std::nullopt;
  // Without any closing line the full pattern cannot match, but proving that
  // would make the engine retry its lazy scan once for every line feed in
  // the blank run after the opening dashes: quadratic on a text of blank
  // lines. One linear search settles that case. With a closing line present
  // the full pattern succeeds on its first or second scan, so it stays
  // linear too.
  if (!closing_line_pattern().find(text, 3)) return std::nullopt;
  const auto match = front_matter_pattern().find(text);
  if (!match) return std::nullopt;
  return FrontMatterSplit{match->group(1), match->group(2)};
}

TextPosition position_of_offset(std::string_view text, std::size_t offset) {
  const std::string_view before = text.substr(0, offset);
  const std::size_t line_start = before.rfind('\n') + 1;  // 0 when there is none
  std::size_t column = 1;
  for (std::size_t i = line_start; i < before.size(); ++i) {
    if ((static_cast<unsigned char>(before[i]) & 0xC0) != 0x80) ++column;
  }
  return {1 + static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n')), column};
}

}  // namespace tessik::detail
