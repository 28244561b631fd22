#include "report/review_formats.hpp"

#include <ostream>

#include <tessik/foundation/json.hpp>
#include <tessik/foundation/text.hpp>

namespace tessik::cli {

std::int64_t end_line(const AIReview& f) {
  if (!f.code_replacement || f.replacement_line_count <= 1) return f.line_number;
  return f.line_number + f.replacement_line_count - 1;
}

std::string_view level_word(std::string_view severity, std::string_view high,
                            std::string_view medium, std::string_view other) {
  const int rank = severity_rank(severity);
  return rank >= 3 ? high : rank == 2 ? medium : other;
}

std::string issue_and_suggestion(const AIReview& f) {
  std::string text = text_form(f.issue);
  if (!f.suggestion.is_null() && !text_form(f.suggestion).empty()) {
    text += "\nSuggestion: " + text_form(f.suggestion);
  }
  return text;
}

std::string replacement_text(const AIReview& f) {
  std::string text;
  if (!f.code_replacement) return text;
  for (const std::string& line : *f.code_replacement) {
    text += (&line == &f.code_replacement->front() ? "" : "\n") + line;
  }
  return text;
}

std::string agents_text(const ReportedFinding& r) {
  std::string out;
  for (const std::string& a : r.agents) out += (out.empty() ? "" : ", ") + a;
  return out;
}

void write_review(std::ostream& os, OutputFormat format, const ReviewReport& report, bool verbose) {
  switch (format) {
    case OutputFormat::json:
      os << to_json(report_value(report), 2) << '\n';
      break;
    case OutputFormat::markdown:
      write_markdown(os, report);
      break;
    case OutputFormat::github:
      write_annotations(os, report);
      break;
    case OutputFormat::sarif:
      os << to_json(review_sarif(report), 2) << '\n';
      break;
    case OutputFormat::rdjson:
      os << to_json(review_rdjson(report), 2) << '\n';
      break;
    case OutputFormat::text:
      print_report(os, report, verbose);
      break;
  }
}

}  // namespace tessik::cli
