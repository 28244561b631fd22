#include <tessik/agent_loader/findings/detail/category.hpp>

#include <string>
#include <string_view>

#include <tessik/foundation/detail/short_lower.hpp>
#include <tessik/foundation/text.hpp>

namespace tessik::detail {

std::string normalise_category(std::string_view raw, std::string_view agent_name) {
  // A category written exactly as one of the known ones is lower-case and
  // has no white space to trim: the usual reply goes no further.
  if (const auto exact = KNOWN_CATEGORIES.find(raw); exact != KNOWN_CATEGORIES.end()) {
    return std::string(*exact);
  }
  // Lower-case first, then trim: the white-space set is unaffected by case
  // mapping, and the inner characters ("code quality") are kept as written.
  const ShortLower lowered(raw);
  const std::string_view normalised = strip(lowered.view());
  if (auto known = KNOWN_CATEGORIES.find(normalised); known != KNOWN_CATEGORIES.end()) {
    return std::string(*known);
  }
  // The model's text plays no part from here on: an unknown or misspelt
  // category is not guessed at, the reporting agent's own category is used.
  return std::string(AGENT_CANONICAL_CATEGORY.value_or(agent_name, "code-quality"));
}

}  // namespace tessik::detail
