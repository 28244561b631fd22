// The last stage of an analysis: a terminal state turned into a verdict with
// its log lines; on the findings path one diagnostic line per raw finding
// item, then every item through the finding parser.
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <tessik/agent_loader/execution/detail/terminal_verdict.hpp>
#include <tessik/agent_loader/findings/detail/finding_item.hpp>
#include <tessik/foundation/text.hpp>
#include <tessik/logging_channels.hpp>
#include <tessik/terminal_state.hpp>

namespace tessik::detail {
namespace {

// The first of `keys` whose value in `item` is set, or nullptr.
const Value* first_set(const Value& item, std::initializer_list<std::string_view> keys) {
  for (std::string_view key : keys) {
    const Value* v = item.find(key);
    if (v && v->truthy()) return v;
  }
  return nullptr;
}

// The issue text of an item as logged: its first 80 code points.
Value logged_issue(const Value& item) {
  const Value* issue = first_set(item, {"issue", "message", "title"});
  if (!issue) return "";
  if (issue->is_string()) return first_code_points(issue->as_string(), LOG_CUT);
  return first_code_points(text_form(*issue), LOG_CUT);
}

// Shows where the model placed an item before any normalisation, so that
// position problems can be traced to the reply rather than the parser.
void log_item_position(const Value& item, std::size_t index, const std::string& agent_name) {
  // The line is mostly dropped; its lookups and copies are spared then.
  if (!Log::position.enabled_for(LogLevel::info)) return;
  const Value* raw_line = first_set(item, {"line", "lines"});
  if (!raw_line) raw_line = item.find("line_number");
  const Value* file = first_set(item, {"file_path", "filename", "file"});
  const Value raw_file = file ? *file : Value("(no file field)");
  const Value* code_replacement = item.find("code_replacement");
  Log::position.info(
      "[pos] agent.finding[%d]  agent=%s  raw_line=%r  raw_file=%r  issue=%r  "
      "has_code_replacement=%s  raw_rlc=%r",
      static_cast<std::int64_t>(index), agent_name, raw_line, raw_file, logged_issue(item),
      code_replacement != nullptr && code_replacement->truthy(),
      item.find("replacement_line_count"));
}

AgentVerdict clean_verdict(const Value::Mapping& payload, const std::string& name) {
  // The info line shows a summary that is not set as empty text, and the
  // confidence exactly as the reply gave it.
  const Value* summary = payload.find("summary");
  Value shown = "";
  if (summary && summary->truthy()) {
    shown =
        summary->is_string() ? Value(first_code_points(summary->as_string(), LOG_CUT)) : *summary;
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
    Log::agent.debug("[tessik]     [%s] full raw response (%d chars):\n%s", name,
                     logged_length(raw), raw);
  }
  std::optional<std::int64_t> iterations_used;
  if (const Value* used = err.find("iterations_used"); used && !used->is_null()) {
    iterations_used = to_int(*used);
  }
  return AgentVerdict::from_error(code.as_string(), message.as_string(), iterations_used);
}

}  // namespace

std::int64_t logged_length(std::string_view text) {
  return static_cast<std::int64_t>(code_point_count(text));
}

AgentVerdict build_findings_verdict(Value payload, const AgentDefinition& definition) {
  std::vector<AIReview> reviews;
  if (payload.is_mapping()) {
    if (Value* items = payload.as_mapping().find("findings")) {
      Value::Sequence& sequence = items->as_sequence();
      reviews.reserve(sequence.size());
      for (std::size_t index = 0; index < sequence.size(); ++index) {
        Value& item = sequence[index];
        log_item_position(item, index, definition.name);
        // The payload is ours: the finding takes the item's texts.
        append_finding_item(std::move(item), definition.name, definition.severity_default, reviews);
      }
    }
  }
  const Value* summary = payload.find("summary");
  std::optional<std::string> summary_text;
  if (summary && summary->is_string()) summary_text = summary->as_string();
  return AgentVerdict::from_findings(std::move(reviews), std::move(summary_text));
}

AgentVerdict verdict_from_terminal_state(TerminalState terminal, std::string_view raw,
                                         const AgentDefinition& definition) {
  const std::string& name = definition.name;
  if (terminal.state == "findings") {
    AgentVerdict verdict = build_findings_verdict(std::move(terminal.payload), definition);
    Log::agent.info("[tessik]     [%s] verdict=findings count=%d", name,
                    static_cast<std::int64_t>(verdict.size()));
    return verdict;
  }
  if (terminal.state == "clean") return clean_verdict(terminal.payload.as_mapping(), name);
  return error_verdict(terminal.payload.as_mapping(), raw, name);
}

}  // namespace tessik::detail
