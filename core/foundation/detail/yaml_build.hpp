// The second pass of YAML loading: a composed graph (yaml_compose.hpp)
// expanded into a Value tree, aliased subtrees copied and merge keys
// resolved, with the place of every node beside it when asked for.
#ifndef TESSIK_FOUNDATION_DETAIL_YAML_BUILD_HPP_
#define TESSIK_FOUNDATION_DETAIL_YAML_BUILD_HPP_

#include <tessik/foundation/detail/yaml_compose.hpp>
#include <tessik/foundation/yaml.hpp>

namespace tessik::detail {

// Builds the value of `graph`'s root, which must be present. Scalars of
// nodes that no alias repeats are moved out of the graph, so the graph is
// spent afterwards. With `places`, fills it with the place tree of the
// value (see YamlPlace); without, builds no places at all. Keeps explicit
// stacks: never recurses, however deep the document.
Value build_yaml_value(YamlGraph& graph, YamlPlace* places);

}  // namespace tessik::detail

#endif  // TESSIK_FOUNDATION_DETAIL_YAML_BUILD_HPP_
