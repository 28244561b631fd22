// Which findings a review reports: those below --min-severity or
// --min-confidence are dropped, and the findings several agents report at
// the same place (file and line) become one that names every agent. Every
// output format and the posted review show the same selection.
//
//   const Selection s = select_findings(report, {.min_severity = severity_rank("medium")});
//   // report.findings: what is left, merged; s.below_severity: how many were dropped
#ifndef TESSIK_TOOLS_REPORT_FINDING_SELECTION_HPP_
#define TESSIK_TOOLS_REPORT_FINDING_SELECTION_HPP_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <tessik/agent_loader.hpp>

namespace tessik::cli {

struct ReviewReport;

// 3 for "high", 2 "medium", 1 "low", 0 "info" and any other word.
int severity_rank(std::string_view severity) noexcept;

// The rank of a severity word given on the command line or in the project
// file ("high", "medium", "low", "info"; any letter case); nullopt for any
// other word.
std::optional<int> severity_level(std::string_view word);

struct FindingFilter {
  int min_severity = 0;         // severity_rank of the lowest severity kept
  double min_confidence = 0.0;  // lowest confidence kept, 0 to 1
};

// One finding as the reports show it.
struct ReportedFinding {
  AIReview finding;                 // the most severe of the merged ones (then the most confident)
  std::vector<std::string> agents;  // every agent that reported it, in the agents' order
};

struct Selection {
  std::size_t below_severity = 0, below_confidence = 0;
  std::size_t merged = 0;  // findings folded into one reported by another agent
};

// Applies `filter` to every findings verdict of `report`, merges the
// findings of one place, and fills `report.findings` (in the agents' order,
// each agent's findings in its order). Each verdict keeps the findings it
// reported first, with the merged severity and confidence, so the per-agent
// views agree with the list. Returns what was left out.
Selection select_findings(ReviewReport& report, const FindingFilter& filter);

// "left out 2 findings below severity medium, 1 below confidence 0.8; 1
// finding reported by several agents shown once", or "" when nothing was.
std::string selection_line(const Selection& selection, const FindingFilter& filter);

// True when a reported finding is at least as severe as `fail_on` (a
// severity_rank); never for nullopt.
bool fails_on(const ReviewReport& report, std::optional<int> fail_on);

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_REPORT_FINDING_SELECTION_HPP_
