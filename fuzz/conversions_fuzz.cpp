// The conversions and text forms on fuzzed values: the first byte picks how
// the rest becomes a Value (a string, or JSON for any kind of value).
#include <cstddef>
#include <cstdint>
#include <string>

#include <tessik/foundation/detail/json_sax.hpp>
#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/json.hpp>
#include <tessik/foundation/text.hpp>

#include "fuzz_support.hpp"

namespace {

void exercise(const tessik::Value& v) {
  try {
    (void)tessik::to_int(v);
  } catch (const tessik::Error&) {
  }
  try {
    (void)tessik::to_float(v);
  } catch (const tessik::Error&) {
  }
  try {
    (void)tessik::text_form(v);
    (void)tessik::repr(v);
  } catch (const tessik::Error&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const auto rest = tessik::fuzz::as_text(data + 1, size - 1);
  if (data[0] & 1) {
    exercise(tessik::Value(rest));
    (void)tessik::title(rest);
    (void)tessik::lower(rest);
    (void)tessik::strip(rest);
    (void)tessik::first_code_points(rest, data[0] >> 1);
    (void)tessik::code_point_count(rest);
  } else {
    try {
      const tessik::Value v = tessik::parse_json(rest);
      exercise(v);
      // The fast parser is never looser than the event reader, and reads
      // the same values in the same order.
      tessik::Value reference;
      try {
        reference = tessik::detail::parse_json_events(rest);
      } catch (const tessik::Error&) {
        __builtin_trap();
      }
      if (tessik::repr(v) != tessik::repr(reference)) __builtin_trap();
    } catch (const tessik::Error&) {
    }
  }
  return 0;
}
