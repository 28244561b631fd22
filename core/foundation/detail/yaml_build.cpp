#include <tessik/foundation/detail/yaml_build.hpp>

#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

namespace tessik::detail {
namespace {

using Node = YamlNode;
using Entry = Value::Mapping::Entry;

// A mapping under construction together with the place of each entry, kept
// in the mapping's own order: a repeated key keeps its first position and
// takes the last value and that value's place; its key's place stays the
// first one's unless `whole` asks for the new entry's (an entry overriding a
// merged one).
class PlacedMapping {
 public:
  explicit PlacedMapping(bool with_places) : with_places_(with_places) {}

  void set(Value key, Value value, YamlPlace place, bool whole = false) {
    if (!with_places_) {
      mapping_.set(std::move(key), std::move(value));
      return;
    }
    const std::size_t hash = hash_value(key);
    if (const std::optional<std::size_t> at = find(key, hash)) {
      if (whole) places_[*at].key = place.key;
      places_[*at].value = place.value;
      places_[*at].children = std::move(place.children);
    } else {
      by_hash_.emplace(hash, places_.size());
      places_.push_back(std::move(place));
    }
    mapping_.set(std::move(key), std::move(value));
  }

  Value::Mapping& mapping() { return mapping_; }
  std::vector<YamlPlace>& places() { return places_; }

 private:
  std::optional<std::size_t> find(const Value& key, std::size_t hash) const {
    const auto [first, last] = by_hash_.equal_range(hash);
    for (auto it = first; it != last; ++it) {
      if ((mapping_.begin() + static_cast<std::ptrdiff_t>(it->second))->first == key) {
        return it->second;
      }
    }
    return std::nullopt;
  }

  bool with_places_;
  Value::Mapping mapping_;
  std::vector<YamlPlace> places_;
  std::unordered_multimap<std::size_t, std::size_t> by_hash_;
};

// An entry of a mapping with merge keys, waiting for the mapping's end.
struct PendingEntry {
  Value key, value;
  YamlPlace place;
};

class Builder {
 public:
  Builder(YamlGraph& graph, bool with_places) : g_(graph), with_places_(with_places) {
    stack_.reserve(16);
  }

  Value run(YamlPlace* places) {
    visit(*g_.root, false, {g_.root_mark, g_.root_mark, {}});
    while (!stack_.empty()) {
      Frame& f = stack_.back();
      const Node& n = g_.nodes[f.node];
      if (f.next == n.child_count) {
        auto [value, place] = finish(f);
        stack_.pop_back();
        deliver(std::move(value), std::move(place));
        continue;
      }
      const std::uint32_t slot = n.first_child + f.next;
      const std::uint32_t child = g_.children[slot];
      const TextPosition mark = g_.child_marks[slot];
      const bool is_key = n.kind == Node::Kind::mapping && f.next % 2 == 0;
      ++f.next;
      if (is_key && g_.nodes[child].merge_key) {
        f.merging = true;
        f.key_mark = mark;
        continue;
      }
      // A mapping value stands with its key; anything else with itself.
      const bool is_value = n.kind == Node::Kind::mapping && !is_key;
      visit(child, f.shared, {is_value ? f.key_mark : mark, mark, {}});
    }
    if (places != nullptr) *places = std::move(result_place_);
    return std::move(result_);
  }

 private:
  struct Frame {
    Frame(std::uint32_t n, bool s, const Node& shape, YamlPlace at, bool with_places)
        : node(n), shared(s), place(std::move(at)), entries(with_places) {
      if (shape.kind == Node::Kind::sequence) {
        Value::Sequence items;
        items.reserve(shape.child_count);
        out = std::move(items);
      }
    }
    std::uint32_t node;
    bool shared;  // inside an aliased subtree: its scalars are copied
    YamlPlace place;
    Value out;              // a sequence's items
    PlacedMapping entries;  // a mapping's entries
    std::uint32_t next = 0;
    Value key;
    TextPosition key_mark{};
    bool merging = false;                   // the value being built belongs to a merge key
    std::vector<PendingEntry> merged, own;  // only for mappings with merges
  };

  void visit(std::uint32_t index, bool shared, YamlPlace at) {
    Node& n = g_.nodes[index];
    shared = shared || n.aliased;
    if (n.kind == Node::Kind::scalar) {
      deliver(shared ? Value(n.scalar) : std::move(n.scalar), std::move(at));
      return;
    }
    stack_.emplace_back(index, shared, n, std::move(at), with_places_);
  }

  void deliver(Value v, YamlPlace place) {
    if (stack_.empty()) {
      result_ = std::move(v);
      result_place_ = std::move(place);
      return;
    }
    Frame& p = stack_.back();
    const Node& n = g_.nodes[p.node];
    if (n.kind == Node::Kind::sequence) {
      p.out.as_sequence().push_back(std::move(v));
      if (with_places_) p.place.children.push_back(std::move(place));
    } else if ((p.next - 1) % 2 == 0) {
      p.key = std::move(v);
      p.key_mark = place.value;
    } else if (p.merging) {
      p.merging = false;
      merge(p.merged, v, place);
    } else if (n.has_merge) {
      p.own.push_back({std::move(p.key), std::move(v), std::move(place)});
    } else {
      p.entries.set(std::move(p.key), std::move(v), std::move(place));
    }
  }

  // Appends the entries a merge value brings. In a sequence, earlier
  // mappings win, so they go last.
  void merge(std::vector<PendingEntry>& merged, const Value& v, const YamlPlace& place) const {
    const auto add = [&](const Value& mapping, const YamlPlace* at) {
      std::size_t i = 0;
      for (const auto& [key, value] : mapping.as_mapping()) {
        YamlPlace entry_place = at != nullptr ? at->children[i++] : YamlPlace{};
        merged.push_back({key, value, std::move(entry_place)});
      }
    };
    if (v.is_mapping()) {
      add(v, with_places_ ? &place : nullptr);
      return;
    }
    const Value::Sequence& items = v.as_sequence();
    // An explicit reverse loop: clang 14 (the fuzzer build) cannot compile
    // libstdc++ 12's views::reverse.
    for (std::size_t i = items.size(); i-- > 0;) {
      add(items[i], with_places_ ? &place.children[i] : nullptr);
    }
  }

  std::pair<Value, YamlPlace> finish(Frame& f) {
    if (g_.nodes[f.node].kind == Node::Kind::sequence) {
      return {std::move(f.out), std::move(f.place)};
    }
    if (!f.merged.empty() || !f.own.empty()) {
      for (auto* list : {&f.merged, &f.own}) {
        for (PendingEntry& e : *list) {
          f.entries.set(std::move(e.key), std::move(e.value), std::move(e.place), true);
        }
      }
    }
    f.place.children = std::move(f.entries.places());
    return {std::move(f.entries.mapping()), std::move(f.place)};
  }

  YamlGraph& g_;
  bool with_places_;
  std::vector<Frame> stack_;
  Value result_;
  YamlPlace result_place_;
};

}  // namespace

Value build_yaml_value(YamlGraph& graph, YamlPlace* places) {
  return Builder(graph, places != nullptr).run(places);
}

}  // namespace tessik::detail
