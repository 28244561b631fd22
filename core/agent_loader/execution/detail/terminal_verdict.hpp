// The last stage of an analysis: the reply classifier's terminal state turned
// into a verdict, with its log lines.
#ifndef TESSIK_AGENT_LOADER_EXECUTION_DETAIL_TERMINAL_VERDICT_HPP_
#define TESSIK_AGENT_LOADER_EXECUTION_DETAIL_TERMINAL_VERDICT_HPP_

#include <cstddef>
#include <cstdint>
#include <string_view>

#include <tessik/agent_loader/definitions/agent_definition.hpp>
#include <tessik/agent_loader/verdict/agent_verdict.hpp>
#include <tessik/foundation/value.hpp>
#include <tessik/terminal_state.hpp>

namespace tessik {
namespace detail {

// Replies, summaries and issues are shown in log lines cut to this many code
// points.
inline constexpr std::size_t LOG_CUT = 80;

// The length of a reply as its log lines give it: in code points.
std::int64_t logged_length(std::string_view text);

// Stage 4 for the state "findings": logs one `Log::position` line per item
// of the payload's "findings" (a missing entry counts as none), parses each
// with the definition's name and `severity_default`, drops rejected items and
// returns a findings verdict whose summary is the payload's "summary" when
// that is text. Throws TypeError when "findings" is present but not a
// sequence. For an item that is not a mapping the log line shows no line,
// "(no file field)", an empty issue and no code replacement. An "issue" that
// is not text is logged as its text form, cut to 80 code points.
// The payload is taken by value: the findings take its texts without copies.
AgentVerdict build_findings_verdict(Value payload, const AgentDefinition& definition);

// Stage 4 for any state, with its log lines: "findings" as above, "clean"
// from the payload's "summary" (text) and "confidence" (converted to a
// double), anything else (compared exactly) as an error from the payload's
// "error" mapping: its "code", "message" and, when present and not null,
// "iterations_used". `raw` is the reply text, logged in full on the error
// path. The payload is trusted: a missing entry fails with
// InvalidValueError, an entry of the wrong kind with TypeError.
AgentVerdict verdict_from_terminal_state(TerminalState terminal, std::string_view raw,
                                         const AgentDefinition& definition);

}  // namespace detail
}  // namespace tessik

#endif  // TESSIK_AGENT_LOADER_EXECUTION_DETAIL_TERMINAL_VERDICT_HPP_
