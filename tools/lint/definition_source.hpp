// A definition file read the way its parser reads it, kept whole for the
// lints: its text, its YAML with the place of every node, and a Markdown
// body's place.
#ifndef TESSIK_TOOLS_LINT_DEFINITION_SOURCE_HPP_
#define TESSIK_TOOLS_LINT_DEFINITION_SOURCE_HPP_

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/yaml.hpp>

namespace tessik::lint {

struct DefinitionSource {
  std::string text{};                      // as the parser reads it: UTF-8, LF line ends
  std::vector<std::size_t> line_starts{};  // byte offset of each line of `text`
  bool markdown = false;                   // a front-matter file
  // The definition mapping (an empty document gives {}); absent when the
  // YAML cannot be loaded as a mapping or a Markdown file has no
  // front-matter.
  std::optional<YamlDocument> document{};
  // A Markdown body that is not blank: where it starts after trimming.
  std::optional<TextPosition> body_at{};
};

// Reads `file` as the parser of its suffix would; nullopt when the file has
// no parser or cannot be read as text (the loader's own failure reports
// those). Never throws for bad input.
std::optional<DefinitionSource> read_definition_source(const std::filesystem::path& file);

// The text of `source.text`'s line `line` (from 1), without its line end;
// empty past the end. Constant time.
std::string_view source_line(const DefinitionSource& source, std::size_t line);

// `at` moved into `source.text`: a line past the last becomes the end of the
// last line, a column past its line's end the column just after that end.
// Columns count characters. Time linear in the length of one line.
TextPosition clamp_to_text(const DefinitionSource& source, TextPosition at);

}  // namespace tessik::lint

#endif  // TESSIK_TOOLS_LINT_DEFINITION_SOURCE_HPP_
