#include <tessik/foundation/detail/tree_writer.hpp>

#include <cstddef>
#include <vector>

namespace tessik::detail {
namespace {

// One open container: the element to write next and, for a mapping, whether
// that element's key is written and its value is due.
struct Frame {
  const Value* container;
  std::size_t next;
  bool value_due;
};

std::size_t size_of(const Value& v) {
  return v.is_sequence() ? v.as_sequence().size() : v.as_mapping().size();
}

const Value::Mapping::Entry& entry_at(const Value& mapping, std::size_t i) {
  return *(mapping.as_mapping().begin() + static_cast<std::ptrdiff_t>(i));
}

void new_line(const TreeStyle& style, std::size_t depth, std::string& out) {
  if (style.indent < 0) return;
  out.push_back('\n');
  out.append(depth * static_cast<std::size_t>(style.indent), ' ');
}

}  // namespace

void write_tree(const Value& root, const TreeStyle& style, std::string& out) {
  std::vector<Frame> stack;
  // Writes a scalar at once, or opens a container (pushing a frame, which
  // invalidates references into `stack`).
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
    stack.push_back({&v, 0, false});
  };

  begin_value(root);
  while (!stack.empty()) {
    Frame& top = stack.back();
    const Value& c = *top.container;
    if (top.value_due) {
      top.value_due = false;
      out.append(style.key_separator);
      begin_value(entry_at(c, top.next - 1).second);
      continue;
    }
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
      begin_value(c.as_sequence()[i]);
    } else {
      top.value_due = true;
      const Value& key = entry_at(c, i).first;
      if (style.key != nullptr) {
        style.key(key, out);
      } else {
        begin_value(key);
      }
    }
  }
}

}  // namespace tessik::detail
