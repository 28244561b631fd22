// One problem `validate` reports, and the stable codes it reports them under.
#ifndef TESSIK_TOOLS_LINT_DIAGNOSTIC_HPP_
#define TESSIK_TOOLS_LINT_DIAGNOSTIC_HPP_

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <tessik/foundation/errors.hpp>

namespace tessik::lint {

enum class Severity { error, warning, note };

// "error", "warning" or "note".
std::string_view severity_word(Severity severity) noexcept;

// A code's meaning, one line, for the README, the help text and SARIF rules.
struct LintRule {
  std::string_view code;  // "E101", stable across releases
  std::string_view name;  // "unreadable-file"
  Severity severity;
  std::string_view summary;
};

// Every code, errors first, in code order.
std::span<const LintRule> all_rules() noexcept;

// The rule of `code`; `code` must be one of all_rules().
const LintRule& rule(std::string_view code);

struct Diagnostic {
  std::string file{};
  std::optional<TextPosition> at{};  // absent for a file that has no text to point into
  Severity severity = Severity::error;
  std::string message{};
  std::string code{};
};

// Orders the diagnostics of one file by position (those without one first),
// keeping the order of equal positions.
void sort_by_position(std::vector<Diagnostic>& diagnostics);

}  // namespace tessik::lint

#endif  // TESSIK_TOOLS_LINT_DIAGNOSTIC_HPP_
