#include <tessik/agent_loader/verdict/agent_verdict.hpp>

#include <algorithm>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include <tessik/foundation/text.hpp>

namespace tessik {
namespace {

// A bound of a half-open range: negative counts from the end, then clamped
// to [0, size]. `bound + size` cannot overflow for a negative bound.
std::ptrdiff_t clamp_bound(std::ptrdiff_t bound, std::ptrdiff_t size) {
  if (bound < 0) bound += size;
  return std::clamp<std::ptrdiff_t>(bound, 0, size);
}

template <class T>
void print_optional(std::ostream& os, const char* name, const std::optional<T>& field) {
  if (!field) return;
  os << ", " << name << "=";
  if constexpr (std::is_same_v<T, std::string>) {
    os << repr(std::string_view(*field));
  } else {
    os << *field;
  }
}

}  // namespace

AgentVerdict::AgentVerdict(Fields fields) : f_(std::move(fields)) {}

AgentVerdict AgentVerdict::from_findings(std::vector<AIReview> findings,
                                         std::optional<std::string> summary) {
  return AgentVerdict(
      {.status = "findings", .findings = std::move(findings), .summary = std::move(summary)});
}

AgentVerdict AgentVerdict::from_clean(std::string summary, double confidence) {
  return AgentVerdict({.status = "clean", .summary = std::move(summary), .confidence = confidence});
}

AgentVerdict AgentVerdict::from_error(std::string code, std::string message,
                                      std::optional<std::int64_t> iterations_used) {
  return AgentVerdict({.status = "error",
                       .error_code = std::move(code),
                       .error_message = std::move(message),
                       .iterations_used = iterations_used});
}

bool AgentVerdict::is_findings() const noexcept { return f_.status == "findings"; }
bool AgentVerdict::is_clean() const noexcept { return f_.status == "clean"; }
bool AgentVerdict::is_error() const noexcept { return f_.status == "error"; }

const AIReview& AgentVerdict::operator[](std::ptrdiff_t position) const {
  const auto size = static_cast<std::ptrdiff_t>(f_.findings.size());
  const std::ptrdiff_t index = position < 0 ? position + size : position;
  if (index < 0 || index >= size) {
    throw std::out_of_range("finding position " + std::to_string(position) +
                            " is out of range: the verdict holds " + std::to_string(size) +
                            (size == 1 ? " finding" : " findings"));
  }
  return f_.findings[static_cast<std::size_t>(index)];
}

std::vector<AIReview> AgentVerdict::slice(std::ptrdiff_t start, std::ptrdiff_t stop) const {
  const auto size = static_cast<std::ptrdiff_t>(f_.findings.size());
  const std::ptrdiff_t first = clamp_bound(start, size);
  const std::ptrdiff_t last = clamp_bound(stop, size);
  if (last <= first) return {};
  return {f_.findings.begin() + first, f_.findings.begin() + last};
}

std::ostream& operator<<(std::ostream& os, const AgentVerdict& verdict) {
  os << "AgentVerdict(status=" << repr(std::string_view(verdict.status()));
  print_optional(os, "summary", verdict.summary());
  print_optional(os, "confidence", verdict.confidence());
  print_optional(os, "error_code", verdict.error_code());
  print_optional(os, "error_message", verdict.error_message());
  print_optional(os, "iterations_used", verdict.iterations_used());
  os << ", findings=[";
  for (std::size_t i = 0; i < verdict.size(); ++i) {
    os << (i == 0 ? "" : ", ") << verdict.findings()[i];
  }
  return os << "])";
}

}  // namespace tessik
