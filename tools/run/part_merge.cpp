#include "run/part_merge.hpp"

#include <algorithm>

namespace tessik::cli {

AgentOutcome merge_parts(std::span<const AgentOutcome> parts) {
  if (parts.size() == 1) return parts.front();
  AgentOutcome out{.agent = parts.front().agent};
  for (const AgentOutcome& p : parts) out.elapsed += p.elapsed;
  const std::string of = " of " + std::to_string(parts.size()) + ": ";
  for (std::size_t i = 0; i < parts.size(); ++i) {
    const AgentOutcome& p = parts[i];
    const std::string part = "part " + std::to_string(i + 1) + of;
    if (!p.verdict) {
      out.failure_kind = p.failure_kind;
      out.failure_message = part + p.failure_message;
      out.call_site = p.call_site;
      out.halt = p.halt;
      return out;
    }
    if (p.verdict->is_error()) {
      out.verdict = AgentVerdict::from_error(p.verdict->error_code().value_or(""),
                                             part + p.verdict->error_message().value_or(""),
                                             p.verdict->iterations_used());
      return out;
    }
  }
  std::vector<AIReview> findings;
  std::string summary;
  double confidence = 1.0;
  for (const AgentOutcome& p : parts) {
    findings.insert(findings.end(), p.verdict->findings().begin(), p.verdict->findings().end());
    if (const std::optional<std::string>& s = p.verdict->summary(); s && !s->empty()) {
      summary += (summary.empty() ? "" : " ") + *s;
    }
    confidence = std::min(confidence, p.verdict->confidence().value_or(confidence));
  }
  const bool clean = std::all_of(parts.begin(), parts.end(),
                                 [](const AgentOutcome& p) { return p.verdict->is_clean(); });
  out.verdict =
      clean ? AgentVerdict::from_clean(summary, confidence)
            : AgentVerdict::from_findings(std::move(findings),
                                          summary.empty() ? std::nullopt : std::optional(summary));
  return out;
}

}  // namespace tessik::cli
