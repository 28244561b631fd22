// How our messages name a value: its kind in plain words and the value as an
// author wrote it, so that a message says what was found.
//
//   kind_noun(Value::Kind::mapping)   -> "a mapping"
//   describe_value(Value("five"))     -> "the text 'five'"
//   describe_value(Value(1.5))        -> "the number 1.5"
//   describe_value(Value())           -> "null"
#ifndef TESSIK_FOUNDATION_DETAIL_VALUE_WORDS_HPP_
#define TESSIK_FOUNDATION_DETAIL_VALUE_WORDS_HPP_

#include <string>
#include <string_view>

#include <tessik/foundation/value.hpp>

namespace tessik::detail {

// "null", "a boolean", "an integer", "a number", "a text", "a list" or
// "a mapping".
std::string_view kind_noun(Value::Kind kind) noexcept;

// `text` in single quotes, cut after 60 characters ("..." marks the cut),
// with line ends, tabs and other control characters written as \n, \t and
// \xHH so that the quote stays on one line.
std::string quoted_text(std::string_view text);

// The value for a message: "null", "the boolean true", "the integer 42",
// "the number 1.5", "the text 'five'" (quoted_text), "a list of 3 items",
// "a mapping of 2 keys". Never throws for any value.
std::string describe_value(const Value& v);

}  // namespace tessik::detail

#endif  // TESSIK_FOUNDATION_DETAIL_VALUE_WORDS_HPP_
