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

  // Positions count the file's lines: the front-matter starts below the
  // opening delimiter and the blank lines it swallows.
  const std::size_t first_line =
      detail::position_of_offset(text,
                                 static_cast<std::size_t>(split->front_matter.data() - text.data()))
          .line;
  YamlDocument front_matter =
      detail::load_definition_mapping(split->front_matter, file, first_line);
  // The key's presence decides, not its value: a "system_prompt" of "" or
  // null keeps the body out.
  const std::string_view body = strip(split->body);
  Value::Mapping& keys = front_matter.value.as_mapping();
  if (!body.empty() && !keys.contains("system_prompt")) {
    keys.set("system_prompt", body);
    const TextPosition at =
        detail::position_of_offset(text, static_cast<std::size_t>(body.data() - text.data()));
    front_matter.place.children.push_back({at, at, {}});
  }
  return detail::finish_definition(front_matter.value, file, &front_matter.place);
}

}  // namespace tessik
