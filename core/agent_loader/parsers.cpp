#include "parsers.hpp"

#include "../errors.hpp"

namespace tessik {

const ParserList& default_parsers() {
  static const ParserList parsers{std::make_shared<const YAMLAgentParser>(),
                                  std::make_shared<const MarkdownAgentParser>()};
  return parsers;
}

AgentDefinition load_agent_definition(const std::filesystem::path& path) {
  for (const auto& parser : default_parsers()) {
    if (parser->can_parse(path)) return parser->parse(path);
  }
  throw InvalidValueError("No parser for agent definition file: " + path.string());
}

namespace detail {

const ParserList& DEFAULT_PARSERS = default_parsers();

}  // namespace detail
}  // namespace tessik
