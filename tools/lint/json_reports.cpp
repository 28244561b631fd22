// The structured formats: JSON and SARIF 2.1.0.
#include <ostream>

#include <tessik/foundation/json.hpp>

#include "lint/reports.hpp"
#include "report/render.hpp"
#include "report/sarif_log.hpp"

namespace tessik::lint {
namespace {

Value position_number(const std::optional<TextPosition>& at, bool line) {
  if (!at) return {};
  return static_cast<std::int64_t>(line ? at->line : at->column);
}

const char* sarif_level(Severity s) {
  return s == Severity::error ? "error" : s == Severity::warning ? "warning" : "note";
}

Value::Sequence sarif_rules() {
  Value::Sequence rules;
  for (const LintRule& r : all_rules()) {
    rules.push_back(Value::Mapping{
        {"id", std::string(r.code)},
        {"name", std::string(r.name)},
        {"shortDescription", Value::Mapping{{"text", std::string(r.summary)}}},
        {"defaultConfiguration", Value::Mapping{{"level", sarif_level(r.severity)}}},
    });
  }
  return rules;
}

std::int64_t rule_index(std::string_view code) {
  std::int64_t i = 0;
  for (const LintRule& r : all_rules()) {
    if (r.code == code) return i;
    ++i;
  }
  return -1;
}

Value sarif_result(const Diagnostic& d) {
  // A problem of the whole file (one that has no text to point into) is
  // placed on its first line: code scanning needs a line for every result.
  const cli::SarifRegion region =
      d.at ? cli::SarifRegion{.start_line = static_cast<std::int64_t>(d.at->line),
                              .start_column = static_cast<std::int64_t>(d.at->column)}
           : cli::SarifRegion{};
  return Value::Mapping{
      {"ruleId", d.code},
      {"ruleIndex", rule_index(d.code)},
      {"level", sarif_level(d.severity)},
      {"message", cli::sarif_message(d.message)},
      {"locations", Value::Sequence{cli::sarif_location(d.file, region)}},
  };
}

}  // namespace

void write_json(std::ostream& os, const std::vector<FileReport>& reports) {
  Value::Sequence files;
  for (const FileReport& r : reports) {
    Value::Sequence diagnostics;
    for (const Diagnostic& d : r.diagnostics) {
      diagnostics.push_back(Value::Mapping{{"line", position_number(d.at, true)},
                                           {"column", position_number(d.at, false)},
                                           {"severity", std::string(severity_word(d.severity))},
                                           {"code", d.code},
                                           {"message", d.message}});
    }
    Value::Mapping entry{{"file", r.file}, {"valid", r.definition.has_value()}};
    if (r.definition) {
      entry.set("definition", cli::definition_value(*r.definition));
    } else {
      entry.set("error", Value::Mapping{{"kind", r.error_kind}, {"message", r.error_message}});
    }
    entry.set("diagnostics", std::move(diagnostics));
    files.push_back(std::move(entry));
  }
  const Totals t = count(reports);
  const Value out =
      Value::Mapping{{"files", std::move(files)},
                     {"summary", Value::Mapping{{"files", static_cast<std::int64_t>(t.files)},
                                                {"errors", static_cast<std::int64_t>(t.errors)},
                                                {"warnings", static_cast<std::int64_t>(t.warnings)},
                                                {"notes", static_cast<std::int64_t>(t.notes)}}}};
  os << to_json(out, 2) << '\n';
}

void write_sarif(std::ostream& os, const std::vector<FileReport>& reports) {
  Value::Sequence results;
  for (const FileReport& r : reports) {
    for (const Diagnostic& d : r.diagnostics) results.push_back(sarif_result(d));
  }
  const Value log = cli::sarif_log(sarif_rules(), std::move(results));
  os << to_json(log, 2) << '\n';
}

}  // namespace tessik::lint
