// Sanitising of the code replacement lines of a finding, so that they can be
// shown inside a fenced suggestion block without closing it. Stateless and
// safe to call from several threads.
#ifndef TESSIK_AGENT_LOADER_FINDINGS_CODE_REPLACEMENT_HPP_
#define TESSIK_AGENT_LOADER_FINDINGS_CODE_REPLACEMENT_HPP_

#include <optional>
#include <string>
#include <vector>

#include <tessik/foundation/value.hpp>

namespace tessik {

// Sanitises the "code_replacement" of a finding item: the source lines that
// should replace the faulty code, later placed inside a fenced suggestion
// block whose fence is a line of three backticks.
//
// Returns nullopt when `raw` is not a sequence: null, a number, a boolean, a
// mapping or a bare string (even a multi-line one, which is not split).
// Otherwise keeps the string items in order, drops every other item, and
// passes each kept item through `detail::escape`; kept items are otherwise
// untouched (not trimmed, not split, empty strings kept). Returns nullopt
// when nothing is kept, so the result is never an empty vector. Never fails.
std::optional<std::vector<std::string>> filter_code_replacement(const Value& raw);
// The same, moving the kept lines out of `raw` instead of copying them;
// afterwards `raw` is valid but its strings are unspecified.
std::optional<std::vector<std::string>> filter_code_replacement(Value&& raw);

}  // namespace tessik

#endif  // TESSIK_AGENT_LOADER_FINDINGS_CODE_REPLACEMENT_HPP_
