// The JSON reader that explains a refusal: slower than the main parser, but
// it names the line and column of a syntax error and reads integers beyond
// 64 bits.
#ifndef TESSIK_FOUNDATION_DETAIL_JSON_SAX_HPP_
#define TESSIK_FOUNDATION_DETAIL_JSON_SAX_HPP_

#include <string_view>

#include <tessik/foundation/value.hpp>

namespace tessik::detail {

// Parses `text` with the same grammar, values and limits as `parse_json`
// and throws the same InvalidValueError messages. `parse_json` calls it only
// for a text its fast parser refused, to word the failure, or to read an
// integer that does not fit 64 bits as a double.
Value parse_json_events(std::string_view text);

}  // namespace tessik::detail

#endif  // TESSIK_FOUNDATION_DETAIL_JSON_SAX_HPP_
