// Normalisation of one raw finding item of a model reply.
#ifndef TESSIK_AGENT_LOADER_FINDINGS_HPP_
#define TESSIK_AGENT_LOADER_FINDINGS_HPP_

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "../models.hpp"
#include "../value.hpp"

namespace tessik {

std::optional<std::vector<std::string>> filter_code_replacement(const Value& raw);

namespace detail {

extern const std::map<std::string, std::string, std::less<>> SEV_MAP;
extern const std::set<std::string, std::less<>> KNOWN_CATEGORIES;
extern const std::map<std::string, std::string, std::less<>> AGENT_CANONICAL_CATEGORY;
inline constexpr std::int64_t REPLACEMENT_LINE_COUNT_MAX = 100;

std::string escape(std::string_view line);
std::string normalise_category(std::string_view raw, std::string_view agent_name);
std::optional<AIReview> parse_finding_item(const Value& item, std::string_view agent_name,
                                           const Value& severity_default = Value("minor"));

}  // namespace detail
}  // namespace tessik

#endif  // TESSIK_AGENT_LOADER_FINDINGS_HPP_
