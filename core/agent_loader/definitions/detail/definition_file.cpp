#include <tessik/agent_loader/definitions/detail/definition_file.hpp>

#include <cerrno>
#include <system_error>

#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/text.hpp>
#include <tessik/foundation/yaml.hpp>
#include <tessik/agent_loader/findings/detail/category.hpp>
#include <tessik/agent_loader/definitions/detail/guard_rails.hpp>
#include <tessik/agent_loader/definitions/parsers.hpp>
#include <tessik/agent_loader/definitions/detail/dict_to_definition.hpp>

namespace tessik::detail {

// A file that passes the size check must never trip the YAML loader's own
// input limit instead, whose message would not name the file.
static_assert(MAX_DEFINITION_FILE_BYTES <= kYamlMaxInputBytes);

std::string read_definition_text(const std::filesystem::path& path) {
  // A pipe or device could block the open or never end; only regular files
  // and directories (which fail with the platform's error) are opened.
  std::error_code ec;
  const std::filesystem::file_status status = std::filesystem::status(path, ec);
  if (!ec && !std::filesystem::is_regular_file(status) && !std::filesystem::is_directory(status)) {
    throw FileSystemError("Agent definition file " + path_text(path) + " is not a regular file",
                          EINVAL);
  }
  return read_text_file(path, MAX_DEFINITION_FILE_BYTES);
}

Value load_definition_mapping(std::string_view yaml, const std::filesystem::path& path) {
  Value data = load_yaml(yaml);
  if (!data.truthy()) return Value::Mapping{};
  if (!data.is_mapping()) {
    throw TypeError("Agent definition " + path_text(path) +
                    " must hold a mapping of definition keys, not " +
                    std::string(Value::kind_name(data.kind())));
  }
  return data;
}

AgentDefinition finish_definition(const Value& data, const std::filesystem::path& path) {
  const std::string source = path_text(path);
  AgentDefinition definition = dict_to_definition(data, source);
  if (AGENT_CANONICAL_CATEGORY.contains(definition.name)) {
    if (!definition.system_prompt.is_string()) {
      throw TypeError("Agent definition " + source + ": 'system_prompt' of built-in agent '" +
                      definition.name + "' must be a string, not " +
                      std::string(Value::kind_name(definition.system_prompt.kind())));
    }
    definition.system_prompt = prepend_guard_rails(definition.system_prompt.as_string());
  }
  return definition;
}

}  // namespace tessik::detail
