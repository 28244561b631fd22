// JSON text to and from Value.
#ifndef TESSIK_JSON_HPP_
#define TESSIK_JSON_HPP_

#include <string>
#include <string_view>

#include "value.hpp"

namespace tessik {

// Parses one JSON text into a Value, keeping object key order (a repeated
// key keeps its first position and takes the last value). Integers that fit
// 64 bits stay integers, larger ones become doubles. Throws
// InvalidValueError, with the parser's position, for malformed text.
Value parse_json(std::string_view text);

// Serialises `v` as JSON; `indent` < 0 gives the compact form.
std::string to_json(const Value& v, int indent = -1);

}  // namespace tessik

#endif  // TESSIK_JSON_HPP_
