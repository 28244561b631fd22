#include "report/workflow_command.hpp"

namespace tessik::cli {

std::string workflow_escape(std::string_view text, bool property) {
  std::string out;
  out.reserve(text.size());
  for (const char c : text) {
    if (c == '%') {
      out += "%25";
    } else if (c == '\r') {
      out += "%0D";
    } else if (c == '\n') {
      out += "%0A";
    } else if (property && c == ':') {
      out += "%3A";
    } else if (property && c == ',') {
      out += "%2C";
    } else {
      out += c;
    }
  }
  return out;
}

std::string annotation_line(const Annotation& a) {
  std::string out = "::" + std::string(a.level);
  char separator = ' ';
  const auto add = [&](std::string_view key, std::string_view value) {
    out += separator;
    out += key;
    out += '=';
    out += value;
    separator = ',';
  };
  if (!a.file.empty()) add("file", workflow_escape(a.file, true));
  if (a.line > 0) add("line", std::to_string(a.line));
  if (a.end_line > a.line && a.line > 0) add("endLine", std::to_string(a.end_line));
  if (a.column > 0) add("col", std::to_string(a.column));
  if (!a.title.empty()) add("title", workflow_escape(a.title, true));
  out += "::";
  out += workflow_escape(a.message, false);
  return out;
}

}  // namespace tessik::cli
