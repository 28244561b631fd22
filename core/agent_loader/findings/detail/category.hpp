// The four finding categories, the built-in agents with their own category,
// and the normalisation of the category a model gave a finding. Stateless
// and safe to call from several threads.
#ifndef TESSIK_AGENT_LOADER_FINDINGS_DETAIL_CATEGORY_HPP_
#define TESSIK_AGENT_LOADER_FINDINGS_DETAIL_CATEGORY_HPP_

#include <string>
#include <string_view>

#include <tessik/foundation/detail/const_table.hpp>

namespace tessik {
namespace detail {

// The only categories a finding can carry.
inline constexpr ConstStringSet KNOWN_CATEGORIES({
    "architecture",
    "security",
    "performance",
    "code-quality",
});

// The built-in reviewer agents and their own categories. Its keys are also
// the list of built-in agent names (matched exactly, case-sensitively). An
// agent not in the table falls back to "code-quality".
inline constexpr ConstStringMap AGENT_CANONICAL_CATEGORY({
    {"corvin", "architecture"},
    {"hesper", "security"},
    {"wynn", "performance"},
    {"peregrin", "code-quality"},
});

// One of the four KNOWN_CATEGORIES for the category `raw` that agent
// `agent_name` gave a finding.
//
// `raw` is lower-cased (Unicode mapping) and stripped of surrounding white
// space; when that is a known category it wins, even over the agent's own
// (" Security\n" -> "security", "architecture" from "wynn" stays
// "architecture"). Anything else - "", "perf", "code quality" - gives the
// agent's category from AGENT_CANONICAL_CATEGORY, looked up exactly as passed
// (case-sensitive, untrimmed), and "code-quality" for any other agent.
// Never fails.
std::string normalise_category(std::string_view raw, std::string_view agent_name);

}  // namespace detail
}  // namespace tessik

#endif  // TESSIK_AGENT_LOADER_FINDINGS_DETAIL_CATEGORY_HPP_
