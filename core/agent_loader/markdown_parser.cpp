#include "../errors.hpp"
#include "../text.hpp"
#include "definition_file.hpp"
#include "front_matter.hpp"
#include "parsers.hpp"
#include "paths.hpp"

namespace tessik {

bool MarkdownAgentParser::can_parse(const std::filesystem::path& path) const {
  return detail::path_suffix(path) == ".md";
}

AgentDefinition MarkdownAgentParser::parse(const std::filesystem::path& path) const {
  const std::string text = detail::read_definition_text(path);
  const auto split = detail::split_front_matter(text);
  if (!split) throw InvalidValueError("No YAML front-matter found in " + path_text(path));

  Value front_matter = detail::load_definition_mapping(split->front_matter, path);
  // The key's presence decides, not its value: a "system_prompt" of "" or
  // null keeps the body out.
  const std::string_view body = strip(split->body);
  if (!body.empty() && !front_matter.as_mapping().contains("system_prompt")) {
    front_matter.as_mapping().set("system_prompt", body);
  }
  return detail::finish_definition(front_matter, path);
}

}  // namespace tessik
