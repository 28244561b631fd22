#include "lint/definition_source.hpp"

#include <algorithm>
#include <exception>
#include <limits>

#include <tessik/agent_loader/definitions/detail/definition_file.hpp>
#include <tessik/agent_loader/definitions/detail/front_matter.hpp>
#include <tessik/agent_loader/definitions/detail/paths.hpp>
#include <tessik/foundation/text.hpp>

namespace tessik::lint {

std::optional<DefinitionSource> read_definition_source(const std::filesystem::path& file) {
  const std::string suffix = detail::path_suffix(file);
  const bool markdown = suffix == ".md";
  if (!markdown && suffix != ".yaml" && suffix != ".yml") return std::nullopt;
  DefinitionSource source{.markdown = markdown};
  try {
    source.text = detail::read_definition_text(file);
  } catch (const std::exception&) {
    return std::nullopt;
  }
  // A text ending in a line end has no line after it.
  source.line_starts.push_back(0);
  for (std::size_t i = 0; i < source.text.size(); ++i) {
    if (source.text[i] == '\n' && i + 1 < source.text.size()) source.line_starts.push_back(i + 1);
  }
  try {
    std::string_view yaml = source.text;
    std::size_t first_line = 1;
    if (markdown) {
      const auto split = detail::split_front_matter(source.text);
      if (!split) return source;
      yaml = split->front_matter;
      first_line = detail::position_of_offset(
                       source.text,
                       static_cast<std::size_t>(split->front_matter.data() - source.text.data()))
                       .line;
      const std::string_view body = strip(split->body);
      if (!body.empty()) {
        source.body_at = detail::position_of_offset(
            source.text, static_cast<std::size_t>(body.data() - source.text.data()));
      }
    }
    source.document = detail::load_definition_mapping(yaml, file, first_line);
  } catch (const std::exception&) {
    source.document.reset();
  }
  return source;
}

std::string_view source_line(const DefinitionSource& source, std::size_t line) {
  if (line == 0 || line > source.line_starts.size()) return {};
  const std::size_t start = source.line_starts[line - 1];
  const std::size_t end = std::min(source.text.find('\n', start), source.text.size());
  return std::string_view(source.text).substr(start, end - start);
}

TextPosition clamp_to_text(const DefinitionSource& source, TextPosition at) {
  const std::size_t last = std::max<std::size_t>(source.line_starts.size(), 1);
  if (at.line > last) {
    // The end of the text: past the last character of the last line.
    at = {last, std::numeric_limits<std::size_t>::max()};
  }
  at.line = std::max<std::size_t>(at.line, 1);
  const std::size_t width = code_point_count(source_line(source, at.line));
  at.column = std::clamp<std::size_t>(at.column, 1, width + 1);
  return at;
}

}  // namespace tessik::lint
