// The formats of `review` beside text and JSON (review_report.hpp): a
// pull-request comment in Markdown, GitHub workflow annotations, a SARIF
// 2.1.0 log and reviewdog's Diagnostic JSON (rdjson). Each lists
// `report.findings`, the selection select_findings made.
#ifndef TESSIK_TOOLS_REPORT_REVIEW_FORMATS_HPP_
#define TESSIK_TOOLS_REPORT_REVIEW_FORMATS_HPP_

#include <iosfwd>
#include <string_view>
#include <vector>

#include <tessik/foundation/value.hpp>

#include "report/output_format.hpp"
#include "report/review_report.hpp"

namespace tessik::cli {

// A comment for a pull request: a heading, per agent its verdict and
// summary, the findings as a table, each one's suggestion and replacement
// below it, the cost line, and a collapsed section with the skipped agents,
// left-out files, the findings the selection left out and the warnings.
//
// `view` narrows it for the summary of a posted review: `note` follows the
// first line, only `listed` findings (when given) are shown, and
// `not_listed` are counted as left out for want of room.
struct MarkdownView {
  std::string_view note{};
  const std::vector<ReportedFinding>* listed = nullptr;
  std::size_t not_listed = 0;
};
void write_markdown(std::ostream& os, const ReviewReport& report, const MarkdownView& view = {});

// One workflow annotation per finding: "error" for high, "warning" for
// medium, "notice" for low and info, titled "AGENTS: CATEGORY", spanning the
// lines its replacement replaces; one "warning" per agent that failed or
// gave an error verdict; then "Reviewed N files with M agents: K findings."
void write_annotations(std::ostream& os, const ReviewReport& report);

// The SARIF 2.1.0 log: one rule per agent and category ("hesper/security"),
// one result per finding with its level, message, region (start and end
// line), the replacement as a fix, "confidence", "agents", "severity" and
// "category" properties, and a partial fingerprint that stays the same
// across runs for the same finding in the same file.
Value review_sarif(const ReviewReport& report);

// reviewdog's DiagnosticResult: {"source": {"name": "tessik-agents"},
// "diagnostics": [...]}, each with its message, location (line range),
// severity (ERROR, WARNING, INFO), source (the agents), code (the category)
// and the replacement as a suggestion.
Value review_rdjson(const ReviewReport& report);

// Writes `report` in `format` (text and JSON as review_report.hpp does).
void write_review(std::ostream& os, OutputFormat format, const ReviewReport& report, bool verbose);

// The last line a replacement of `f` covers: line_number +
// replacement_line_count - 1 when it has a replacement, else line_number.
std::int64_t end_line(const AIReview& f);

// The word of `severity` in a format's three levels: `high` for "high",
// `medium` for "medium", `other` for "low", "info" and anything else.
std::string_view level_word(std::string_view severity, std::string_view high,
                            std::string_view medium, std::string_view other);

// The issue, then "\nSuggestion: ..." when the finding has a suggestion.
std::string issue_and_suggestion(const AIReview& f);

// The replacement's lines joined by "\n" (no line break after the last).
std::string replacement_text(const AIReview& f);

// The agents of `r` joined by ", ".
std::string agents_text(const ReportedFinding& r);

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_REPORT_REVIEW_FORMATS_HPP_
