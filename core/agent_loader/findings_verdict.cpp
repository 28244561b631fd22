// The findings path of an analysis: one diagnostic line per raw finding item,
// then every item through the finding parser.
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "../logging_channels.hpp"
#include "../text.hpp"
#include "agent.hpp"
#include "findings.hpp"

namespace tessik::detail {
namespace {

constexpr std::size_t kIssueCut = 80;

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
  if (issue->is_string()) return first_code_points(issue->as_string(), kIssueCut);
  return first_code_points(text_form(*issue), kIssueCut);
}

// Shows where the model placed an item before any normalisation, so that
// position problems can be traced to the reply rather than the parser.
void log_item_position(const Value& item, std::size_t index, const std::string& agent_name) {
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

}  // namespace

AgentVerdict build_findings_verdict(const Value& payload, const AgentDefinition& definition) {
  std::vector<AIReview> reviews;
  if (const Value* items = payload.find("findings")) {
    const Value::Sequence& sequence = items->as_sequence();
    reviews.reserve(sequence.size());
    for (std::size_t index = 0; index < sequence.size(); ++index) {
      const Value& item = sequence[index];
      log_item_position(item, index, definition.name);
      if (std::optional<AIReview> parsed =
              parse_finding_item(item, definition.name, definition.severity_default)) {
        reviews.push_back(std::move(*parsed));
      }
    }
  }
  const Value* summary = payload.find("summary");
  std::optional<std::string> summary_text;
  if (summary && summary->is_string()) summary_text = summary->as_string();
  return AgentVerdict::from_findings(std::move(reviews), std::move(summary_text));
}

}  // namespace tessik::detail
