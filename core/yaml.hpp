// YAML text to Value.
#ifndef TESSIK_YAML_HPP_
#define TESSIK_YAML_HPP_

#include <string_view>

#include "value.hpp"

namespace tessik {

// Loads exactly one YAML document with safe (plain-data) construction and
// YAML 1.1 plain-scalar resolution. Throws YamlError.
Value load_yaml(std::string_view text);

}  // namespace tessik

#endif  // TESSIK_YAML_HPP_
