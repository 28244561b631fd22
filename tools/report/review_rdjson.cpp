// The rdjson format of `review`: reviewdog's DiagnosticResult.
#include <tessik/foundation/text.hpp>

#include "report/review_formats.hpp"

namespace tessik::cli {
namespace {

// A range of whole lines (no columns): reviewdog takes it to include the
// end line.
Value line_range(std::int64_t start, std::int64_t end) {
  return Value::Mapping{{"start", Value::Mapping{{"line", start}}},
                        {"end", Value::Mapping{{"line", end}}}};
}

Value diagnostic_of(const ReportedFinding& r) {
  const AIReview& f = r.finding;
  const std::int64_t line = std::max<std::int64_t>(f.line_number, 1);
  Value::Mapping d{
      {"message", issue_and_suggestion(f)},
      {"location", Value::Mapping{{"path", text_form(f.file_path)},
                                  {"range", line_range(line, std::max(line, end_line(f)))}}},
      {"severity", std::string(level_word(f.severity, "ERROR", "WARNING", "INFO"))},
      {"source", Value::Mapping{{"name", agents_text(r)}}},
      {"code", Value::Mapping{{"value", f.category}}}};
  if (f.code_replacement && f.line_number >= 1) {
    d.set("suggestions",
          Value::Sequence{Value::Mapping{{"range", line_range(f.line_number, end_line(f))},
                                         {"text", replacement_text(f)}}});
  }
  return d;
}

}  // namespace

Value review_rdjson(const ReviewReport& report) {
  Value::Sequence diagnostics;
  for (const ReportedFinding& r : report.findings) diagnostics.push_back(diagnostic_of(r));
  return Value::Mapping{{"source", Value::Mapping{{"name", "tessik-agents"}}},
                        {"diagnostics", std::move(diagnostics)}};
}

}  // namespace tessik::cli
