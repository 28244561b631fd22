#include "tree_writer.hpp"

#include <cstddef>
#include <vector>

namespace tessik::detail {
namespace {

struct Frame {
  const Value* container;
  std::size_t next;
};

std::size_t size_of(const Value& v) {
  return v.is_sequence() ? v.as_sequence().size() : v.as_mapping().size();
}

void new_line(const TreeStyle& style, std::size_t depth, std::string& out) {
  if (style.indent < 0) return;
  out.push_back('\n');
  out.append(depth * static_cast<std::size_t>(style.indent), ' ');
}

}  // namespace

void write_tree(const Value& root, const TreeStyle& style, std::string& out) {
  std::vector<Frame> stack;
  // Writes a value: scalars at once, containers by opening them.
  auto begin_value = [&](const Value& v) {
    if (!v.is_sequence() && !v.is_mapping()) {
      style.scalar(v, out);
      return;
    }
    out.push_back(v.is_sequence() ? '[' : '{');
    if (size_of(v) == 0) {
      out.push_back(v.is_sequence() ? ']' : '}');
      return;
    }
    stack.push_back({&v, 0});
  };

  begin_value(root);
  while (!stack.empty()) {
    Frame& top = stack.back();
    const Value& c = *top.container;
    if (top.next == size_of(c)) {
      stack.pop_back();
      new_line(style, stack.size(), out);
      out.push_back(c.is_sequence() ? ']' : '}');
      continue;
    }
    if (top.next > 0) out.append(style.item_separator);
    new_line(style, stack.size(), out);
    const std::size_t i = top.next++;
    if (c.is_sequence()) {
      begin_value(c.as_sequence()[i]);  // may invalidate `top`
    } else {
      const auto& entry = *(c.as_mapping().begin() + static_cast<std::ptrdiff_t>(i));
      if (entry.first.is_sequence() || entry.first.is_mapping()) {
        write_tree(entry.first, style, out);
      } else {
        style.key(entry.first, out);
      }
      out.append(style.key_separator);
      begin_value(entry.second);
    }
  }
}

}  // namespace tessik::detail
