// JSON text to and from Value.
#ifndef TESSIK_JSON_HPP_
#define TESSIK_JSON_HPP_

#include <cstddef>
#include <string>
#include <string_view>

#include "value.hpp"

namespace tessik {

// The deepest nesting of arrays and objects that `parse_json` accepts.
inline constexpr std::size_t kJsonMaxDepth = 512;

// Parses one JSON text (strict RFC 8259: no comments, no trailing commas,
// strings must be valid UTF-8) into a Value, keeping object key order; a
// repeated key keeps its first position and takes the last value. Integers
// that fit 64 bits stay integers, larger ones become doubles. Throws
// InvalidValueError for malformed text ("malformed JSON: parse error at
// line 1, column 2: ...") and for nesting deeper than kJsonMaxDepth
// ("JSON nesting deeper than 512 levels"). Safe from several threads.
Value parse_json(std::string_view text);

// Serialises `v` as JSON: compact with ", " and ": " separators when
// `indent` < 0, otherwise one element per line indented by `indent` blanks.
// NaN and the infinities become null; non-string mapping keys are written
// in their text form; ill-formed UTF-8 in strings becomes U+FFFD. Never
// recurses on the call stack.
std::string to_json(const Value& v, int indent = -1);

}  // namespace tessik

#endif  // TESSIK_JSON_HPP_
