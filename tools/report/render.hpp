// Turning definitions, findings and verdicts into the tool's two outputs:
// JSON values (for --json) and aligned text for people.
#ifndef TESSIK_TOOLS_REPORT_RENDER_HPP_
#define TESSIK_TOOLS_REPORT_RENDER_HPP_

#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

#include <tessik/agent_loader.hpp>

namespace tessik::cli {

// Every field of the definition, under its field name.
Value definition_value(const AgentDefinition& def);

// Every field of the finding, under its field name.
Value finding_value(const AIReview& finding);

// The verdict: "status", then "findings" for a findings verdict, "summary"
// and "confidence" for a clean one, "error_code", "error_message" and
// "iterations_used" for an error one.
Value verdict_value(const AgentVerdict& verdict);

// The category an agent's findings get when the model names none: the
// built-in agents' own categories, "code-quality" for every other agent.
std::string agent_category(std::string_view agent_name);

// The text form of a value on one line: line breaks become blanks.
std::string one_line(const Value& v);

// `text` with CR and LF written as "\r" and "\n", so that a file name that
// holds them cannot split a FILE:LINE: line.
std::string line_safe(std::string_view text);

// Prints `rows` as left-aligned columns, the first row being the header,
// each line starting with `indent`. The last column is not padded.
void print_table(std::ostream& os, const std::vector<std::vector<std::string>>& rows,
                 std::string_view indent = "");

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_REPORT_RENDER_HPP_
