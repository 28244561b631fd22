// The output formats of `validate`: text in the form compilers use, JSON,
// GitHub workflow annotations and a SARIF 2.1.0 log. Each writes every
// diagnostic of `reports` in order (files in the order checked, each file's
// diagnostics by position).
#ifndef TESSIK_TOOLS_LINT_REPORTS_HPP_
#define TESSIK_TOOLS_LINT_REPORTS_HPP_

#include <cstddef>
#include <iosfwd>
#include <string>
#include <vector>

#include "lint/check.hpp"

namespace tessik::lint {

struct Totals {
  std::size_t files = 0, errors = 0, warnings = 0, notes = 0;
};

Totals count(const std::vector<FileReport>& reports);

// "3 files checked: 2 errors, 1 warning", and ", 1 note" when there are notes.
std::string summary_line(const Totals& totals);

// "FILE:LINE:COL: error: MESSAGE [CODE]" (without ":LINE:COL" for a
// diagnostic that has no position), one line each, then the summary line.
void write_text(std::ostream& os, const std::vector<FileReport>& reports);

// "::error file=F,line=L,col=C,title=CODE::MESSAGE" (warning, notice),
// property values and messages escaped as workflow commands require, then
// the summary line as plain text.
void write_github(std::ostream& os, const std::vector<FileReport>& reports);

// {"files": [{"file", "valid", "definition" or "error": {"kind", "message"},
// "diagnostics": [{"line", "column", "severity", "code", "message"}]}],
// "summary": {"files", "errors", "warnings", "notes"}}; a diagnostic
// without a position has null line and column.
void write_json(std::ostream& os, const std::vector<FileReport>& reports);

// A SARIF 2.1.0 log: one run whose driver lists one rule per code, and one
// result per diagnostic with its level, message and location.
void write_sarif(std::ostream& os, const std::vector<FileReport>& reports);

}  // namespace tessik::lint

#endif  // TESSIK_TOOLS_LINT_REPORTS_HPP_
