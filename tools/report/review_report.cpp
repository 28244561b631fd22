#include "report/review_report.hpp"

#include <algorithm>
#include <ostream>

#include <tessik/foundation/text.hpp>

#include "report/render.hpp"

namespace tessik::cli {
namespace {

std::string location(const AIReview& f) {
  return line_safe(text_form(f.file_path)) + ":" + std::to_string(f.line_number);
}

// "  also reported by B, C at FILE:LINE" for the agent's findings that
// other agents reported too.
void print_merged(std::ostream& os, const ReviewReport& report, const std::string& agent) {
  for (const ReportedFinding& r : report.findings) {
    if (r.agents.size() < 2 || r.agents.front() != agent) continue;
    std::string others;
    for (std::size_t i = 1; i < r.agents.size(); ++i) others += (i > 1 ? ", " : "") + r.agents[i];
    os << "  also reported by " << others << " at " << location(r.finding) << '\n';
  }
}

void print_findings(std::ostream& os, const AgentVerdict& v) {
  std::vector<std::vector<std::string>> rows{
      {"FILE:LINE", "SEVERITY", "CATEGORY", "CONFIDENCE", "ISSUE"}};
  for (const AIReview& f : v) {
    rows.push_back(
        {location(f), f.severity, f.category, text_form(f.confidence), one_line(f.issue)});
  }
  print_table(os, rows, "  ");
  for (const AIReview& f : v) {
    const std::string suggestion = f.suggestion.is_null() ? "" : one_line(f.suggestion);
    if (!suggestion.empty()) os << "  suggestion for " << location(f) << ": " << suggestion << '\n';
    if (!f.code_replacement) continue;
    os << "  replacement for " << location(f) << " (replaces " << f.replacement_line_count
       << (f.replacement_line_count == 1 ? " line" : " lines") << "):\n";
    for (const std::string& line : *f.code_replacement) os << "    | " << line << '\n';
  }
}

void print_outcome(std::ostream& os, const ReviewReport& report, const AgentOutcome& o) {
  if (o.halt != Halt::none) {
    os << o.agent << ": " << halt_words(o.halt) << '\n' << "  " << o.failure_message << '\n';
    return;
  }
  if (!o.verdict) {
    os << o.agent << ": failed, " << o.failure_kind
       << (o.call_site.empty() ? "" : " in " + o.call_site) << '\n'
       << "  " << o.failure_message << '\n';
    return;
  }
  const AgentVerdict& v = *o.verdict;
  if (v.is_clean()) {
    os << o.agent << ": clean, confidence " << text_form(v.confidence().value_or(0.0)) << '\n'
       << "  " << v.summary().value_or("") << '\n';
    return;
  }
  if (!v.is_findings()) {
    os << o.agent << ": error " << v.error_code().value_or("");
    if (const std::optional<std::int64_t> n = v.iterations_used()) {
      os << " after " << *n << (*n == 1 ? " iteration" : " iterations");
    }
    os << '\n' << "  " << v.error_message().value_or("") << '\n';
    return;
  }
  os << o.agent << ": " << v.size() << (v.size() == 1 ? " finding" : " findings") << '\n';
  if (v.summary()) os << "  " << *v.summary() << '\n';
  if (!v.empty()) print_findings(os, v);
  print_merged(os, report, o.agent);
}

}  // namespace

bool any_error(const ReviewReport& report) {
  return std::any_of(report.outcomes.begin(), report.outcomes.end(),
                     [](const AgentOutcome& o) { return !o.verdict || o.verdict->is_error(); });
}

std::optional<std::string> common_failure(const ReviewReport& report) {
  if (report.outcomes.empty()) return std::nullopt;
  const AgentOutcome& first = report.outcomes.front();
  std::size_t not_sent = 0;
  for (const AgentOutcome& o : report.outcomes) {
    if (o.halt == Halt::not_sent && first.halt == Halt::none) {
      ++not_sent;  // stopped by the first agent's failure
      continue;
    }
    if (o.verdict || o.halt != Halt::none || o.failure_kind != first.failure_kind ||
        o.failure_message != first.failure_message || o.call_site != first.call_site) {
      return std::nullopt;
    }
  }
  std::string line = first.failure_kind +
                     (first.call_site.empty() ? "" : " in " + first.call_site) + ": " +
                     first.failure_message;
  if (not_sent > 0) {
    line += " (the warm-up request of " + first.agent + "; the other " + std::to_string(not_sent) +
            (not_sent == 1 ? " agent's request was" : " agents' requests were") + " not sent)";
  }
  return line;
}

std::string reviewed_sentence(const ReviewReport& report, std::optional<std::size_t> findings) {
  const auto count = [](std::size_t n, const char* one, const char* many) {
    return std::to_string(n) + (n == 1 ? one : many);
  };
  const std::size_t agents = report.outcomes.size();
  const auto reviewed = static_cast<std::size_t>(
      std::count_if(report.outcomes.begin(), report.outcomes.end(),
                    [](const AgentOutcome& o) { return o.verdict && !o.verdict->is_error(); }));
  const std::string files = count(report.files, " file", " files");
  if (reviewed == 0 && agents > 0) {
    return "Nothing was reviewed: none of the " + count(agents, " agent", " agents") +
           " gave a verdict on " + files + ".";
  }
  std::string sentence = "Reviewed " + files + " with " +
                         (reviewed == agents ? "" : std::to_string(reviewed) + " of ") +
                         count(agents, " agent", " agents");
  if (findings) sentence += ": " + count(*findings, " finding", " findings");
  return sentence + ".";
}

void print_report(std::ostream& os, const ReviewReport& report, bool verbose) {
  os << reviewed_sentence(report) << '\n';
  for (const AgentOutcome& o : report.outcomes) {
    os << '\n';
    print_outcome(os, report, o);
  }
  if (!report.selection_note.empty()) os << '\n' << report.selection_note << '\n';
  if (!report.cost) return;
  os << '\n' << cost_line(*report.cost) << '\n';
  if (!verbose) return;
  std::vector<std::string> order;
  for (const AgentOutcome& o : report.outcomes) order.push_back(o.agent);
  os << agent_cost_lines(*report.cost, order);
}

Value report_value(const ReviewReport& report) {
  Value::Sequence agents;
  for (const AgentOutcome& o : report.outcomes) {
    Value::Mapping entry{{"agent", o.agent}};
    if (o.verdict) {
      entry.set("verdict", verdict_value(*o.verdict));
    } else {
      entry.set("failure", Value::Mapping{{"kind", o.failure_kind},
                                          {"message", o.failure_message},
                                          {"call_site", o.call_site}});
    }
    agents.push_back(std::move(entry));
  }
  Value::Mapping out{{"files", static_cast<std::int64_t>(report.files)},
                     {"agents", std::move(agents)},
                     {"warnings", Value::Sequence(report.warnings.begin(), report.warnings.end())}};
  if (report.cost) out.set("cost", cost_value(*report.cost));
  out.set("parts", static_cast<std::int64_t>(report.parts));
  Value::Sequence left_out, skipped;
  for (const LeftOutFile& f : report.left_out) {
    left_out.push_back(Value::Mapping{
        {"path", f.path}, {"reason", f.reason}, {"bytes", static_cast<std::int64_t>(f.bytes)}});
  }
  for (const SkippedAgent& a : report.skipped) {
    skipped.push_back(Value::Mapping{{"agent", a.agent}, {"reason", a.reason}});
  }
  out.set("left_out", std::move(left_out));
  out.set("skipped_agents", std::move(skipped));
  Value::Sequence merged;
  for (const ReportedFinding& r : report.findings) {
    if (r.agents.size() < 2) continue;
    merged.push_back(Value::Mapping{{"file_path", r.finding.file_path},
                                    {"line_number", r.finding.line_number},
                                    {"agents", Value::Sequence(r.agents.begin(), r.agents.end())}});
  }
  out.set("selection",
          Value::Mapping{
              {"below_severity", static_cast<std::int64_t>(report.selection.below_severity)},
              {"below_confidence", static_cast<std::int64_t>(report.selection.below_confidence)},
              {"merged", std::move(merged)}});
  return out;
}

}  // namespace tessik::cli
