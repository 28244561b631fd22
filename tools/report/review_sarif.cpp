// The sarif format of `review`.
#include <map>

#include <tessik/foundation/detail/sha256.hpp>
#include <tessik/foundation/text.hpp>

#include "report/review_formats.hpp"
#include "report/sarif_log.hpp"

namespace tessik::cli {
namespace {

std::string rule_id(const ReportedFinding& r) {
  return r.agents.front() + "/" + r.finding.category;
}

// Rule, path and issue text, not the line: the same finding keeps its
// fingerprint when lines above it move.
std::string fingerprint(const ReportedFinding& r) {
  detail::Sha256 sha;
  for (const std::string& part : {rule_id(r), text_form(r.finding.file_path),
                                  std::string(strip(text_form(r.finding.issue)))}) {
    sha.update(part);
    sha.update(std::string_view("\0", 1));
  }
  return sha.hex(32);
}

Value fix_of(const AIReview& f, const std::string& path) {
  const std::string inserted = replacement_text(f);
  const Value location =
      sarif_location(path, {.start_line = f.line_number, .end_line = end_line(f)});
  const Value& region = *location.find("physicalLocation")->find("region");
  return Value::Mapping{
      {"description", sarif_message("Replace " + std::to_string(end_line(f) - f.line_number + 1) +
                                    " line(s) with the suggested code")},
      {"artifactChanges",
       Value::Sequence{Value::Mapping{
           {"artifactLocation", *location.find("physicalLocation")->find("artifactLocation")},
           {"replacements", Value::Sequence{Value::Mapping{
                                {"deletedRegion", region},
                                {"insertedContent", Value::Mapping{{"text", inserted}}}}}}}}}};
}

Value result_of(const ReportedFinding& r, std::int64_t rule_index) {
  const AIReview& f = r.finding;
  const std::string path = text_form(f.file_path);
  Value::Mapping result{
      {"ruleId", rule_id(r)},
      {"ruleIndex", rule_index},
      {"level", std::string(level_word(f.severity, "error", "warning", "note"))},
      {"message", sarif_message(issue_and_suggestion(f))},
      {"locations", Value::Sequence{sarif_location(
                        path, {.start_line = f.line_number, .end_line = end_line(f)})}},
      {"partialFingerprints", Value::Mapping{{"tessikFinding/v1", fingerprint(r)}}},
      {"properties", Value::Mapping{{"confidence", f.confidence},
                                    {"agent", r.agents.front()},
                                    {"agents", Value::Sequence(r.agents.begin(), r.agents.end())},
                                    {"severity", f.severity},
                                    {"category", f.category}}}};
  if (f.code_replacement && f.line_number >= 1) {
    result.set("fixes", Value::Sequence{fix_of(f, path)});
  }
  return result;
}

}  // namespace

Value review_sarif(const ReviewReport& report) {
  Value::Sequence rules, results;
  std::map<std::string, std::int64_t> index;
  for (const ReportedFinding& r : report.findings) {
    const std::string id = rule_id(r);
    const auto [it, added] = index.try_emplace(id, static_cast<std::int64_t>(rules.size()));
    if (added) {
      rules.push_back(
          Value::Mapping{{"id", id},
                         {"shortDescription", sarif_message("Findings of the " + r.agents.front() +
                                                            " agent in " + r.finding.category)}});
    }
    results.push_back(result_of(r, it->second));
  }
  return sarif_log(std::move(rules), std::move(results));
}

}  // namespace tessik::cli
