#include "reviewer_tools/find_code.hpp"

#include <cctype>

#include <tessik/foundation/detail/regex.hpp>
#include <tessik/foundation/limits.hpp>
#include <tessik/foundation/text.hpp>

#include "reviewer_tools/confined_tool.hpp"

namespace tessik::cli {
namespace {

constexpr std::int64_t DEFAULT_RESULTS = 50;
// A matching line is shown cut to this many characters.
constexpr std::size_t SHOWN_LINE_CHARS = 200;

struct Search {
  const detail::Regex* regex;
  std::size_t max_results;
  std::size_t results = 0;
  std::size_t files_with_matches = 0;
  std::size_t bytes_scanned = 0;
  std::string lines{};
};

// Adds "path:line: text" for every line of `text` with a match, one entry per
// line, until the result cap. Returns false once the cap is reached.
bool search_file(Search& s, const std::string& path, std::string_view text) {
  std::size_t pos = 0, line_number = 1, counted_to = 0;
  bool matched = false;
  while (pos <= text.size()) {
    const auto m = s.regex->find(text, pos);
    if (!m) break;
    for (; counted_to < m->begin(); ++counted_to) line_number += text[counted_to] == '\n';
    const std::size_t line_start = text.rfind('\n', m->begin() == 0 ? 0 : m->begin() - 1);
    const std::size_t begin =
        m->begin() == 0 || line_start == std::string_view::npos ? 0 : line_start + 1;
    std::size_t end = text.find('\n', m->begin());
    if (end == std::string_view::npos) end = text.size();
    if (s.results == s.max_results) return false;
    const std::string_view line = text.substr(begin, end - begin);
    s.lines += path + ":" + std::to_string(line_number) + ": " +
               std::string(first_code_points(line, SHOWN_LINE_CHARS)) + "\n";
    ++s.results;
    matched = true;
    pos = end + 1;
  }
  s.files_with_matches += matched;
  return true;
}

std::string run_search(const SourceTree& tree, const std::string& where, Search& s) {
  const SourceListing listing = tree.list(where, limits::kToolSearchFiles);
  std::string stop;
  for (const std::string& path : listing.paths) {
    std::string text;
    try {
      text = tree.read(path);
    } catch (const ToolRefusal&) {
      continue;  // binary, too large or refused through a link: not searched
    }
    if (text.size() > limits::kToolSearchBytes - s.bytes_scanned) {
      stop = "[search stopped: more than " + std::to_string(limits::kToolSearchBytes) +
             " bytes of files to scan]\n";
      break;
    }
    s.bytes_scanned += text.size();
    if (!search_file(s, path, text)) {
      stop = "[stopped after " + std::to_string(s.max_results) + " matching lines]\n";
      break;
    }
  }
  if (stop.empty() && listing.truncated) {
    stop = "[search stopped: more than " + std::to_string(limits::kToolSearchFiles) + " files]\n";
  }
  if (s.results == 0) return "no matches\n" + stop;
  return s.lines + stop + std::to_string(s.results) + " matching lines in " +
         std::to_string(s.files_with_matches) + " files\n";
}

class FindCodeTool final : public ConfinedTool {
 public:
  using ConfinedTool::ConfinedTool;
  Value tool_definition() const override {
    return tool_definition_value(
        "find_code",
        "Search the repository's files as they are after the reviewed change for a literal text "
        "(or, with regex true, a PCRE2 regular expression; \\S is not supported) and list the "
        "matching lines as path:line: text. Ignored, binary and .git files are never searched.",
        Value::Mapping{
            {"pattern", schema_property("string", "the text (or regular expression) to find")},
            {"regex", schema_property("boolean", "true: pattern is a regular expression")},
            {"path", schema_property("string", "directory or file to search; default: all")},
            {"max_results", schema_property("integer", "most matching lines to list, 1-200")}},
        {"pattern"});
  }

 protected:
  std::string answer(const Value& input) const override {
    const std::string pattern = *text_input(input, "pattern", true);
    if (pattern.empty()) throw ToolRefusal("\"pattern\" is empty");
    if (pattern.size() > limits::kToolPatternBytes) {
      throw ToolRefusal("\"pattern\" is longer than " + std::to_string(limits::kToolPatternBytes) +
                        " bytes");
    }
    if (pattern.find('\0') != std::string::npos) throw ToolRefusal("\"pattern\" holds a NUL byte");
    const std::int64_t wanted = int_input(input, "max_results", false).value_or(DEFAULT_RESULTS);
    const auto cap = static_cast<std::int64_t>(limits::kToolSearchResults);
    if (wanted < 1 || wanted > cap) {
      throw ToolRefusal("\"max_results\" must lie between 1 and " + std::to_string(cap));
    }
    const bool is_regex = bool_input(input, "regex").value_or(false);
    std::unique_ptr<detail::Regex> regex;
    try {
      regex = std::make_unique<detail::Regex>("find_code pattern",
                                              is_regex ? pattern : literal_pattern(pattern),
                                              detail::RegexOptions{.multi_line = true});
    } catch (const std::logic_error& e) {
      throw ToolRefusal(std::string("the pattern is not a valid regular expression: ") + e.what());
    }
    Search s{.regex = regex.get(), .max_results = static_cast<std::size_t>(wanted)};
    return run_search(tree(), text_input(input, "path", false).value_or("."), s);
  }
};

}  // namespace

std::string literal_pattern(std::string_view text) {
  std::string out;
  for (char c : text) {
    const auto u = static_cast<unsigned char>(c);
    if (u < 0x80 && !std::isalnum(u) && c != '_') out += '\\';
    out += c;
  }
  return out;
}

std::shared_ptr<ReviewerTool> make_find_code_tool(std::shared_ptr<const SourceTree> tree) {
  return std::make_shared<FindCodeTool>(std::move(tree));
}

}  // namespace tessik::cli
