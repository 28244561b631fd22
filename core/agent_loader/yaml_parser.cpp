#include "definition_file.hpp"
#include "parsers.hpp"
#include "paths.hpp"

namespace tessik {

bool YAMLAgentParser::can_parse(const std::filesystem::path& path) const {
  const std::string suffix = detail::path_suffix(path);
  return suffix == ".yaml" || suffix == ".yml";
}

AgentDefinition YAMLAgentParser::parse(const std::filesystem::path& path) const {
  const std::string text = detail::read_definition_text(path);
  return detail::finish_definition(detail::load_definition_mapping(text, path), path);
}

}  // namespace tessik
