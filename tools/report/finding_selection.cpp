#include "report/finding_selection.hpp"

#include <algorithm>
#include <map>
#include <utility>

#include <tessik/foundation/text.hpp>

#include "report/review_report.hpp"

namespace tessik::cli {
namespace {

constexpr std::string_view kSeverities[] = {"info", "low", "medium", "high"};

using Place = std::pair<std::string, std::int64_t>;

Place place_of(const AIReview& f) { return {text_form(f.file_path), f.line_number}; }

bool outranks(const AIReview& a, const AIReview& b) {
  const int ra = severity_rank(a.severity), rb = severity_rank(b.severity);
  return ra != rb ? ra > rb : a.confidence > b.confidence;
}

std::string count_text(std::size_t n, std::string_view what) {
  return std::to_string(n) + (n == 1 ? " finding " : " findings ") + std::string(what);
}

// Collects the kept findings of every verdict, merged by place.
std::vector<ReportedFinding> merge(const ReviewReport& report, const FindingFilter& filter,
                                   Selection& s) {
  std::vector<ReportedFinding> out;
  std::map<Place, std::size_t> index;
  for (const AgentOutcome& o : report.outcomes) {
    if (!o.verdict || !o.verdict->is_findings()) continue;
    for (const AIReview& f : *o.verdict) {
      if (severity_rank(f.severity) < filter.min_severity) {
        ++s.below_severity;
        continue;
      }
      if (f.confidence < filter.min_confidence) {
        ++s.below_confidence;
        continue;
      }
      const auto [it, added] = index.try_emplace(place_of(f), out.size());
      if (added) {
        out.push_back({.finding = f, .agents = {o.agent}});
        continue;
      }
      ++s.merged;
      ReportedFinding& r = out[it->second];
      if (std::find(r.agents.begin(), r.agents.end(), o.agent) == r.agents.end()) {
        r.agents.push_back(o.agent);
      }
      const double confidence = std::max(r.finding.confidence, f.confidence);
      if (outranks(f, r.finding)) r.finding.severity = f.severity;
      r.finding.confidence = confidence;
    }
  }
  return out;
}

}  // namespace

int severity_rank(std::string_view severity) noexcept {
  for (int i = 3; i > 0; --i) {
    if (kSeverities[i] == severity) return i;
  }
  return 0;
}

std::optional<int> severity_level(std::string_view word) {
  const std::string w = lower(word);
  for (int i = 0; i < 4; ++i) {
    if (kSeverities[i] == w) return i;
  }
  return std::nullopt;
}

Selection select_findings(ReviewReport& report, const FindingFilter& filter) {
  Selection s;
  report.findings = merge(report, filter, s);
  for (AgentOutcome& o : report.outcomes) {
    if (!o.verdict || !o.verdict->is_findings()) continue;
    std::vector<AIReview> owned;
    for (const ReportedFinding& r : report.findings) {
      if (r.agents.front() == o.agent) owned.push_back(r.finding);
    }
    o.verdict = AgentVerdict::from_findings(std::move(owned), o.verdict->summary());
  }
  return s;
}

std::string selection_line(const Selection& s, const FindingFilter& filter) {
  std::vector<std::string> parts;
  if (s.below_severity > 0) {
    parts.push_back(count_text(s.below_severity, "below severity ") +
                    std::string(kSeverities[filter.min_severity]));
  }
  if (s.below_confidence > 0) {
    parts.push_back(count_text(s.below_confidence, "below confidence ") +
                    text_form(filter.min_confidence));
  }
  std::string line;
  for (const std::string& p : parts) line += (line.empty() ? "left out " : ", ") + p;
  if (s.merged > 0) {
    line += (line.empty() ? "" : "; ") +
            count_text(s.merged, "also reported by another agent at the same line, shown once");
  }
  return line;
}

bool fails_on(const ReviewReport& report, std::optional<int> fail_on) {
  if (!fail_on) return false;
  return std::any_of(report.findings.begin(), report.findings.end(), [&](const ReportedFinding& r) {
    return severity_rank(r.finding.severity) >= *fail_on;
  });
}

}  // namespace tessik::cli
