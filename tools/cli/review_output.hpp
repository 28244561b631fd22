// What `review` does with its outcomes: the output format, the selection of
// findings (--min-severity, --min-confidence, merging) and the exit status
// (--fail-on besides the error-verdict rule).
#ifndef TESSIK_TOOLS_CLI_REVIEW_OUTPUT_HPP_
#define TESSIK_TOOLS_CLI_REVIEW_OUTPUT_HPP_

#include <optional>
#include <vector>

#include "cli/cli.hpp"
#include "cli/cli_args.hpp"
#include "config/effective_settings.hpp"
#include "report/finding_selection.hpp"
#include "report/output_format.hpp"
#include "report/review_report.hpp"

namespace tessik::cli {

struct ReviewOutput {
  OutputFormat format = OutputFormat::text;
  FindingFilter filter{};
  std::optional<int> fail_on{};  // a severity_rank; none for "never"
  bool verbose = false;
};

// The format (--json, or the "format" setting), the "min_severity",
// "min_confidence" and "fail_on" settings (config/settings_table.cpp; flags,
// environment or .tessik.yaml, checked there) and --verbose. Throws
// UsageError for --json with another --format.
ReviewOutput review_output(const ParsedArgs& args, const EffectiveSettings& settings);

// Selects the findings of `report`, writes it in the chosen format (the
// selection's note also on standard error for the formats machines read)
// and returns the exit status: EXIT_FAILED when an agent failed or gave an
// error verdict, or when a finding reaches --fail-on; else EXIT_OK.
int finish_review(ReviewReport& report, const ReviewOutput& output, const Io& io);

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_CLI_REVIEW_OUTPUT_HPP_
