// The steps that both definition file formats share: reading the file,
// loading a YAML mapping from it, and turning that mapping into a finished
// definition. The parsers (parsers.hpp) are built from these.
#ifndef TESSIK_AGENT_LOADER_DEFINITIONS_DETAIL_DEFINITION_FILE_HPP_
#define TESSIK_AGENT_LOADER_DEFINITIONS_DETAIL_DEFINITION_FILE_HPP_

#include <filesystem>
#include <string>
#include <string_view>

#include <tessik/agent_loader/definitions/agent_definition.hpp>
#include <tessik/foundation/value.hpp>
#include <tessik/foundation/yaml.hpp>

namespace tessik::detail {

// The file's text: strict UTF-8 with CR LF and lone CR turned into LF.
// Throws FileSystemError for a missing or unreadable path or a directory (the
// platform's error) and for a file that is neither a regular file nor a
// directory (a pipe or device could block or never end);
// InvalidValueError for a file larger than MAX_DEFINITION_FILE_BYTES, whose
// size is checked before it is read; UnicodeDecodeError for invalid UTF-8.
std::string read_definition_text(const std::filesystem::path& path);

// The YAML of a definition as a mapping, with the place of every node;
// `first_line` is the file line the YAML starts on. A document whose truth
// value is false (null, false, 0, "", an empty collection) gives the empty
// mapping; any other non-mapping throws TypeError naming `path` and
// carrying the document's position. Throws YamlError from the loader, its
// position counted in the file.
YamlDocument load_definition_mapping(std::string_view yaml, const std::filesystem::path& path,
                                     std::size_t first_line = 1);

// `dict_to_definition` of `data` with the path text as source, then the
// guard-rails step: a definition named after a built-in agent gets its
// system prompt through `prepend_guard_rails`. Throws TypeError when such a
// definition's system prompt is not a string. With `place` (the place tree
// of `data`), a failure about one key carries that key's value position.
AgentDefinition finish_definition(const Value& data, const std::filesystem::path& path,
                                  const YamlPlace* place = nullptr);

}  // namespace tessik::detail

#endif  // TESSIK_AGENT_LOADER_DEFINITIONS_DETAIL_DEFINITION_FILE_HPP_
