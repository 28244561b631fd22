#include <tessik/clients/detail/tool_loop.hpp>

#include <algorithm>
#include <exception>
#include <string>

#include <tessik/clients/detail/wire_values.hpp>
#include <tessik/foundation/json.hpp>
#include <tessik/terminal_state.hpp>

namespace tessik::clients::detail {

ToolOutcome answer_tool_call(const std::map<std::string, ToolHandler>& handlers,
                             const ToolCall& call) {
  try {
    if (!call.problem.empty()) return {call.problem, true};
    const auto found = handlers.find(call.name);
    if (found == handlers.end() || !found->second) {
      std::string known;
      for (const auto& [name, handler] : handlers) known += (known.empty() ? "" : ", ") + name;
      return {"there is no tool named '" + call.name +
                  "'; the tools are: " + (known.empty() ? "none" : known),
              true};
    }
    if (!call.input.is_mapping()) {
      return {
          "the input of tool '" + call.name + "' must be an object, not " + kind_phrase(call.input),
          true};
    }
    const Value result = found->second(call.input);
    return {result.is_string() ? result.as_string() : to_json(result), false};
  } catch (const std::exception& e) {
    return {"tool '" + call.name + "' failed: " + e.what(), true};
  } catch (...) {
    return {"tool '" + call.name + "' failed", true};
  }
}

namespace {

CompletionResult result_of(DecodedReply reply, std::int64_t iteration, bool capped) {
  return {.text = std::move(reply.text),
          .stop_reason = std::move(reply.stop_reason),
          .iterations_used = iteration,
          .hit_iteration_cap = capped};
}

void answer_calls(Value& conversation, const DecodedReply& reply,
                  const std::map<std::string, ToolHandler>& handlers, const ToolLoopSteps& steps) {
  std::vector<ToolOutcome> outcomes;
  outcomes.reserve(reply.tool_calls.size());
  for (const ToolCall& call : reply.tool_calls)
    outcomes.push_back(answer_tool_call(handlers, call));
  steps.answer(conversation, reply, outcomes);
}

}  // namespace

CompletionResult run_tool_loop(const Value& messages, std::int64_t max_iterations,
                               const std::map<std::string, ToolHandler>& handlers,
                               const ToolLoopSteps& steps) {
  const std::int64_t cap = std::max<std::int64_t>(max_iterations, 1);
  const bool hold = static_cast<bool>(steps.ask_verdict);
  Value conversation = messages;
  for (std::int64_t iteration = 1;; ++iteration) {
    DecodedReply reply = steps.send(conversation);
    const bool wants_tools = reply.stop_reason == "tool_use" && !reply.tool_calls.empty();
    if (wants_tools && iteration < cap) {
      answer_calls(conversation, reply, handlers, steps);
      if (!hold || iteration + 1 < cap) continue;
      DecodedReply verdict = steps.ask_verdict(conversation);
      const bool held = is_verdict_reply(verdict.text);
      return result_of(std::move(verdict), cap, !held);
    }
    if (hold && !wants_tools && iteration < cap && reply.stop_reason != "refusal" &&
        !is_verdict_reply(reply.text)) {
      return result_of(steps.ask_verdict(conversation), iteration + 1, false);
    }
    return result_of(std::move(reply), iteration, wants_tools);
  }
}

}  // namespace tessik::clients::detail
