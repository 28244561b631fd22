// The YAML definition format: the whole file is one mapping.
#include <string>

#include <tessik/agent_loader/definitions/detail/definition_file.hpp>
#include <tessik/agent_loader/definitions/detail/paths.hpp>
#include <tessik/agent_loader/definitions/parsers.hpp>
#include <tessik/foundation/text.hpp>

namespace tessik {

bool YAMLAgentParser::can_parse(const std::filesystem::path& path) const {
  const std::string suffix = detail::path_suffix(path);
  return suffix == ".yaml" || suffix == ".yml";
}

AgentDefinition YAMLAgentParser::parse(const std::filesystem::path& path) const {
  // Tidied once, as the Markdown parser does.
  const std::filesystem::path file = path_text(path);
  const std::string text = detail::read_definition_text(file);
  const YamlDocument document = detail::load_definition_mapping(text, file);
  return detail::finish_definition(document.value, file, &document.place);
}

}  // namespace tessik
