// The three-state outcome of one agent's review.
#ifndef TESSIK_AGENT_LOADER_VERDICT_HPP_
#define TESSIK_AGENT_LOADER_VERDICT_HPP_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "../models.hpp"

namespace tessik {

class AgentVerdict {
 public:
  struct Fields {
    std::string status;
    std::vector<AIReview> findings;
    std::optional<std::string> summary;
    std::optional<double> confidence;
    std::optional<std::string> error_code;
    std::optional<std::string> error_message;
    std::optional<std::int64_t> iterations_used;
  };

  explicit AgentVerdict(Fields fields);
  static AgentVerdict from_findings(std::vector<AIReview> findings,
                                    std::optional<std::string> summary = {});
  static AgentVerdict from_clean(std::string summary, double confidence);
  static AgentVerdict from_error(std::string code, std::string message,
                                 std::optional<std::int64_t> iterations_used = {});

  const std::string& status() const noexcept { return f_.status; }
  const std::vector<AIReview>& findings() const noexcept { return f_.findings; }
  const std::optional<std::string>& summary() const noexcept { return f_.summary; }
  const std::optional<double>& confidence() const noexcept { return f_.confidence; }
  const std::optional<std::string>& error_code() const noexcept { return f_.error_code; }
  const std::optional<std::string>& error_message() const noexcept { return f_.error_message; }
  const std::optional<std::int64_t>& iterations_used() const noexcept { return f_.iterations_used; }

  bool is_findings() const noexcept;
  bool is_clean() const noexcept;
  bool is_error() const noexcept;

  using const_iterator = std::vector<AIReview>::const_iterator;
  const_iterator begin() const noexcept { return f_.findings.begin(); }
  const_iterator end() const noexcept { return f_.findings.end(); }
  std::size_t size() const noexcept { return f_.findings.size(); }
  bool empty() const noexcept { return f_.findings.empty(); }
  const AIReview& operator[](std::ptrdiff_t position) const;
  std::vector<AIReview> slice(std::ptrdiff_t start, std::ptrdiff_t stop) const;

  friend bool operator==(const AgentVerdict& a, const AgentVerdict& b);

 private:
  Fields f_;
};

}  // namespace tessik

#endif  // TESSIK_AGENT_LOADER_VERDICT_HPP_
