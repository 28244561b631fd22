// Writes a Value tree as text without recursing on the call stack, for the
// literal form ("[1, 'a']", "{'k': None}") and for JSON.
#ifndef TESSIK_TREE_WRITER_HPP_
#define TESSIK_TREE_WRITER_HPP_

#include <string>

#include "value.hpp"

namespace tessik::detail {

// How a tree is spelled. `scalar` writes any non-container value; `key`
// writes a mapping key (containers as keys are written by `scalar` of their
// elements, recursively through `write_tree`). `indent` < 0 keeps
// everything on one line with `item_separator` between elements; otherwise
// each element goes on its own line, indented by `indent` blanks per level,
// and `item_separator` should be "," alone.
struct TreeStyle {
  void (*scalar)(const Value& v, std::string& out);
  void (*key)(const Value& v, std::string& out);
  const char* item_separator;
  const char* key_separator;
  int indent;
};

// Appends the spelling of `root` to `out`. Uses heap memory proportional to
// the tree's depth, never the call stack.
void write_tree(const Value& root, const TreeStyle& style, std::string& out);

}  // namespace tessik::detail

#endif  // TESSIK_TREE_WRITER_HPP_
