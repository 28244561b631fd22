// Small readers of decoded reply bodies, shared by both protocols.
#ifndef TESSIK_CLIENTS_DETAIL_WIRE_VALUES_HPP_
#define TESSIK_CLIENTS_DETAIL_WIRE_VALUES_HPP_

#include <cstdint>
#include <string>
#include <string_view>

#include <tessik/foundation/value.hpp>

namespace tessik::clients::detail {

// The mapping at `key` of `parent`, or nullptr when absent or not a mapping.
const Value* mapping_at(const Value& parent, std::string_view key);

// The count at `key` of a mapping (nullptr allowed): a non-negative integer,
// 0 when absent or of another kind.
std::int64_t count_at(const Value* parent, std::string_view key);

// The text at `key`, or "" when absent or not text.
std::string text_at(const Value& parent, std::string_view key);

// The JSON kind of `v` with its article ("an array", "a string", "null"),
// for messages about values of the wrong kind.
std::string kind_phrase(const Value& v);

}  // namespace tessik::clients::detail

#endif  // TESSIK_CLIENTS_DETAIL_WIRE_VALUES_HPP_
