// The reply classifier: sorts a model's final reply into one terminal state
// ("findings", "clean" or "error") before an agent turns it into a verdict.
//
//   TerminalState t = classify_terminal_state({.raw_text = result.text,
//                                              .stop_reason = result.stop_reason});
//   if (t.state == "findings") { ... t.payload.as_mapping().at("findings") ... }
//
// A reply is expected to be one JSON object in one of three shapes, told
// apart by "status" (see finding_schema.hpp). The classifier checks the
// envelope only; finding items are judged one by one later.
//
// The text is trimmed of white space first. A reply that is exactly one
// fenced code block ("```" or "```json" on the first line, "```" on the last,
// no other fence line between) is unwrapped, since models add fences despite
// being told not to. Replies longer than `MAX_REPLY_BYTES` are not parsed.
//
// The rules, first match wins:
//
//   condition                                          state      error code
//   stop reason "refusal" (whatever the text)          error      model_refusal
//   the text is a valid reply (below)                  its status -
//   hit_iteration_cap and no valid reply               error      max_iterations_no_verdict
//   empty or blank text                                error      empty_response
//   more than MAX_REPLY_BYTES bytes                    error      response_too_large
//   not JSON, stop reason "max_tokens"                 error      truncated_response
//   not JSON                                           error      invalid_json
//   JSON, but not an object                            error      invalid_response_schema
//   object without "status" (incl. bare {"findings"})  error      invalid_response_schema
//   "status" not exactly findings / clean / error      error      invalid_response_schema
//   "findings" without a non-empty "findings" array    error      invalid_response_schema
//   "clean" without a non-blank text "summary" or
//     without a numeric (not boolean) "confidence"     error      invalid_response_schema
//   "error" without an "error" object holding a
//     non-blank text "code" and a text "message"       error      invalid_response_schema
//
// Payloads: a valid reply's payload is the parsed reply object itself,
// unchanged (so a model's own {"status": "error", ...} keeps its code and
// iterations). An error the classifier makes has the payload
//   {"error": {"code": <code>, "message": <what was wrong>,
//              "iterations_used": <facts.iterations_used>}}
// whose message names the problem in words a reader of the log can act on.
//
// Never throws for any reply text (short of running out of memory). Safe to
// call from several threads.
#ifndef TESSIK_TERMINAL_STATE_HPP_
#define TESSIK_TERMINAL_STATE_HPP_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <tessik/foundation/limits.hpp>
#include <tessik/foundation/value.hpp>

namespace tessik {

// The largest reply text that is parsed: 4 MiB. A reply is bounded by the
// token budget of its request, so anything larger is not a genuine answer
// and is refused without spending time and memory on it.
inline constexpr std::size_t MAX_REPLY_BYTES = limits::kReplyBytes;

// The classifier's result. `state` is "findings", "clean" or "error";
// `payload` is a mapping (see the header comment).
struct TerminalState {
  std::string state{};
  Value payload{};
};

// What the classifier knows about one completion.
struct ReplyFacts {
  std::string_view raw_text{};               // the model's final reply text
  std::optional<std::string> stop_reason{};  // absent when the client did not say
  std::int64_t iterations_used = 1;          // tool-use iterations spent
  std::int64_t max_iterations = 5;           // the agent's iteration cap
  bool hit_iteration_cap = false;            // the client stopped at the cap
};

// Whether `raw_text` is a valid reply in one of the three shapes (the
// second row of the table): what a client asks for again, constrained, when
// a tool exchange ends without one. Never throws; thread-safe.
bool is_verdict_reply(std::string_view raw_text);

// Sorts one reply into its terminal state by the table above.
TerminalState classify_terminal_state(const ReplyFacts& facts);

}  // namespace tessik

#endif  // TESSIK_TERMINAL_STATE_HPP_
