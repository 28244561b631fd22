// A loaded agent and one analysis: request, client call, classification and
// the mapping of the terminal state to a verdict, with the analysis log lines.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "../logging_channels.hpp"
#include "../terminal_state.hpp"
#include "../text.hpp"
#include "agent.hpp"
#include "request.hpp"

namespace tessik {
namespace {

// Replies and summaries are shown in info lines cut to this many code points.
constexpr std::size_t kLogCut = 80;

std::int64_t chars(std::string_view text) {
  return static_cast<std::int64_t>(code_point_count(text));
}

AgentVerdict clean_verdict(const Value::Mapping& payload, const std::string& name) {
  // The info line shows a summary that is not set as empty text, and the
  // confidence exactly as the reply gave it.
  const Value* summary = payload.find("summary");
  Value shown = "";
  if (summary && summary->truthy()) {
    shown =
        summary->is_string() ? Value(first_code_points(summary->as_string(), kLogCut)) : *summary;
  }
  Log::agent.info("[tessik]     [%s] verdict=clean confidence=%s summary=%r", name,
                  payload.find("confidence"), shown);
  return AgentVerdict::from_clean(payload.at("summary").as_string(),
                                  to_float(payload.at("confidence")));
}

AgentVerdict error_verdict(const Value::Mapping& payload, std::string_view raw,
                           const std::string& name) {
  const Value::Mapping& err = payload.at("error").as_mapping();
  const Value& code = err.at("code");
  const Value& message = err.at("message");
  Log::agent.warning("[tessik]     [%s] verdict=error code=%s message=%s", name, code, message);
  if (Log::agent.enabled_for(LogLevel::debug)) {  // spares counting a long reply
    Log::agent.debug("[tessik]     [%s] full raw response (%d chars):\n%s", name, chars(raw), raw);
  }
  std::optional<std::int64_t> iterations_used;
  if (const Value* used = err.find("iterations_used"); used && !used->is_null()) {
    iterations_used = to_int(*used);
  }
  return AgentVerdict::from_error(code.as_string(), message.as_string(), iterations_used);
}

}  // namespace

LoadedAgent::LoadedAgent(AgentDefinition definition, std::shared_ptr<AIClient> client,
                         std::int64_t max_tokens, ReviewerTools tools)
    : def_(std::move(definition)),
      client_(std::move(client)),
      max_tokens_(max_tokens),
      tools_(std::move(tools)) {}

AgentVerdict LoadedAgent::analyse(std::span<const FileChange> changes,
                                  const SharedAnalysisResult* shared) const {
  detail::ReviewRequest request = detail::assemble_request(changes, shared, def_);
  const CompletionResult result = invoke_client(
      std::move(request.user_content), std::move(request.system_blocks), request.diff_hash);

  const std::string& raw = result.text;
  Log::agent.info("[tessik]     [%s] raw response (%d chars, starts: %r)", def_.name, chars(raw),
                  first_code_points(raw, kLogCut));
  const TerminalState terminal = classify_terminal_state({
      .raw_text = raw,
      .stop_reason = result.stop_reason,
      .iterations_used = result.iterations_used.value_or(1),
      .max_iterations = def_.max_tool_iterations,
      .hit_iteration_cap = result.hit_iteration_cap.value_or(false),
  });
  return detail::verdict_from_terminal_state(terminal, raw, def_);
}

namespace detail {

AgentVerdict verdict_from_terminal_state(const TerminalState& terminal, std::string_view raw,
                                         const AgentDefinition& definition) {
  const std::string& name = definition.name;
  if (terminal.state == "findings") {
    AgentVerdict verdict = build_findings_verdict(terminal.payload, definition);
    Log::agent.info("[tessik]     [%s] verdict=findings count=%d", name,
                    static_cast<std::int64_t>(verdict.size()));
    return verdict;
  }
  if (terminal.state == "clean") return clean_verdict(terminal.payload.as_mapping(), name);
  return error_verdict(terminal.payload.as_mapping(), raw, name);
}

}  // namespace detail
}  // namespace tessik
