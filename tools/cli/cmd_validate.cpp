// tessik-agents validate: checks definition files and custom agents folders
// as a review run would load them, with the lints, in the form linters use.
#include <filesystem>
#include <ostream>

#include "cli/commands.hpp"
#include "lint/check.hpp"
#include "lint/reports.hpp"
#include "report/output_format.hpp"

namespace tessik::cli {
namespace {

int run_validate(const ParsedArgs& args, const Io& io) {
  const OutputFormat format = output_format(
      args.value("format"), args.flag("json"),
      {OutputFormat::text, OutputFormat::json, OutputFormat::github, OutputFormat::sarif});
  std::vector<lint::FileReport> reports;
  for (const std::string& path : args.positional) {
    std::error_code ec;
    if (std::filesystem::is_directory(path, ec)) {
      for (lint::FileReport& r : lint::check_directory(path)) reports.push_back(std::move(r));
    } else {
      reports.push_back(lint::check_file(path));
    }
  }
  if (format == OutputFormat::json) {
    lint::write_json(io.out, reports);
  } else if (format == OutputFormat::github) {
    lint::write_github(io.out, reports);
  } else if (format == OutputFormat::sarif) {
    lint::write_sarif(io.out, reports);
  } else {
    lint::write_text(io.out, reports);
  }
  const lint::Totals totals = lint::count(reports);
  const bool failed = totals.errors > 0 || (args.flag("strict") && totals.warnings > 0);
  return failed ? EXIT_FAILED : EXIT_OK;
}

}  // namespace

Command validate_command() {
  return {{.name = "validate",
           .summary = "check agent definition files and folders; exit 1 if any is invalid",
           .positional = "FILE|DIR...",
           .min_positional = 1,
           .max_positional = static_cast<std::size_t>(-1),
           .options = {{"format", true, "FORMAT", "text (default), json, github or sarif"},
                       {"json", false, "", "the same as --format json"},
                       {"strict", false, "", "warnings fail the run too"}},
           .description =
               "Each file is loaded exactly as a review run loads it (.yaml, .yml or .md;\n"
               "the suffix picks the parser); a folder is read as the custom-agent loader\n"
               "reads it. Every problem is printed as FILE:LINE:COL: SEVERITY: MESSAGE [CODE],\n"
               "sorted by position, then one summary line. A file the loader refuses is an\n"
               "error; the lints add warnings and notes (the README lists their codes).\n"
               "Exit status: 0 when nothing failed, 1 when a file is invalid (or, with\n"
               "--strict, when there is a warning), 2 for a usage error. In CI, e.g.\n"
               "  tessik-agents validate --format github .review/agents"},
          run_validate};
}

}  // namespace tessik::cli
