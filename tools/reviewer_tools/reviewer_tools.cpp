// read_file and read_lines, and the assembly of the three tools.
#include "reviewer_tools/reviewer_tools.hpp"

#include "reviewer_tools/confined_tool.hpp"
#include "reviewer_tools/find_code.hpp"

namespace tessik::cli {
namespace {

constexpr const char* PATH_HELP =
    "path of a file relative to the repository's top level, e.g. src/main.cpp";

class ReadFileTool final : public ConfinedTool {
 public:
  using ConfinedTool::ConfinedTool;
  Value tool_definition() const override {
    return tool_definition_value(
        "read_file",
        "Read a whole file of the repository as it is after the reviewed change. Paths are "
        "relative to the repository's top level; files under .git/, files git ignores, binary "
        "files and paths outside the repository are refused. Long answers are truncated.",
        Value::Mapping{{"path", schema_property("string", PATH_HELP)}}, {"path"});
  }

 protected:
  std::string answer(const Value& input) const override {
    return tree().read(*text_input(input, "path", true));
  }
};

// Lines [first, last] of `text` (1-based), each as "<number>| <line>",
// numbers right-aligned; the header names the range actually shown.
std::string numbered_lines(const std::string& path, std::string_view text, std::int64_t first,
                           std::int64_t last) {
  std::vector<std::string_view> lines;
  for (std::size_t start = 0; start < text.size();) {
    std::size_t end = text.find('\n', start);
    if (end == std::string_view::npos) end = text.size();
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  const auto count = static_cast<std::int64_t>(lines.size());
  if (first > count) {
    throw ToolRefusal(quoted_path(path) + " has " + std::to_string(count) + " lines; start_line " +
                      std::to_string(first) + " lies beyond its end");
  }
  last = std::min(last, count);
  const std::size_t width = std::to_string(last).size();
  std::string out = path + ", lines " + std::to_string(first) + "-" + std::to_string(last) +
                    " of " + std::to_string(count) + ":\n";
  for (std::int64_t n = first; n <= last; ++n) {
    const std::string number = std::to_string(n);
    out.append(width - number.size(), ' ').append(number).append("| ");
    out.append(lines[static_cast<std::size_t>(n - 1)]).append("\n");
  }
  return out;
}

class ReadLinesTool final : public ConfinedTool {
 public:
  using ConfinedTool::ConfinedTool;
  Value tool_definition() const override {
    return tool_definition_value(
        "read_lines",
        "Read some lines of a file of the repository as it is after the reviewed change, each "
        "line prefixed with its number. Lines are counted from 1; end_line is included and may "
        "lie past the file's end. The same paths as read_file are refused.",
        Value::Mapping{{"path", schema_property("string", PATH_HELP)},
                       {"start_line", schema_property("integer", "first line to show, from 1")},
                       {"end_line", schema_property("integer", "last line to show, included")}},
        {"path", "start_line", "end_line"});
  }

 protected:
  std::string answer(const Value& input) const override {
    const std::string path = *text_input(input, "path", true);
    const std::int64_t first = *int_input(input, "start_line", true);
    const std::int64_t last = *int_input(input, "end_line", true);
    if (first < 1) throw ToolRefusal("start_line must be 1 or more");
    if (last < first) throw ToolRefusal("end_line must not be before start_line");
    const std::string text = tree().read(path);
    return numbered_lines(confined_path(path), text, first, last);
  }
};

}  // namespace

ReviewerTools make_reviewer_tools(const std::shared_ptr<const SourceTree>& tree) {
  return {.read_file_tool = std::make_shared<ReadFileTool>(tree),
          .read_lines_tool = std::make_shared<ReadLinesTool>(tree),
          .find_code_tool = make_find_code_tool(tree)};
}

}  // namespace tessik::cli
