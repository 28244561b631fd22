#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <tessik/agent_loader/findings/code_replacement.hpp>
#include <tessik/agent_loader/findings/detail/code_replacement.hpp>
#include <tessik/agent_loader/findings/detail/finding_item.hpp>
#include <tessik/foundation/detail/value_access.hpp>
#include <tessik/foundation/text.hpp>

namespace tessik {
namespace {

constexpr std::string_view kFence = "```";
constexpr std::string_view kEscapedFence = "~~~";
static_assert(kFence.size() == kEscapedFence.size(), "an escaped line keeps its length");

}  // namespace

namespace detail {

namespace {

void escape_in_place(std::string& line) {
  const std::string_view unindented = lstrip(line);
  if (unindented.starts_with(kFence)) {
    // Everything before the fence is white space, so the fence starts right
    // after the indentation.
    line.replace(line.size() - unindented.size(), kFence.size(), kEscapedFence);
  }
}

}  // namespace

std::string escape(std::string_view line) {
  std::string result(line);
  escape_in_place(result);
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

std::optional<std::vector<std::string>> filter_code_replacement(Value&& raw) {
  if (!raw.is_sequence()) return std::nullopt;
  std::vector<std::string> lines;
  lines.reserve(raw.as_sequence().size());
  for (Value& item : raw.as_sequence()) {
    if (!item.is_string()) continue;
    lines.push_back(ValueAccess::take_string(item));
    detail::escape_in_place(lines.back());
  }
  if (lines.empty()) return std::nullopt;
  return lines;
}

}  // namespace tessik
