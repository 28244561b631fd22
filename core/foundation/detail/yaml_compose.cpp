#include <tessik/foundation/detail/yaml_compose.hpp>

#include <yaml.h>

#include <algorithm>
#include <cstdio>
#include <new>
#include <string>
#include <unordered_map>
#include <utility>

#include <tessik/foundation/detail/yaml_scalar.hpp>
#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/yaml.hpp>

namespace tessik::detail {
namespace {

static_assert(kYamlMaxNodes < UINT32_MAX, "node indices are 32-bit");

constexpr std::string_view kStandardTagPrefix = "tag:yaml.org,2002:";

std::string position(std::size_t line, std::size_t column) {
  return " at line " + std::to_string(line + 1) + ", column " + std::to_string(column + 1);
}

std::string position(const yaml_mark_t& mark) { return position(mark.line, mark.column); }

TextPosition text_position(std::size_t line, std::size_t column) { return {line + 1, column + 1}; }
TextPosition text_position(const yaml_mark_t& mark) {
  return text_position(mark.line, mark.column);
}

[[noreturn]] void fail_at(const std::string& message, TextPosition at) {
  YamlError error(message);
  error.set_position(at);
  throw error;  // NOLINT(misc-throw-by-value-catch-by-reference): built, then positioned
}

[[noreturn]] void fail(const std::string& what, const yaml_mark_t& mark) {
  fail_at(what + position(mark), text_position(mark));
}

// A tag as its author most likely wrote it: "!!int" rather than the
// expanded "tag:yaml.org,2002:int".
std::string shown_tag(std::string_view tag) {
  if (tag.starts_with(kStandardTagPrefix))
    return "!!" + std::string(tag.substr(kStandardTagPrefix.size()));
  return std::string(tag);
}

// Scalar text quoted for a message, cut after 40 bytes on a character
// boundary.
std::string shown_text(std::string_view text) {
  constexpr std::size_t kMax = 40;
  std::string shown = "'";
  if (text.size() <= kMax) {
    shown.append(text);
  } else {
    std::size_t cut = kMax;
    while (cut > 0 && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80) --cut;
    shown.append(text.substr(0, cut)).append("...");
  }
  return shown.append("'");
}

// The line and column of byte `offset`, 0-based, for reader errors, which
// libyaml reports by offset only. Columns count characters, as libyaml's do.
std::pair<std::size_t, std::size_t> line_column_of_offset(std::string_view text,
                                                          std::size_t offset) {
  offset = std::min(offset, text.size());
  std::size_t line = 0, column = 0;
  for (std::size_t i = 0; i < offset; ++i) {
    if (text[i] == '\n') {
      ++line;
      column = 0;
    } else if ((static_cast<unsigned char>(text[i]) & 0xC0) != 0x80) {
      ++column;
    }
  }
  return {line, column};
}

[[noreturn]] void fail_parse(const yaml_parser_t& p, std::string_view text) {
  if (p.error == YAML_MEMORY_ERROR) throw std::bad_alloc();
  std::string message = p.problem ? p.problem : "malformed YAML";
  if (p.error == YAML_READER_ERROR) {
    if (p.problem_value != -1) {
      char hex[16];
      std::snprintf(hex, sizeof hex, " (0x%02X)", static_cast<unsigned>(p.problem_value));
      message += hex;
    }
    const auto [line, column] = line_column_of_offset(text, p.problem_offset);
    fail_at(message + position(line, column), text_position(line, column));
  }
  message += position(p.problem_mark);
  if (p.context) message += " (" + std::string(p.context) + position(p.context_mark) + ")";
  fail_at(message, text_position(p.problem_mark));
}

class Parser {
 public:
  explicit Parser(std::string_view text) {
    if (!yaml_parser_initialize(&parser_)) throw std::bad_alloc();
    yaml_parser_set_encoding(&parser_, YAML_UTF8_ENCODING);
    yaml_parser_set_input_string(&parser_, reinterpret_cast<const unsigned char*>(text.data()),
                                 text.size());
  }
  ~Parser() { yaml_parser_delete(&parser_); }
  Parser(const Parser&) = delete;
  Parser& operator=(const Parser&) = delete;
  yaml_parser_t* get() { return &parser_; }

 private:
  yaml_parser_t parser_;
};

class Event {
 public:
  Event() = default;
  ~Event() { yaml_event_delete(&event_); }
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;
  yaml_event_t* get() { return &event_; }
  const yaml_event_t& operator*() const { return event_; }
  const yaml_event_t* operator->() const { return &event_; }

 private:
  yaml_event_t event_{};
};

std::string_view chars(const yaml_char_t* s) {
  return s ? std::string_view(reinterpret_cast<const char*>(s)) : std::string_view();
}

// What a node's tag asks for. `implicit` is no tag (or the non-specific "!").
enum class TagKind { implicit, scalar, sequence, mapping };
struct Tag {
  TagKind kind = TagKind::implicit;
  ScalarType scalar_type = ScalarType::string;
};

Tag classify_tag(const yaml_char_t* raw, const yaml_mark_t& mark) {
  const std::string_view tag = chars(raw);
  if (tag.empty() || tag == "!") return {};
  if (tag.starts_with(kStandardTagPrefix)) {
    const std::string_view name = tag.substr(kStandardTagPrefix.size());
    if (name == "str") return {TagKind::scalar, ScalarType::string};
    if (name == "int") return {TagKind::scalar, ScalarType::integer};
    if (name == "float") return {TagKind::scalar, ScalarType::floating};
    if (name == "bool") return {TagKind::scalar, ScalarType::boolean};
    if (name == "null") return {TagKind::scalar, ScalarType::null};
    if (name == "seq") return {TagKind::sequence, {}};
    if (name == "map") return {TagKind::mapping, {}};
  }
  fail("unsupported YAML tag '" + shown_tag(tag) +
           "' (only !!str, !!int, !!float, !!bool, !!null, !!seq and !!map are allowed)",
       mark);
}

std::string_view type_name(ScalarType t) {
  switch (t) {
    case ScalarType::string:
      return "a string";
    case ScalarType::null:
      return "a null";
    case ScalarType::boolean:
      return "a boolean";
    case ScalarType::integer:
      return "an integer";
    case ScalarType::floating:
      return "a float";
  }
  return "a scalar";
}

const char* kind_noun(YamlNode::Kind k) {
  return k == YamlNode::Kind::sequence  ? "a sequence"
         : k == YamlNode::Kind::mapping ? "a mapping"
                                        : "a scalar";
}

class Composer {
 public:
  explicit Composer(std::string_view text) : text_(text), parser_(text) {
    // Roughly one node per dozen bytes in definition files; a guess that
    // spares most regrowth without committing memory for large text.
    graph_.nodes.reserve(std::min<std::size_t>(text.size() / 12 + 4, 4096));
    graph_.children.reserve(graph_.nodes.capacity());
  }

  YamlGraph run() {
    for (;;) {
      Event event;
      if (!yaml_parser_parse(parser_.get(), event.get())) fail_parse(*parser_.get(), text_);
      switch (event->type) {
        case YAML_DOCUMENT_START_EVENT:
          if (documents_++ > 0) {
            fail("expected a single YAML document, but found the start of another",
                 event->start_mark);
          }
          break;
        case YAML_SCALAR_EVENT:
          on_scalar(*event);
          break;
        case YAML_SEQUENCE_START_EVENT:
          on_start(YamlNode::Kind::sequence, event->data.sequence_start.tag,
                   event->data.sequence_start.anchor, event->start_mark);
          break;
        case YAML_MAPPING_START_EVENT:
          on_start(YamlNode::Kind::mapping, event->data.mapping_start.tag,
                   event->data.mapping_start.anchor, event->start_mark);
          break;
        case YAML_SEQUENCE_END_EVENT:
        case YAML_MAPPING_END_EVENT:
          on_end();
          break;
        case YAML_ALIAS_EVENT:
          on_alias(chars(event->data.alias.anchor), event->start_mark);
          break;
        case YAML_STREAM_END_EVENT:
          return std::move(graph_);
        default:
          break;
      }
    }
  }

 private:
  // A collection whose end event has not come yet.
  struct Open {
    YamlNode::Kind kind;
    std::string anchor;
    yaml_mark_t start;
    std::size_t first_pending;  // its children so far: pending_[first_pending, end)
    std::size_t nodes_before;   // running totals before it began
    std::size_t text_before;
    std::uint32_t child_height = 0;
    bool key_is_merge = false;
    bool has_merge = false;
  };
  static constexpr std::uint32_t kOpen = UINT32_MAX;  // anchor of an unfinished node

  void count(std::size_t nodes, std::size_t text, const yaml_mark_t& mark) {
    total_nodes_ += nodes;
    total_text_ += text;
    if (total_nodes_ > kYamlMaxNodes) {
      fail("YAML document exceeds the limit of " + std::to_string(kYamlMaxNodes) +
               " nodes (an alias counts every node it repeats)",
           mark);
    }
    if (total_text_ > kYamlMaxScalarBytes) {
      fail("YAML document exceeds the limit of " + std::to_string(kYamlMaxScalarBytes) +
               " bytes of scalar text (an alias counts all the text it repeats)",
           mark);
    }
  }

  [[noreturn]] void fail_depth(const yaml_mark_t& mark) {
    fail("YAML nesting exceeds the limit of " + std::to_string(kYamlMaxDepth) + " levels", mark);
  }

  void on_scalar(const yaml_event_t& e) {
    const auto& s = e.data.scalar;
    const std::string_view text(reinterpret_cast<const char*>(s.value), s.length);
    count(1, text.size(), e.start_mark);
    const Tag tag = classify_tag(s.tag, e.start_mark);
    if (tag.kind == TagKind::sequence || tag.kind == TagKind::mapping) {
      fail("tag '" + shown_tag(chars(s.tag)) + "' cannot be applied to a scalar", e.start_mark);
    }
    const bool plain_untagged = s.tag == nullptr && s.style == YAML_PLAIN_SCALAR_STYLE;
    ScalarRead read;
    if (tag.kind == TagKind::scalar) {
      read = read_tagged_scalar(tag.scalar_type, text);
    } else if (plain_untagged) {
      read = read_plain_scalar(text);
    } else {
      read = {ScalarRead::Status::ok, Value(text)};
    }
    if (read.status == ScalarRead::Status::out_of_range) {
      fail("integer " + shown_text(text) + " does not fit in 64 bits", e.start_mark);
    }
    if (read.status == ScalarRead::Status::no_match) {
      fail("cannot read " + shown_text(text) + " as " + std::string(type_name(tag.scalar_type)) +
               " (tag '" + shown_tag(chars(s.tag)) + "')",
           e.start_mark);
    }
    YamlNode& node = graph_.nodes.emplace_back();
    node.text = text.size();
    node.merge_key = plain_untagged && text == "<<";
    node.scalar = std::move(read.value);
    added(chars(s.anchor), e.start_mark);
  }

  void on_start(YamlNode::Kind kind, const yaml_char_t* raw_tag, const yaml_char_t* anchor,
                const yaml_mark_t& mark) {
    const Tag tag = classify_tag(raw_tag, mark);
    if (tag.kind == TagKind::scalar ||
        (tag.kind == TagKind::sequence && kind != YamlNode::Kind::sequence) ||
        (tag.kind == TagKind::mapping && kind != YamlNode::Kind::mapping)) {
      fail("tag '" + shown_tag(chars(raw_tag)) + "' cannot be applied to " + kind_noun(kind), mark);
    }
    if (open_.size() + 1 > kYamlMaxDepth) fail_depth(mark);
    count(1, 0, mark);
    open_.push_back(
        {kind, std::string(chars(anchor)), mark, pending_.size(), total_nodes_ - 1, total_text_});
    if (!open_.back().anchor.empty()) anchors_[open_.back().anchor] = kOpen;
  }

  void on_end() {
    Open o = std::move(open_.back());
    open_.pop_back();
    YamlNode& node = graph_.nodes.emplace_back();
    node.kind = o.kind;
    node.has_merge = o.has_merge;
    node.height = o.child_height + 1;
    node.first_child = static_cast<std::uint32_t>(graph_.children.size());
    node.child_count = static_cast<std::uint32_t>(pending_.size() - o.first_pending);
    const auto first = static_cast<std::ptrdiff_t>(o.first_pending);
    graph_.children.insert(graph_.children.end(), pending_.begin() + first, pending_.end());
    graph_.child_marks.insert(graph_.child_marks.end(), pending_marks_.begin() + first,
                              pending_marks_.end());
    pending_.resize(o.first_pending);
    pending_marks_.resize(o.first_pending);
    node.nodes = total_nodes_ - o.nodes_before;
    node.text = total_text_ - o.text_before;
    added(o.anchor, o.start);
  }

  void on_alias(std::string_view anchor, const yaml_mark_t& mark) {
    const auto it = anchors_.find(std::string(anchor));
    if (it == anchors_.end()) fail("found undefined alias '*" + std::string(anchor) + "'", mark);
    if (it->second == kOpen) {
      fail("alias '*" + std::string(anchor) + "' refers to a collection that contains it", mark);
    }
    YamlNode& target = graph_.nodes[it->second];
    if (open_.size() + target.height > kYamlMaxDepth) fail_depth(mark);
    count(target.nodes, target.text, mark);
    target.aliased = true;
    attach(it->second, mark);
  }

  // Registers the node just placed last in the graph.
  void added(std::string_view anchor, const yaml_mark_t& mark) {
    const auto index = static_cast<std::uint32_t>(graph_.nodes.size() - 1);
    if (!anchor.empty()) anchors_[std::string(anchor)] = index;
    attach(index, mark);
  }

  // Makes node `index` the next child of the innermost open collection, or
  // the document's root.
  void attach(std::uint32_t index, const yaml_mark_t& mark) {
    if (open_.empty()) {
      graph_.root = index;
      graph_.root_mark = text_position(mark);
      return;
    }
    Open& parent = open_.back();
    const YamlNode& child = graph_.nodes[index];
    parent.child_height = std::max(parent.child_height, child.height);
    if (parent.kind == YamlNode::Kind::mapping) {
      if ((pending_.size() - parent.first_pending) % 2 == 0) {
        check_key(child, mark);
        parent.key_is_merge = child.merge_key;
        parent.has_merge = parent.has_merge || child.merge_key;
      } else if (parent.key_is_merge) {
        check_merge_value(child, mark);
      }
    }
    pending_.push_back(index);
    pending_marks_.push_back(text_position(mark));
  }

  static void check_key(const YamlNode& key, const yaml_mark_t& mark) {
    if (key.kind != YamlNode::Kind::scalar) {
      fail(std::string(kind_noun(key.kind)) + " cannot be a mapping key; keys must be scalars",
           mark);
    }
  }

  void check_merge_value(const YamlNode& value, const yaml_mark_t& mark) const {
    bool ok = value.kind == YamlNode::Kind::mapping;
    if (value.kind == YamlNode::Kind::sequence) {
      ok = true;
      for (std::uint32_t i = 0; i < value.child_count; ++i) {
        const YamlNode& item = graph_.nodes[graph_.children[value.first_child + i]];
        ok = ok && item.kind == YamlNode::Kind::mapping;
      }
    }
    if (!ok) fail("a merge key '<<' needs a mapping or a sequence of mappings", mark);
  }

  std::string_view text_;
  Parser parser_;
  YamlGraph graph_;
  std::vector<Open> open_;
  std::vector<std::uint32_t> pending_;       // children of the open collections, innermost last
  std::vector<TextPosition> pending_marks_;  // where each of pending_ stands
  std::unordered_map<std::string, std::uint32_t> anchors_;
  int documents_ = 0;
  std::size_t total_nodes_ = 0;
  std::size_t total_text_ = 0;
};

}  // namespace

YamlGraph compose_yaml(std::string_view text) { return Composer(text).run(); }

}  // namespace tessik::detail
