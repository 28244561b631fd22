#include <tessik/agent_loader/definitions/detail/parsers.hpp>
#include <tessik/agent_loader/definitions/parsers.hpp>

#include <memory>

#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/text.hpp>

namespace tessik {

const ParserList& default_parsers() {
  static const ParserList parsers{std::make_shared<const YAMLAgentParser>(),
                                  std::make_shared<const MarkdownAgentParser>()};
  return parsers;
}

AgentDefinition load_agent_definition(const std::filesystem::path& path) {
  // The parser is chosen on the tidied path it then reads; only the refusal
  // names the path exactly as the caller passed it.
  const std::filesystem::path file = path_text(path);
  for (const auto& parser : default_parsers()) {
    if (parser->can_parse(file)) return parser->parse(file);
  }
  throw InvalidValueError("No parser for agent definition file: " + path.string());
}

namespace detail {

const ParserList& DEFAULT_PARSERS = default_parsers();

}  // namespace detail
}  // namespace tessik
