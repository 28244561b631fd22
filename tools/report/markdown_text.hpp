// Findings as GitHub-flavoured Markdown, for the markdown format and the
// review `--post github` leaves on a pull request. Text from the model is
// untrusted: it is escaped so that it can neither break the layout (a "|"
// in a table cell, a fence in a replacement) nor act (HTML, @mentions).
#ifndef TESSIK_TOOLS_REPORT_MARKDOWN_TEXT_HPP_
#define TESSIK_TOOLS_REPORT_MARKDOWN_TEXT_HPP_

#include <span>
#include <string>
#include <string_view>

#include "report/finding_selection.hpp"
#include "report/review_report.hpp"

namespace tessik::cli {

// `text` for a table cell or a line of prose: "&", "<" and ">" as entities,
// "|" as "\|", line breaks as "<br>", and a zero-width space after "@" so
// that no one is mentioned.
std::string markdown_inline(std::string_view text);

// `lines` in a fenced block that none of them can close: a fence of
// backticks one longer than the longest run of backticks in the lines (at
// least three), with `info` ("python", "suggestion") after the opening one.
std::string code_fence(std::span<const std::string> lines, std::string_view info);

// "path:line" of a finding, escaped for Markdown.
std::string markdown_location(const AIReview& finding);

// The issue in bold-free prose, then "Suggestion: ..." and the replacement
// in a fence (`suggestion_block`: a GitHub "suggestion" fence, else one in
// the finding's language), "Reported by a, b." and the severity, category and
// confidence when `with_facts`.
std::string finding_markdown(const ReportedFinding& r, bool suggestion_block, bool with_facts);

// The agent's verdict in a few words: "2 findings", "clean (confidence
// 0.9)", "error max_iterations_no_verdict after 5 iterations", "failed:
// KIND", "not sent", "interrupted".
std::string verdict_words(const AgentOutcome& o);

// The agent's summary, or its error or failure message; "" when none.
std::string verdict_summary(const AgentOutcome& o);

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_REPORT_MARKDOWN_TEXT_HPP_
