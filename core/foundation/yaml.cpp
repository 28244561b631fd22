#include <tessik/foundation/yaml.hpp>

#include <string>
#include <utility>
#include <vector>

#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/detail/yaml_compose.hpp>

// Loading runs in two passes. compose_yaml turns libyaml's events into a graph
// in which an alias is a shared reference and enforces every limit while
// doing so; the Builder here expands that graph into a Value tree, copying
// aliased subtrees and resolving merge keys. Both keep explicit stacks, so
// neither recurses however deep the document.

namespace tessik {
namespace {

using Node = detail::YamlNode;

// Expands a composed graph into a Value tree, resolving merge keys.
class Builder {
 public:
  explicit Builder(detail::YamlGraph& graph) : g_(graph) { stack_.reserve(16); }

  Value run() {
    visit(*g_.root, false);
    while (!stack_.empty()) {
      Frame& f = stack_.back();
      const Node& n = g_.nodes[f.node];
      if (f.next == n.child_count) {
        Value done = finish(f);
        stack_.pop_back();
        deliver(std::move(done));
        continue;
      }
      const std::uint32_t child = g_.children[n.first_child + f.next];
      const bool is_key = n.kind == Node::Kind::mapping && f.next % 2 == 0;
      ++f.next;
      if (is_key && g_.nodes[child].merge_key) {
        f.merging = true;
        continue;
      }
      visit(child, f.shared);
    }
    return std::move(result_);
  }

 private:
  struct Frame {
    Frame(std::uint32_t n, bool s, const Node& shape) : node(n), shared(s) {
      if (shape.kind == Node::Kind::sequence) {
        Value::Sequence items;
        items.reserve(shape.child_count);
        out = std::move(items);
      } else {
        out = Value::Mapping();
      }
    }
    std::uint32_t node;
    bool shared;  // inside an aliased subtree: its scalars are copied
    Value out;
    std::uint32_t next = 0;
    Value key;
    bool merging = false;                            // the value being built belongs to a merge key
    std::vector<Value::Mapping::Entry> merged, own;  // only for mappings with merges
  };

  void visit(std::uint32_t index, bool shared) {
    Node& n = g_.nodes[index];
    shared = shared || n.aliased;
    if (n.kind == Node::Kind::scalar) {
      deliver(shared ? Value(n.scalar) : std::move(n.scalar));
      return;
    }
    stack_.emplace_back(index, shared, n);
  }

  void deliver(Value v) {
    if (stack_.empty()) {
      result_ = std::move(v);
      return;
    }
    Frame& p = stack_.back();
    const Node& n = g_.nodes[p.node];
    if (n.kind == Node::Kind::sequence) {
      p.out.as_sequence().push_back(std::move(v));
    } else if ((p.next - 1) % 2 == 0) {
      p.key = std::move(v);
    } else if (p.merging) {
      p.merging = false;
      merge(p.merged, v);
    } else if (n.has_merge) {
      p.own.emplace_back(std::move(p.key), std::move(v));
    } else {
      p.out.as_mapping().set(std::move(p.key), std::move(v));
    }
  }

  // Appends the entries a merge value brings. In a sequence, earlier
  // mappings win, so they go last.
  static void merge(std::vector<Value::Mapping::Entry>& merged, const Value& v) {
    if (v.is_mapping()) {
      merged.insert(merged.end(), v.as_mapping().begin(), v.as_mapping().end());
      return;
    }
    const Value::Sequence& items = v.as_sequence();
    // An explicit reverse loop: clang 14 (the fuzzer build) cannot compile
    // libstdc++ 12's views::reverse.
    for (auto it = items.rbegin(); it != items.rend(); ++it) {  // NOLINT(modernize-loop-convert)
      merged.insert(merged.end(), it->as_mapping().begin(), it->as_mapping().end());
    }
  }

  static Value finish(Frame& f) {
    if (f.merged.empty() && f.own.empty()) return std::move(f.out);
    Value::Mapping m;
    for (auto& [k, v] : f.merged) m.set(std::move(k), std::move(v));
    for (auto& [k, v] : f.own) m.set(std::move(k), std::move(v));
    return m;
  }

  detail::YamlGraph& g_;
  std::vector<Frame> stack_;
  Value result_;
};

}  // namespace

Value load_yaml(std::string_view text) {
  if (text.size() > kYamlMaxInputBytes) {
    throw YamlError("YAML text of " + std::to_string(text.size()) + " bytes exceeds the limit of " +
                    std::to_string(kYamlMaxInputBytes) + " bytes");
  }
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  detail::YamlGraph graph = detail::compose_yaml(text);
  if (!graph.root) return {};
  return Builder(graph).run();
}

}  // namespace tessik
