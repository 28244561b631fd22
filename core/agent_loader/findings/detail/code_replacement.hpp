// The pieces of code replacement sanitising that the finding parser and the
// tests use directly.
#ifndef TESSIK_AGENT_LOADER_FINDINGS_DETAIL_CODE_REPLACEMENT_HPP_
#define TESSIK_AGENT_LOADER_FINDINGS_DETAIL_CODE_REPLACEMENT_HPP_

#include <cstdint>
#include <string>
#include <string_view>

namespace tessik {
namespace detail {

// The largest replacement line count a finding can carry.
inline constexpr std::int64_t REPLACEMENT_LINE_COUNT_MAX = 100;

// Neutralises a fence in one code replacement line: when the line, after its
// leading white space, begins with three backticks, those three become three
// tildes ("\t```js" -> "\t~~~js", "````" -> "~~~`"). The indentation, the
// rest of the line and backticks anywhere else stay exactly as they were, and
// the line keeps its length. Only the start of the whole string counts: a
// fence after an embedded line break is left alone. Never fails.
std::string escape(std::string_view line);

}  // namespace detail
}  // namespace tessik

#endif  // TESSIK_AGENT_LOADER_FINDINGS_DETAIL_CODE_REPLACEMENT_HPP_
