// How `review` shows its outcomes: the verdicts as text or JSON, a failing
// agent with its call site, and the cost of a live run.
#ifndef TESSIK_TOOLS_REPORT_REVIEW_REPORT_HPP_
#define TESSIK_TOOLS_REPORT_REVIEW_REPORT_HPP_

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "change/change_selection.hpp"
#include "report/finding_selection.hpp"
#include "report/review_cost.hpp"
#include "run/agent_choice.hpp"
#include "run/review_runner.hpp"

namespace tessik::cli {

struct ReviewReport {
  std::size_t files = 0;
  std::vector<AgentOutcome> outcomes{};
  std::vector<std::string> warnings{};  // logged while loading the agents
  std::optional<RunCost> cost{};        // a live run's; none for a replay
  // Filled by select_findings: what every format lists, and what it left out.
  std::vector<ReportedFinding> findings{};
  Selection selection{};
  std::string selection_note{};  // selection_line's text, "" when nothing was left out
  // Agents the run did not start and files the change left out, each with
  // its reason; listed by the formats that have room.
  std::vector<SkippedAgent> skipped{};
  std::vector<LeftOutFile> left_out{};
  std::size_t parts = 1;  // the change was reviewed in this many parts
};

// True when any agent failed or gave an error verdict (exit status 1).
bool any_error(const ReviewReport& report);

// When every agent failed with the same failure (a server that is down or
// refuses the key), that failure as one line: "KIND in CALL_SITE: MESSAGE".
// The agents a failed warm-up left unsent count as failing alike; the line
// then ends "(the warm-up request of AGENT; the other N agents' requests
// were not sent)".
std::optional<std::string> common_failure(const ReviewReport& report);

// The opening sentence of every report format, which counts the agents that
// reviewed (a findings or clean verdict), not those that ran:
//   "Reviewed 1 file with 4 agents."             every agent gave a verdict
//   "Reviewed 3 files with 2 of 4 agents."       the others failed or erred
//   "Nothing was reviewed: none of the 4 agents gave a verdict on 1 file."
// With `findings`, a review that happened says ": K findings." at its end.
std::string reviewed_sentence(const ReviewReport& report,
                              std::optional<std::size_t> findings = std::nullopt);

// reviewed_sentence, each outcome in the agents' order, then
// the cost line (and, with `verbose`, one line per agent). The loading
// warnings are not part of it: the command writes them to standard error.
void print_report(std::ostream& os, const ReviewReport& report, bool verbose);

// The same as JSON: {"files", "agents": [{"agent", "verdict"|"failure"}],
// "warnings", "cost"?, "parts", "left_out": [{"path", "reason", "bytes"}],
// "skipped_agents": [{"agent", "reason"}], "selection": {"below_severity", "below_confidence",
// "merged": [{"file_path", "line_number", "agents"}]}}.
Value report_value(const ReviewReport& report);

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_REPORT_REVIEW_REPORT_HPP_
