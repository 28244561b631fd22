// The github format of `review`: workflow annotations.
#include <ostream>

#include <tessik/foundation/text.hpp>

#include "report/markdown_text.hpp"
#include "report/review_formats.hpp"
#include "report/workflow_command.hpp"

namespace tessik::cli {
namespace {

std::string annotation_message(const AIReview& f) {
  std::string message = issue_and_suggestion(f);
  if (f.code_replacement) message += "\nReplacement:\n" + replacement_text(f);
  return message;
}

}  // namespace

void write_annotations(std::ostream& os, const ReviewReport& report) {
  for (const ReportedFinding& r : report.findings) {
    const AIReview& f = r.finding;
    const std::string title = agents_text(r) + ": " + f.category;
    const std::string file = text_form(f.file_path);
    const std::string message = annotation_message(f);
    os << annotation_line({.level = level_word(f.severity, "error", "warning", "notice"),
                           .file = file,
                           .line = std::max<std::int64_t>(f.line_number, 1),
                           .end_line = end_line(f),
                           .title = title,
                           .message = message})
       << '\n';
  }
  for (const AgentOutcome& o : report.outcomes) {
    if (o.verdict && !o.verdict->is_error()) continue;
    const std::string message = verdict_words(o) + ": " + verdict_summary(o);
    os << annotation_line({.level = "warning", .title = o.agent, .message = message}) << '\n';
  }
  os << reviewed_sentence(report, report.findings.size()) << '\n';
}

}  // namespace tessik::cli
