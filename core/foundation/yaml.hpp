// YAML text to Value.
//
//   Value def = load_yaml("name: wynn\nenabled: no\nversion: 1.0\n");
//   def.find("enabled")->as_bool();   // false: "no" is a YAML 1.1 boolean
//   def.find("version")->as_float();  // 1.0
//
// The loader reads exactly one document with safe, plain-data construction
// and the YAML 1.1 meaning of plain scalars. Definition files may come from
// untrusted pull requests, so every way of making the loader use unbounded
// memory, time or stack is refused with a YamlError that names the limit
// hit. The limits below live here so that callers and tests can reach them.
#ifndef TESSIK_FOUNDATION_YAML_HPP_
#define TESSIK_FOUNDATION_YAML_HPP_

#include <cstddef>
#include <string_view>
#include <vector>

#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/limits.hpp>
#include <tessik/foundation/value.hpp>

namespace tessik {

// The largest text `load_yaml` accepts, in bytes (8 MiB). Larger text is
// refused before any parsing.
inline constexpr std::size_t kYamlMaxInputBytes = limits::kYamlInputBytes;

// The deepest nesting of sequences and mappings in a loaded document. A
// top-level collection is level 1; a collection reached through an alias
// counts at the depth where the alias stands, with its full height.
inline constexpr std::size_t kYamlMaxDepth = limits::kYamlDepth;

// The most nodes (scalars, sequences and mappings) a loaded document may
// expand to. An alias counts as every node of the subtree it repeats, so an
// alias bomb is refused when it is read, before anything is copied.
inline constexpr std::size_t kYamlMaxNodes = limits::kYamlNodes;

// The most scalar text, in bytes, a loaded document may expand to, counted
// like kYamlMaxNodes (an alias counts all the text of what it repeats).
// Keys count as well as values.
inline constexpr std::size_t kYamlMaxScalarBytes = limits::kYamlScalarBytes;

// Loads the single YAML document in `text` (UTF-8; a leading byte-order mark
// is skipped) and returns its value. An empty stream, or one holding only
// comments, gives null; so does a document whose only content is empty.
//
// Construction:
//  - One document at most. An explicit "---" start and a "..." end are fine;
//    the start of a second document is a YamlError.
//  - Untagged plain scalars take their YAML 1.1 meaning (null, bool, int,
//    float, else string; see yaml_scalar.hpp); quoted and block scalars are
//    strings. An integer beyond the 64-bit range is a YamlError that says
//    so, never a rounded double.
//  - The standard tags !!str, !!int, !!float, !!bool, !!null, !!seq and !!map
//    (in any spelling libyaml resolves to them) are honoured: "!!str 123" is
//    the string "123", "!!int '12'" is 12, "!!float 1" is 1.0; text that
//    the tag cannot read is a YamlError. The non-specific tag "!" gives a
//    string, sequence or mapping. Every other tag, including !!binary,
//    !!set, !!omap, !!pairs and !!timestamp, is a YamlError naming the tag.
//    (Untagged timestamp-like text such as 2025-01-31 stays a string.)
//  - Anchors and aliases: an alias repeats a copy of the most recent node
//    with that anchor. An alias to an undefined anchor, or to a collection
//    that contains the alias, is a YamlError.
//  - Merge keys: the plain key "<<" with a mapping value, or a sequence of
//    mappings, merges their entries in; the mapping's own entries override
//    merged ones, and in a sequence earlier mappings override later ones.
//    Any other "<<" value is a YamlError. A quoted "<<" is an ordinary key.
//  - A repeated key keeps its first position and takes its last value.
//  - Keys must be scalars: a sequence or mapping key is a YamlError
//    ("a sequence cannot be a mapping key"). A NaN key (".nan") loads; it equals no key, so it
//    can never be found again, and two of them are two entries.
//
// Every YamlError message carries the reason and its 1-based position, e.g.
// "mapping values are not allowed in this context at line 3, column 8".
// Limits: see the constants above. The returned tree is at most
// kYamlMaxDepth deep and is destroyed without deep recursion.
//
// Thread safety: reentrant; calls on different threads share nothing.
Value load_yaml(std::string_view text);

// Where one node of a loaded document stands in its text.
struct YamlPlace {
  // The node's mapping key; for the root and a sequence item, where the
  // node itself stands.
  TextPosition key{};
  // The node itself: a scalar's first character (its quote or indicator
  // included), a collection's first item or opening bracket, the alias that
  // repeated it. An empty value written as nothing ("key:") stands where
  // the parser met it, on the key's line.
  TextPosition value{};
  // The places of a sequence's items, or of a mapping's entries, in the
  // order of the loaded Value. A repeated key keeps the place of its first
  // key and takes that of its last value; an entry brought by a merge key
  // stands where the merged mapping wrote it, and an entry that overrides a
  // merged one where it is itself written; nodes repeated by an alias stand
  // where their anchor wrote them.
  std::vector<YamlPlace> children;
};

// A loaded document with the place of every node.
struct YamlDocument {
  Value value;
  YamlPlace place;
};

// Loads `text` exactly as load_yaml does and also records where each node
// stands. Lines are counted from `first_line` (a Markdown front-matter's
// YAML starts on line 2 or later of its file), columns from 1 in
// characters; CR LF and lone CR count as one line end, as in libyaml. A
// YamlError carries its mark as its position, counted the same way (its
// message keeps the mark counted in `text`). An empty document's place is
// the start of the text. The place tree costs about 40 bytes per node
// (an alias's copy included) and lives as long as the document.
YamlDocument load_yaml_document(std::string_view text, std::size_t first_line = 1);

// The place of the entry under the text key `key` in `mapping`, whose place
// is `place`, or nullptr when `mapping` is no mapping or lacks the key.
const YamlPlace* find_place(const Value& mapping, const YamlPlace& place, std::string_view key);

}  // namespace tessik

#endif  // TESSIK_FOUNDATION_YAML_HPP_
