// The composed form of a YAML document: libyaml's events turned into a
// graph of nodes in which an alias is one more reference to its anchored
// node. Composing applies safe tags and YAML 1.1 scalar resolution and
// checks every limit of yaml.hpp; building a Value from the graph is left to
// the loader.
#ifndef TESSIK_FOUNDATION_DETAIL_YAML_COMPOSE_HPP_
#define TESSIK_FOUNDATION_DETAIL_YAML_COMPOSE_HPP_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/value.hpp>

namespace tessik::detail {

// One node of a composed document: a scalar holds its resolved value, a
// collection the indices of its children.
struct YamlNode {
  enum class Kind : std::uint8_t { scalar, sequence, mapping };
  Kind kind = Kind::scalar;
  bool merge_key = false;         // the untagged plain scalar "<<"
  bool has_merge = false;         // a mapping holding at least one merge key
  bool aliased = false;           // repeated by an alias: built by copying, never moving
  std::uint32_t height = 0;       // nesting levels of collections, itself included
  std::uint32_t first_child = 0;  // children: YamlGraph::children[first_child, +child_count)
  std::uint32_t child_count = 0;
  std::size_t nodes = 1;  // expanded size in nodes, aliases included
  std::size_t text = 0;   // expanded scalar bytes, aliases included
  Value scalar;
};

// A composed document. Children precede their parents, and an alias is an
// index of an earlier node, so the graph is acyclic.
// Each child slot has the mark of the event that placed it there, so that
// an alias stands where the alias is written, not where its anchor is.
struct YamlGraph {
  std::vector<YamlNode> nodes;
  std::vector<std::uint32_t> children;    // mapping children alternate key, value
  std::vector<TextPosition> child_marks;  // where each of `children` stands in the text
  std::optional<std::uint32_t> root;      // absent for an empty stream
  TextPosition root_mark{};
};

// Composes the single document in `text` (UTF-8 without a byte-order mark).
// Every failure that load_yaml documents, other than the input size, is
// thrown from here as a YamlError carrying its mark as the error's position
// (counted in `text`). An alias adds the size of what it repeats
// to the running totals, so a bomb fails at the alias that would exceed the
// limits, before anything is copied.
YamlGraph compose_yaml(std::string_view text);

}  // namespace tessik::detail

#endif  // TESSIK_FOUNDATION_DETAIL_YAML_COMPOSE_HPP_
