// The tool-use exchange both protocols share: call the model, answer every
// tool call through the registered handlers, send the answers back, until
// the model stops for another reason or the iteration cap is reached.
#ifndef TESSIK_CLIENTS_DETAIL_TOOL_LOOP_HPP_
#define TESSIK_CLIENTS_DETAIL_TOOL_LOOP_HPP_

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <tessik/ai_client.hpp>
#include <tessik/clients/usage.hpp>
#include <tessik/foundation/value.hpp>

namespace tessik::clients::detail {

// One tool call the model made. `problem` is set when the call cannot be
// run as made (arguments that are not a JSON object); the model is then
// answered with it as an error.
struct ToolCall {
  std::string id;
  std::string name;
  Value input{};
  std::string problem{};
};

// A decoded reply of either protocol.
struct DecodedReply {
  Value assistant;  // the assistant turn to append to the conversation
  std::string text;
  std::optional<std::string> stop_reason;  // already mapped to the common words
  std::vector<ToolCall> tool_calls;
  TokenUsage usage;
};

// What the model is told a tool call gave.
struct ToolOutcome {
  std::string content;
  bool is_error = false;
};

// Runs one tool call through its handler. Never throws (short of running
// out of memory): an unknown tool, a call with a problem and a handler that
// throws all become error outcomes the model can read. A handler's text
// result is sent as it is, any other result as JSON.
ToolOutcome answer_tool_call(const std::map<std::string, ToolHandler>& handlers,
                             const ToolCall& call);

// The protocol's half of the exchange.
struct ToolLoopSteps {
  // Sends the conversation so far and returns the decoded reply.
  std::function<DecodedReply(const Value& conversation)> send;
  // Appends the assistant turn and the outcomes of its tool calls (in the
  // order of the calls) to the conversation.
  std::function<void(Value& conversation, const DecodedReply& reply,
                     const std::vector<ToolOutcome>& outcomes)>
      answer;
  // Sends the conversation so far once more with tool calls ruled out and
  // the reply held to the verdict shapes. Empty when verdicts are not held.
  std::function<DecodedReply(const Value& conversation)> ask_verdict{};
};

// Runs the exchange starting from `messages`. Each model call is one
// iteration; a reply that asks for tools when `max_iterations` calls have
// been made ends the exchange with hit_iteration_cap true. A cap below 1
// counts as 1.
//
// With `ask_verdict`, the tool rounds stay free (a server that forces a
// reply format over the whole reply would rule tool calls out) and the
// verdict is held by one more call within the cap: when the model ends
// without a valid verdict (see is_verdict_reply; a refusal stands as it is),
// or asks for tools with one iteration left (its calls are answered first),
// the same conversation goes out through `ask_verdict`. Its reply is the
// result; hit_iteration_cap is then true only when the cap forced that call
// and it still gave no verdict.
CompletionResult run_tool_loop(const Value& messages, std::int64_t max_iterations,
                               const std::map<std::string, ToolHandler>& handlers,
                               const ToolLoopSteps& steps);

}  // namespace tessik::clients::detail

#endif  // TESSIK_CLIENTS_DETAIL_TOOL_LOOP_HPP_
