#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <tessik/agent_loader/findings/code_replacement.hpp>
#include <tessik/agent_loader/findings/detail/code_replacement.hpp>
#include <tessik/agent_loader/findings/detail/finding_item.hpp>
#include <tessik/foundation/text.hpp>

namespace tessik {
namespace {

constexpr std::string_view kFence = "```";
constexpr std::string_view kEscapedFence = "~~~";
static_assert(kFence.size() == kEscapedFence.size(), "an escaped line keeps its length");

}  // namespace

namespace detail {

std::string escape(std::string_view line) {
  const std::string_view unindented = lstrip(line);
  std::string result(line);
  if (unindented.starts_with(kFence)) {
    // Everything before the fence is white space, so the fence starts right
    // after the indentation.
    result.replace(line.size() - unindented.size(), kFence.size(), kEscapedFence);
  }
  return result;
}

}  // namespace detail

std::optional<std::vector<std::string>> filter_code_replacement(const Value& raw) {
  if (!raw.is_sequence()) return std::nullopt;
  std::vector<std::string> lines;
  lines.reserve(raw.as_sequence().size());
  for (const Value& item : raw.as_sequence()) {
    if (item.is_string()) lines.push_back(detail::escape(item.as_string()));
  }
  if (lines.empty()) return std::nullopt;
  return lines;
}

}  // namespace tessik
