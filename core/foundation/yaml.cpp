#include <tessik/foundation/yaml.hpp>

#include <string>
#include <utility>
#include <vector>

#include <tessik/foundation/detail/yaml_build.hpp>
#include <tessik/foundation/detail/yaml_compose.hpp>
#include <tessik/foundation/errors.hpp>

// Loading runs in two passes. compose_yaml turns libyaml's events into a graph
// in which an alias is a shared reference and enforces every limit while
// doing so; build_yaml_value expands that graph into a Value tree, copying
// aliased subtrees and resolving merge keys.

namespace tessik {
namespace {

void check_size(std::string_view text) {
  if (text.size() > kYamlMaxInputBytes) {
    throw YamlError("YAML text of " + std::to_string(text.size()) + " bytes exceeds the limit of " +
                    std::to_string(kYamlMaxInputBytes) + " bytes");
  }
}

void shift(TextPosition& at, std::size_t lines) { at.line += lines; }

void shift(YamlPlace& place, std::size_t lines) {
  // Depth-first with an explicit stack: a place tree is as deep as its
  // document.
  std::vector<YamlPlace*> todo{&place};
  while (!todo.empty()) {
    YamlPlace* p = todo.back();
    todo.pop_back();
    shift(p->key, lines);
    shift(p->value, lines);
    for (YamlPlace& child : p->children) todo.push_back(&child);
  }
}

}  // namespace

Value load_yaml(std::string_view text) {
  check_size(text);
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  detail::YamlGraph graph = detail::compose_yaml(text);
  if (!graph.root) return {};
  return detail::build_yaml_value(graph, nullptr);
}

YamlDocument load_yaml_document(std::string_view text, std::size_t first_line) {
  check_size(text);
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  const std::size_t lines = first_line > 0 ? first_line - 1 : 0;
  detail::YamlGraph graph;
  try {
    graph = detail::compose_yaml(text);
  } catch (YamlError& e) {
    if (e.position()) {
      TextPosition at = *e.position();
      shift(at, lines);
      e.set_position(at);
    }
    throw;
  }
  YamlDocument document;
  if (!graph.root) {
    document.place.key = document.place.value = {first_line > 0 ? first_line : 1, 1};
    return document;
  }
  document.value = detail::build_yaml_value(graph, &document.place);
  if (lines > 0) shift(document.place, lines);
  return document;
}

const YamlPlace* find_place(const Value& mapping, const YamlPlace& place, std::string_view key) {
  if (!mapping.is_mapping() || place.children.size() != mapping.as_mapping().size()) {
    return nullptr;
  }
  std::size_t i = 0;
  for (const auto& entry : mapping.as_mapping()) {
    if (entry.first.is_string() && entry.first.as_string() == key) return &place.children[i];
    ++i;
  }
  return nullptr;
}

}  // namespace tessik
