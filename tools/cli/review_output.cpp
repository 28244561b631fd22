#include "cli/review_output.hpp"

#include <charconv>
#include <ostream>

#include "report/review_formats.hpp"

namespace tessik::cli {
namespace {

std::optional<int> severity_option(const ParsedArgs& args, const std::string& name,
                                   bool never_allowed) {
  const std::optional<std::string> text = args.value(name);
  if (!text) return std::nullopt;
  if (never_allowed && *text == "never") return std::nullopt;
  const std::optional<int> rank = severity_level(*text);
  if (!rank || (never_allowed && *rank == 0)) {
    throw UsageError("--" + name + " must be high, medium, low" +
                     (never_allowed ? " or never" : " or info") + ", not '" + *text + "'");
  }
  return rank;
}

double confidence_option(const ParsedArgs& args) {
  const std::optional<std::string> text = args.value("min-confidence");
  if (!text) return 0.0;
  double c = -1;
  const auto [end, ec] = std::from_chars(text->data(), text->data() + text->size(), c);
  if (ec != std::errc{} || end != text->data() + text->size() || !(c >= 0.0 && c <= 1.0)) {
    throw UsageError("--min-confidence must be a number from 0 to 1, not '" + *text + "'");
  }
  return c;
}

}  // namespace

ReviewOutput review_output(const ParsedArgs& args) {
  return {
      .format = output_format(args.value("format"), args.flag("json"),
                              {OutputFormat::text, OutputFormat::json, OutputFormat::markdown,
                               OutputFormat::github, OutputFormat::sarif, OutputFormat::rdjson}),
      .filter = {.min_severity = severity_option(args, "min-severity", false).value_or(0),
                 .min_confidence = confidence_option(args)},
      .fail_on = severity_option(args, "fail-on", true),
      .verbose = args.flag("verbose")};
}

std::vector<OptionSyntax> review_output_options() {
  return {{"format", true, "FORMAT", "text (default), json, markdown, github, sarif or rdjson"},
          {"min-severity", true, "LEVEL",
           "leave out findings below high, medium, low or info (default: info)"},
          {"min-confidence", true, "C", "leave out findings less confident than C, 0 to 1"},
          {"fail-on", true, "LEVEL",
           "exit 1 when a finding is high, medium or low or above (default: never)"}};
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
