// The markdown format of `review`: a comment for a pull request.
#include <ostream>

#include <tessik/foundation/text.hpp>

#include "report/markdown_text.hpp"
#include "report/review_formats.hpp"

namespace tessik::cli {
namespace {

void write_agents(std::ostream& os, const ReviewReport& report) {
  os << "| agent | verdict | summary |\n|---|---|---|\n";
  for (const AgentOutcome& o : report.outcomes) {
    os << "| " << markdown_inline(o.agent) << " | " << markdown_inline(verdict_words(o)) << " | "
       << markdown_inline(verdict_summary(o)) << " |\n";
  }
}

void write_findings(std::ostream& os, const std::vector<ReportedFinding>& findings) {
  os << "\n| # | location | severity | category | confidence | agents | issue |\n"
        "|---|---|---|---|---|---|---|\n";
  std::size_t n = 0;
  for (const ReportedFinding& r : findings) {
    const AIReview& f = r.finding;
    os << "| " << ++n << " | " << markdown_location(f) << " | " << f.severity << " | "
       << markdown_inline(f.category) << " | " << text_form(f.confidence) << " | "
       << markdown_inline(agents_text(r)) << " | " << markdown_inline(text_form(f.issue)) << " |\n";
  }
  n = 0;
  for (const ReportedFinding& r : findings) {
    os << "\n#### " << ++n << ". " << markdown_location(r.finding) << "\n\n"
       << finding_markdown(r, false, false);
  }
}

void write_left_out(std::ostream& os, const ReviewReport& report) {
  std::vector<std::string> items;
  if (!report.selection_note.empty()) items.push_back("Findings: " + report.selection_note);
  for (const SkippedAgent& a : report.skipped)
    items.push_back("Skipped agent: " + a.agent + ": " + a.reason);
  for (const LeftOutFile& f : report.left_out)
    items.push_back("Left-out file: " + f.path + ": " + f.reason);
  for (const std::string& w : report.warnings) items.push_back("Warning: " + w);
  if (items.empty()) return;
  os << "\n<details><summary>Left out of this review</summary>\n\n";
  for (const std::string& item : items) os << "- " << markdown_inline(item) << '\n';
  os << "\n</details>\n";
}

}  // namespace

void write_markdown(std::ostream& os, const ReviewReport& report, const MarkdownView& view) {
  os << "### Code review\n\n" << reviewed_sentence(report, report.findings.size()) << "\n\n";
  if (!view.note.empty()) os << view.note << "\n\n";
  write_agents(os, report);
  const std::vector<ReportedFinding>& listed = view.listed ? *view.listed : report.findings;
  if (!listed.empty()) write_findings(os, listed);
  if (view.not_listed > 0) {
    os << '\n'
       << view.not_listed
       << " more findings are not shown: a GitHub comment holds at most 65,536 characters.\n";
  }
  if (report.cost) os << "\n<sub>" << markdown_inline(cost_line(*report.cost)) << "</sub>\n";
  write_left_out(os, report);
}

}  // namespace tessik::cli
