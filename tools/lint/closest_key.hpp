// Typo suggestions for keys: the known key a mistyped one was probably meant
// to be, for "unknown key 'sytem_prompt'; did you mean 'system_prompt'?".
#ifndef TESSIK_TOOLS_LINT_CLOSEST_KEY_HPP_
#define TESSIK_TOOLS_LINT_CLOSEST_KEY_HPP_

#include <span>
#include <string>
#include <string_view>

namespace tessik::lint {

// The candidate closest to `key` when it is near enough to be a typo (a
// letter-case difference, or two edits at most on a candidate of six or more
// characters, one on a shorter one); empty otherwise. The first of equally
// close candidates wins. Time linear in the candidates, each compared in
// time proportional to the product of the two lengths.
std::string closest_key(std::string_view key, std::span<const std::string_view> candidates);

}  // namespace tessik::lint

#endif  // TESSIK_TOOLS_LINT_CLOSEST_KEY_HPP_
