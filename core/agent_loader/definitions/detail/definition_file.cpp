#include <tessik/agent_loader/definitions/detail/definition_file.hpp>

#include <tessik/agent_loader/definitions/detail/dict_to_definition.hpp>
#include <tessik/agent_loader/definitions/detail/guard_rails.hpp>
#include <tessik/agent_loader/definitions/parsers.hpp>
#include <tessik/agent_loader/findings/detail/category.hpp>
#include <tessik/foundation/detail/value_words.hpp>
#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/text.hpp>
#include <tessik/foundation/yaml.hpp>

namespace tessik::detail {

// A file that passes the size check must never trip the YAML loader's own
// input limit instead, whose message would not name the file.
static_assert(MAX_DEFINITION_FILE_BYTES <= kYamlMaxInputBytes);

std::string read_definition_text(const std::filesystem::path& path) {
  // The reader opens without blocking and refuses anything but a regular
  // file before reading a byte, so a FIFO or a device named as a definition
  // fails at once instead of hanging the load.
  return read_text_file(path, MAX_DEFINITION_FILE_BYTES);
}

YamlDocument load_definition_mapping(std::string_view yaml, const std::filesystem::path& path,
                                     std::size_t first_line) {
  YamlDocument document = load_yaml_document(yaml, first_line);
  const Value& data = document.value;
  if (!data.truthy()) {
    document.value = Value::Mapping{};
    document.place.children.clear();
    return document;
  }
  if (!data.is_mapping()) {
    TypeError error("Agent definition " + path_text(path) +
                    ": expected a mapping of definition keys, got " + describe_value(data));
    error.set_position(document.place.value);
    throw error;  // NOLINT(misc-throw-by-value-catch-by-reference): built, then positioned
  }
  return document;
}

AgentDefinition finish_definition(const Value& data, const std::filesystem::path& path,
                                  const YamlPlace* place) {
  const std::string source = path_text(path);
  AgentDefinition definition = dict_to_definition(data, source, place);
  if (AGENT_CANONICAL_CATEGORY.contains(definition.name)) {
    if (!definition.system_prompt.is_string()) {
      TypeError error("Agent definition key 'system_prompt' in " + source +
                      ": the built-in agent '" + definition.name +
                      "' needs a text to put the guard rails in front of, got " +
                      describe_value(definition.system_prompt));
      const YamlPlace* at = place ? find_place(data, *place, "system_prompt") : nullptr;
      if (at != nullptr) error.set_position(at->value);
      throw error;  // NOLINT(misc-throw-by-value-catch-by-reference): built, then positioned
    }
    definition.system_prompt = prepend_guard_rails(definition.system_prompt.as_string());
  }
  return definition;
}

}  // namespace tessik::detail
