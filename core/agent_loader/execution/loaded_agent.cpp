// A loaded agent and one analysis: request, client call, classification and
// the mapping of the terminal state to a verdict, with the analysis log lines.
#include <cstdint>
#include <string>
#include <utility>

#include <tessik/agent_loader/execution/detail/dispatch.hpp>
#include <tessik/agent_loader/execution/detail/request.hpp>
#include <tessik/agent_loader/execution/detail/terminal_verdict.hpp>
#include <tessik/agent_loader/execution/loaded_agent.hpp>
#include <tessik/foundation/text.hpp>
#include <tessik/logging_channels.hpp>
#include <tessik/terminal_state.hpp>

namespace tessik {

LoadedAgent::LoadedAgent(AgentDefinition definition, std::shared_ptr<AIClient> client,
                         std::int64_t max_tokens, ReviewerTools tools)
    : def_(std::move(definition)),
      client_(std::move(client)),
      max_tokens_(max_tokens),
      tools_(std::move(tools)) {}

AgentVerdict LoadedAgent::analyse(std::span<const FileChange> changes,
                                  const SharedAnalysisResult* shared) const {
  // The request is moved into the client's options: the diff block is never
  // copied.
  const CompletionResult result = detail::send_request(
      client_.get(), detail::request_for(*this, changes, shared), def_, max_tokens_);

  const std::string& raw = result.text;
  Log::agent.info("[tessik]     [%s] raw response (%d chars, starts: %r)", def_.name,
                  detail::logged_length(raw), first_code_points(raw, detail::LOG_CUT));
  TerminalState terminal = classify_terminal_state({
      .raw_text = raw,
      .stop_reason = result.stop_reason,
      .iterations_used = result.iterations_used.value_or(1),
      .max_iterations = def_.max_tool_iterations,
      .hit_iteration_cap = result.hit_iteration_cap.value_or(false),
  });
  return detail::verdict_from_terminal_state(std::move(terminal), raw, def_);
}

}  // namespace tessik
