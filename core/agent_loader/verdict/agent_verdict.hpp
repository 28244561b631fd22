// The three-state outcome of one agent's review.
//
// An agent's analysis returns one AgentVerdict. Its `status` says which of
// three outcomes it is, and callers branch on it through the queries:
//
//   AgentVerdict v = agent.analyse(changes, &shared);
//   if (v.is_findings()) {
//     for (const AIReview& f : v) post(f);                 // the findings, in order
//   } else if (v.is_clean()) {
//     note(*v.summary(), *v.confidence());                  // reviewed, nothing found
//   } else if (v.is_error()) {
//     warn(*v.error_code(), *v.error_message());            // no verdict could be made
//   }
//
// The verdict also reads as a sequence of its findings (iteration, `size`,
// indexed access, slices), so code that only counts or walks the findings
// works unchanged. A "clean" or "error" verdict has no findings, exactly like
// a "findings" verdict with an empty list: only `status` tells them apart.
#ifndef TESSIK_AGENT_LOADER_VERDICT_AGENT_VERDICT_HPP_
#define TESSIK_AGENT_LOADER_VERDICT_AGENT_VERDICT_HPP_

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include <tessik/models.hpp>

namespace tessik {

// An immutable verdict: every field is set at construction and only read
// afterwards (assigning a whole verdict to a variable replaces it, as with
// any value). Copyable and movable; safe to read from several threads.
class AgentVerdict {
 public:
  // The seven fields, for the full constructor. Fill them by name:
  //   AgentVerdict({.status = "clean", .summary = "3 files", .confidence = 0.9})
  // Every field but `status` defaults to empty / absent.
  struct Fields {
    std::string status{};  // "findings", "clean" or "error"
    std::vector<AIReview> findings{};
    std::optional<std::string> summary{};
    std::optional<double> confidence{};
    std::optional<std::string> error_code{};
    std::optional<std::string> error_message{};
    std::optional<std::int64_t> iterations_used{};
    friend bool operator==(const Fields&, const Fields&) = default;
  };

  // Stores the fields as given. Checks nothing: neither that `status` is one
  // of the three values nor that the other fields agree with it. Only the
  // factories below guarantee a consistent verdict.
  explicit AgentVerdict(Fields fields);

  // A "findings" verdict holding `findings` unchanged (not filtered,
  // reordered or validated; an empty list is accepted) and `summary`.
  static AgentVerdict from_findings(std::vector<AIReview> findings,
                                    std::optional<std::string> summary = {});

  // A "clean" verdict: no findings, `summary` and `confidence` stored
  // unchanged (no range check).
  static AgentVerdict from_clean(std::string summary, double confidence);

  // An "error" verdict: no findings, `code` in `error_code`, `message` in
  // `error_message`, and the tool iterations spent when known (0 is stored as
  // present).
  static AgentVerdict from_error(std::string code, std::string message,
                                 std::optional<std::int64_t> iterations_used = {});

  // Read-only access to the fields.
  const std::string& status() const noexcept { return f_.status; }
  const std::vector<AIReview>& findings() const noexcept { return f_.findings; }
  const std::optional<std::string>& summary() const noexcept { return f_.summary; }
  const std::optional<double>& confidence() const noexcept { return f_.confidence; }
  const std::optional<std::string>& error_code() const noexcept { return f_.error_code; }
  const std::optional<std::string>& error_message() const noexcept { return f_.error_message; }
  const std::optional<std::int64_t>& iterations_used() const noexcept { return f_.iterations_used; }

  // Whether `status` is exactly "findings", "clean" or "error"
  // (case-sensitive). A verdict built with any other status answers false to
  // all three.
  bool is_findings() const noexcept;
  bool is_clean() const noexcept;
  bool is_error() const noexcept;

  // The sequence view over `findings()`.
  using value_type = AIReview;
  using const_iterator = std::vector<AIReview>::const_iterator;
  using iterator = const_iterator;
  const_iterator begin() const noexcept { return f_.findings.begin(); }
  const_iterator end() const noexcept { return f_.findings.end(); }
  std::size_t size() const noexcept { return f_.findings.size(); }
  bool empty() const noexcept { return f_.findings.empty(); }

  // The finding at `position`, counted from 0; a negative position counts
  // from the end (-1 is the last finding). Throws std::out_of_range when the
  // position is outside the findings.
  const AIReview& operator[](std::ptrdiff_t position) const;

  // Copies of the findings in the half-open range [start, stop). A negative
  // bound counts from the end; bounds are then clamped to [0, size()], and a
  // range with stop <= start is empty, so no pair of bounds fails. Pass
  // PTRDIFF_MAX as `stop` for "to the end".
  std::vector<AIReview> slice(std::ptrdiff_t start, std::ptrdiff_t stop) const;

  // Equal when all seven fields are equal.
  friend bool operator==(const AgentVerdict&, const AgentVerdict&) = default;

 private:
  Fields f_;
};

// Prints the verdict's status, its set fields and its findings, for test
// failures and debugging.
std::ostream& operator<<(std::ostream& os, const AgentVerdict& verdict);

}  // namespace tessik

#endif  // TESSIK_AGENT_LOADER_VERDICT_AGENT_VERDICT_HPP_
