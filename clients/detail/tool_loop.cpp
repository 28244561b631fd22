#include <tessik/clients/detail/tool_loop.hpp>

#include <algorithm>
#include <exception>
#include <string>

#include <tessik/clients/detail/wire_values.hpp>
#include <tessik/foundation/json.hpp>

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

CompletionResult run_tool_loop(const Value& messages, std::int64_t max_iterations,
                               const std::map<std::string, ToolHandler>& handlers,
                               const ToolLoopSteps& steps) {
  const std::int64_t cap = std::max<std::int64_t>(max_iterations, 1);
  Value conversation = messages;
  for (std::int64_t iteration = 1;; ++iteration) {
    DecodedReply reply = steps.send(conversation);
    const bool wants_tools = reply.stop_reason == "tool_use" && !reply.tool_calls.empty();
    if (!wants_tools || iteration >= cap) {
      return {.text = std::move(reply.text),
              .stop_reason = std::move(reply.stop_reason),
              .iterations_used = iteration,
              .hit_iteration_cap = wants_tools};
    }
    std::vector<ToolOutcome> outcomes;
    outcomes.reserve(reply.tool_calls.size());
    for (const ToolCall& call : reply.tool_calls) {
      outcomes.push_back(answer_tool_call(handlers, call));
    }
    steps.answer(conversation, reply, outcomes);
  }
}

}  // namespace tessik::clients::detail
