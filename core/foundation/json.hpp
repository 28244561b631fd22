// JSON text to and from Value.
#ifndef TESSIK_FOUNDATION_JSON_HPP_
#define TESSIK_FOUNDATION_JSON_HPP_

#include <cstddef>
#include <string>
#include <string_view>

#include <tessik/foundation/limits.hpp>
#include <tessik/foundation/value.hpp>

namespace tessik {

// The deepest nesting of arrays and objects that `parse_json` accepts. The
// parser itself never recurses; the limit keeps the Values it builds to a
// depth that every consumer can walk.
inline constexpr std::size_t kJsonMaxDepth = limits::kJsonDepth;

// Parses one JSON text into a Value.
// The grammar is strict RFC 8259: no comments, no trailing commas, nothing
// after the value, no raw NUL byte, strings valid UTF-8; a leading
// byte-order mark is skipped. Object keys keep their order; a repeated key
// keeps its first position and takes the last value. Integers that fit 64
// bits stay integers; larger ones become doubles.
//
//   parse_json(R"({"b": 1, "a": [true, null], "b": 2.5})")
//     -> {'b': 2.5, 'a': [True, None]}
//
// Throws InvalidValueError, with the parser's position, for malformed text
// ("malformed JSON: parse error at line 1, column 4: syntax error while
// parsing value - ..."), for a number beyond the double range ("malformed
// JSON: number overflow parsing '1e400' at byte 6"), for a raw NUL byte
// ("malformed JSON: NUL byte at byte 2"; byte positions count from 1), and
// for nesting deeper than kJsonMaxDepth ("JSON nesting deeper than 512
// levels"). Safe to call from several threads at once; each thread keeps
// the parser's buffers (a few times the largest text up to 4 MiB it parsed)
// for its later calls.
Value parse_json(std::string_view text);

// Serialises `v` as JSON text: on one line with ", " and ": " separators
// when `indent` < 0, otherwise one element per line indented by `indent`
// blanks per level. Strings keep non-ASCII characters as they are;
// ill-formed UTF-8 becomes U+FFFD. Doubles use their text form ("2.5",
// "1e-05"); NaN and the infinities, which JSON cannot spell, become null.
// Mapping keys that are not strings are written as strings: numbers in text
// form, booleans and null as "true", "false", "null". Throws TypeError for a
// mapping key that is a sequence or a mapping. Never recurses on the call
// stack, so any depth of tree is safe.
std::string to_json(const Value& v, int indent = -1);

}  // namespace tessik

#endif  // TESSIK_FOUNDATION_JSON_HPP_
