#include "lint/diagnostic.hpp"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string>

namespace tessik::lint {
namespace {

using enum Severity;

constexpr std::array kRules{
    LintRule{"E101", "unreadable-file", error,
             "the file cannot be read: missing, a directory, too large or not a regular file"},
    LintRule{"E102", "invalid-utf8", error, "the file is not valid UTF-8"},
    LintRule{"E103", "invalid-yaml", error,
             "the YAML cannot be loaded: a syntax error, a refused tag, a second document"},
    LintRule{"E104", "no-front-matter", error, "a Markdown file without its YAML front-matter"},
    LintRule{"E105", "missing-name", error, "the required 'name' is absent or empty"},
    LintRule{"E106", "invalid-value", error,
             "a definition key's value cannot be converted, or the file is no mapping"},
    LintRule{"E107", "no-parser", error, "no parser claims the file's suffix"},
    LintRule{"E108", "outside-directory", error,
             "a folder entry leads outside the folder (or nowhere) and is skipped"},
    LintRule{"W201", "unknown-key", warning, "a key that is not a definition key is ignored"},
    LintRule{"W202", "enabled-not-boolean", warning,
             "'enabled' is not true or false and counts by its truth value"},
    LintRule{"W203", "text-as-list", warning,
             "'focus_areas' or 'trigger_patterns' given as a text or mapping, not a list"},
    LintRule{"W204", "version-as-number", warning,
             "a 'version' that YAML reads as a number and so changes its text"},
    LintRule{"W205", "no-tool-iterations", warning, "'max_tool_iterations' of zero or less"},
    LintRule{"W206", "unknown-severity", warning,
             "'severity_default' is not a text or not a severity word"},
    LintRule{"W207", "empty-prompt", warning, "the system prompt is empty"},
    LintRule{"W208", "body-ignored", warning,
             "a Markdown body ignored because the front-matter sets 'system_prompt'"},
    LintRule{"W209", "builtin-name-case", warning,
             "a built-in agent's name in another letter case, which replaces nothing"},
    LintRule{"W210", "duplicate-name", warning,
             "two files of one folder define the same name; the later one wins"},
    LintRule{"N301", "replaces-builtin", note,
             "the agent (enabled) replaces the built-in agent of its name"},
    LintRule{
        "N302", "disabled", note,
        "the agent is disabled, so no review run loads it (a built-in of its name still runs)"},
};

}  // namespace

std::string_view severity_word(Severity severity) noexcept {
  switch (severity) {
    case error:
      return "error";
    case warning:
      return "warning";
    case note:
      return "note";
  }
  return "error";
}

std::span<const LintRule> all_rules() noexcept { return kRules; }

const LintRule& rule(std::string_view code) {
  for (const LintRule& r : kRules) {
    if (r.code == code) return r;
  }
  throw std::logic_error("unknown lint code " + std::string(code));
}

void sort_by_position(std::vector<Diagnostic>& diagnostics) {
  std::stable_sort(diagnostics.begin(), diagnostics.end(),
                   [](const Diagnostic& a, const Diagnostic& b) {
                     if (!a.at || !b.at) return !a.at && b.at;
                     if (a.at->line != b.at->line) return a.at->line < b.at->line;
                     return a.at->column < b.at->column;
                   });
}

}  // namespace tessik::lint
