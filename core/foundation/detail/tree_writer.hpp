// Writes a Value tree as text without recursing on the call stack; shared by
// the literal form ("[1, 'a']", "{'k': None}") and JSON.
#ifndef TESSIK_FOUNDATION_DETAIL_TREE_WRITER_HPP_
#define TESSIK_FOUNDATION_DETAIL_TREE_WRITER_HPP_

#include <string>

#include <tessik/foundation/value.hpp>

namespace tessik::detail {

// How a tree is spelled.
struct TreeStyle {
  // Writes any value that is not a sequence or a mapping.
  void (*scalar)(const Value& v, std::string& out);
  // Writes a mapping key of any kind; when null, keys are spelled like
  // values (containers as keys included).
  void (*key)(const Value& v, std::string& out);
  // Between elements; with `indent` >= 0 it should hold no blank, as each
  // element goes on its own line.
  const char* item_separator;
  // Between a key and its value.
  const char* key_separator;
  // < 0: everything on one line. Otherwise each element on its own line,
  // indented by `indent` blanks per level.
  int indent;
};

// Appends the spelling of `root` to `out`. Uses heap memory proportional to
// the tree's depth, never the call stack, so any depth is safe.
void write_tree(const Value& root, const TreeStyle& style, std::string& out);

}  // namespace tessik::detail

#endif  // TESSIK_FOUNDATION_DETAIL_TREE_WRITER_HPP_
