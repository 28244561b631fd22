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

std::string_view source_line(const std::string& text, std::size_t line) {
  std::size_t start = 0;
  for (std::size_t i = 1; i < line; ++i) {
    start = text.find('\n', start);
    if (start == std::string::npos) return {};
    ++start;
  }
  const std::size_t end = std::min(text.find('\n', start), text.size());
  return std::string_view(text).substr(start, end - start);
}

TextPosition clamp_to_text(const std::string& text, TextPosition at) {
  const std::size_t lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) +
                            (text.empty() || text.back() != '\n' ? 1 : 0);
  const std::size_t last = std::max<std::size_t>(lines, 1);
  if (at.line > last) {
    // The end of the text: past the last character of the last line.
    at = {last, std::numeric_limits<std::size_t>::max()};
  }
  at.line = std::max<std::size_t>(at.line, 1);
  const std::size_t width = code_point_count(source_line(text, at.line));
  at.column = std::clamp<std::size_t>(at.column, 1, width + 1);
  return at;
}

}  // namespace tessik::lint
