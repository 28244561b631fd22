// The line-oriented formats: text and GitHub workflow annotations.
#include <ostream>

#include "lint/reports.hpp"

namespace tessik::lint {
namespace {

std::string plural(std::size_t n, const char* word) {
  return std::to_string(n) + " " + word + (n == 1 ? "" : "s");
}

// Workflow command escaping: a message escapes %, CR and LF; a property
// value also ":" and ",".
std::string escaped(std::string_view text, bool property) {
  std::string out;
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
      os << d.file;
      if (d.at) os << ':' << d.at->line << ':' << d.at->column;
      os << ": " << severity_word(d.severity) << ": " << d.message << " [" << d.code << "]\n";
    }
  }
  os << summary_line(count(reports)) << '\n';
}

void write_github(std::ostream& os, const std::vector<FileReport>& reports) {
  for (const FileReport& r : reports) {
    for (const Diagnostic& d : r.diagnostics) {
      os << "::"
         << (d.severity == Severity::error     ? "error"
             : d.severity == Severity::warning ? "warning"
                                               : "notice")
         << " file=" << escaped(d.file, true);
      if (d.at) os << ",line=" << d.at->line << ",col=" << d.at->column;
      os << ",title=" << escaped(d.code, true) << "::" << escaped(d.message, false) << '\n';
    }
  }
  os << summary_line(count(reports)) << '\n';
}

}  // namespace tessik::lint
