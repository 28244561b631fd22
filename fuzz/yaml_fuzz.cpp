// load_yaml on arbitrary bytes: a Value or a YamlError, nothing else.
#include <cstddef>
#include <cstdint>

#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/yaml.hpp>

#include "fuzz_support.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    tessik::Value v = tessik::load_yaml(tessik::fuzz::as_text(data, size));
    tessik::Value copy = v;
    if (!(copy == v) && v == v) __builtin_trap();
  } catch (const tessik::Error&) {
  }
  return 0;
}
