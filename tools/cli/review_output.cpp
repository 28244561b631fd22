#include "cli/review_output.hpp"

#include <ostream>

#include "report/review_formats.hpp"

namespace tessik::cli {

ReviewOutput review_output(const ParsedArgs& args, const EffectiveSettings& settings) {
  // --json is the command line's --format json; it wins over a format from
  // the environment or the file, but not over --format itself.
  const std::optional<std::string> format =
      args.flag("json") ? args.value("format") : settings.text("format");
  const std::string fail_on = settings.text("fail_on").value_or("never");
  return {
      .format = output_format(format, args.flag("json"),
                              {OutputFormat::text, OutputFormat::json, OutputFormat::markdown,
                               OutputFormat::github, OutputFormat::sarif, OutputFormat::rdjson}),
      .filter = {.min_severity =
                     severity_level(settings.text("min_severity").value_or("info")).value_or(0),
                 .min_confidence = settings.seconds("min_confidence").value_or(0.0)},
      .fail_on = fail_on == "never" ? std::nullopt : severity_level(fail_on),
      .verbose = args.flag("verbose")};
}

int finish_review(ReviewReport& report, const ReviewOutput& output, const Io& io) {
  report.selection = select_findings(report, output.filter);
  report.selection_note = selection_line(report.selection, output.filter);
  const bool machine =
      output.format != OutputFormat::text && output.format != OutputFormat::markdown;
  if (machine && !report.selection_note.empty()) {
    io.err << "tessik-agents review: " << report.selection_note << '\n';
  }
  const std::optional<std::string> failure = common_failure(report);
  if (output.format == OutputFormat::text && failure) {
    // Every agent failed alike (a server that is down, a refused key): once.
    io.err << "tessik-agents review: every agent failed: " << *failure << '\n';
  } else {
    write_review(io.out, output.format, report, output.verbose);
  }
  return any_error(report) || fails_on(report, output.fail_on) ? EXIT_FAILED : EXIT_OK;
}

}  // namespace tessik::cli
