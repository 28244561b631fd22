// The line-oriented formats: text and GitHub workflow annotations.
#include <ostream>

#include "lint/reports.hpp"
#include "report/render.hpp"
#include "report/workflow_command.hpp"

namespace tessik::lint {
namespace {

std::string plural(std::size_t n, const char* word) {
  return std::to_string(n) + " " + word + (n == 1 ? "" : "s");
}

}  // namespace

Totals count(const std::vector<FileReport>& reports) {
  Totals t{.files = reports.size()};
  for (const FileReport& r : reports) {
    for (const Diagnostic& d : r.diagnostics) {
      ++(d.severity == Severity::error     ? t.errors
         : d.severity == Severity::warning ? t.warnings
                                           : t.notes);
    }
  }
  return t;
}

std::string summary_line(const Totals& t) {
  std::string line = plural(t.files, "file") + " checked: " + plural(t.errors, "error") + ", " +
                     plural(t.warnings, "warning");
  if (t.notes > 0) line += ", " + plural(t.notes, "note");
  return line;
}

void write_text(std::ostream& os, const std::vector<FileReport>& reports) {
  for (const FileReport& r : reports) {
    for (const Diagnostic& d : r.diagnostics) {
      os << cli::line_safe(d.file);
      if (d.at) os << ':' << d.at->line << ':' << d.at->column;
      os << ": " << severity_word(d.severity) << ": " << d.message << " [" << d.code << "]\n";
    }
  }
  os << summary_line(count(reports)) << '\n';
}

void write_github(std::ostream& os, const std::vector<FileReport>& reports) {
  for (const FileReport& r : reports) {
    for (const Diagnostic& d : r.diagnostics) {
      const auto at = [&](bool line) -> std::int64_t {
        return d.at ? static_cast<std::int64_t>(line ? d.at->line : d.at->column) : 0;
      };
      os << cli::annotation_line({.level = d.severity == Severity::error     ? "error"
                                           : d.severity == Severity::warning ? "warning"
                                                                             : "notice",
                                  .file = d.file,
                                  .line = at(true),
                                  .column = at(false),
                                  .title = d.code,
                                  .message = d.message})
         << '\n';
    }
  }
  os << summary_line(count(reports)) << '\n';
}

}  // namespace tessik::lint
