// The Markdown definition format: front-matter, then the prompt.
#include <string>
#include <string_view>

#include <tessik/agent_loader/definitions/detail/definition_file.hpp>
#include <tessik/agent_loader/definitions/detail/front_matter.hpp>
#include <tessik/agent_loader/definitions/detail/paths.hpp>
#include <tessik/agent_loader/definitions/parsers.hpp>
#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/text.hpp>
#include <tessik/foundation/value.hpp>

namespace tessik {

bool MarkdownAgentParser::can_parse(const std::filesystem::path& path) const {
  return detail::path_suffix(path) == ".md";
}

AgentDefinition MarkdownAgentParser::parse(const std::filesystem::path& path) const {
  // Tidied once ("d/x.md/" is "d/x.md"): the name `can_parse` judged is the
  // file read and the source every message names.
  const std::filesystem::path file = path_text(path);
  const std::string text = detail::read_definition_text(file);
  const auto split = detail::split_front_matter(text);
  if (!split) throw InvalidValueError("No YAML front-matter found in " + file.native());

  Value front_matter = detail::load_definition_mapping(split->front_matter, file);
  // The key's presence decides, not its value: a "system_prompt" of "" or
  // null keeps the body out.
  const std::string_view body = strip(split->body);
  if (!body.empty() && !front_matter.as_mapping().contains("system_prompt")) {
    front_matter.as_mapping().set("system_prompt", body);
  }
  return detail::finish_definition(front_matter, file);
}

}  // namespace tessik
