// YAML 1.1 scalar resolution: what a plain scalar's text means, and how the
// standard scalar tags read their text. Used by the YAML loader; no libyaml
// types appear here.
//
//   read_plain_scalar("yes")   -> true          read_plain_scalar("1:30")  -> 90
//   read_plain_scalar("0x1F")  -> 31            read_plain_scalar("1.0")   -> 1.0
//   read_plain_scalar("1e3")   -> "1e3"         read_plain_scalar("~")     -> null
#ifndef TESSIK_FOUNDATION_DETAIL_YAML_SCALAR_HPP_
#define TESSIK_FOUNDATION_DETAIL_YAML_SCALAR_HPP_

#include <string_view>

#include <tessik/foundation/value.hpp>

namespace tessik::detail {

// The scalar types that a standard tag (or implicit resolution) can give.
enum class ScalarType { string, null, boolean, integer, floating };

struct ScalarRead {
  enum class Status {
    ok,            // `value` holds the result
    no_match,      // the text is not of the asked type's form
    out_of_range,  // an integer of valid form that does not fit in 64 bits
  };
  Status status = Status::no_match;
  Value value;
};

// Resolves the text of an untagged plain scalar:
//   null:  "~", "null", "Null", "NULL" or the empty text;
//   bool:  yes/no/true/false/on/off, each all lower case, capitalised or all
//          upper case ("y" and "n" stay strings);
//   int:   optionally signed decimal, "0b" binary, leading-"0" octal, "0x"
//          hexadecimal or base 60 ("1:30" is 90), "_" allowed among digits;
//   float: decimal with a "." and an optional exponent whose sign is
//          required ("1.0e+3"; "1e3" stays a string), base 60 with a
//          fraction ("1:30.5"), ".inf"/"-.inf"/"+.inf" and ".nan" in their
//          lower, capitalised and upper case forms.
// Anything else is the string itself. The status is `ok`, or `out_of_range`
// for an integer of valid form beyond the 64-bit range.
ScalarRead read_plain_scalar(std::string_view text);

// Reads `text` as explicitly tagged with `type`. Each type accepts its own
// plain forms above. A float also accepts decimal text without a point or
// with an unsigned exponent ("1e3" is 1000.0, "017" is 17.0) and the
// hexadecimal, binary and base-60 integer forms (within 64 bits). A string
// accepts any text. The status is never `out_of_range` for a float.
ScalarRead read_tagged_scalar(ScalarType type, std::string_view text);

}  // namespace tessik::detail

#endif  // TESSIK_FOUNDATION_DETAIL_YAML_SCALAR_HPP_
