#include <algorithm>
#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <tessik/agent_loader/detail/conversion_context.hpp>
#include <tessik/agent_loader/findings/code_replacement.hpp>
#include <tessik/agent_loader/findings/detail/category.hpp>
#include <tessik/agent_loader/findings/detail/code_replacement.hpp>
#include <tessik/agent_loader/findings/detail/finding_item.hpp>
#include <tessik/diff_parser.hpp>
#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/text.hpp>

namespace tessik::detail {
namespace {

// The value under `key`, or `fallback` when the key is absent. A key present
// with null yields null.
const Value& value_or(const Value::Mapping& item, std::string_view key, const Value& fallback) {
  const Value* value = item.find(key);
  return value != nullptr ? *value : fallback;
}

// The context a failed conversion of the item's `key` names, so that a reply
// with many findings points at the value that is wrong.
auto key_context(std::string_view key) {
  return [key] { return "finding \"" + std::string(key) + "\""; };
}

// The stored severity: the item's string "severity", else the agent's
// default, lower-cased but not trimmed, through SEV_MAP.
std::string severity_of(const Value::Mapping& item, const Value& severity_default) {
  const Value* word = item.find("severity");
  if (word == nullptr || !word->is_string()) word = &severity_default;
  if (!word->is_string()) {
    throw TypeError("the agent's severity_default must be a string, not " +
                    std::string(Value::kind_name(word->kind())) +
                    ": it is needed because the finding has no string \"severity\"");
  }
  return std::string(SEV_MAP.value_or(lower(word->as_string()), "low"));
}

// The number of source lines a code replacement replaces. Only a positive
// number that is not a boolean counts; its integer part is capped at
// REPLACEMENT_LINE_COUNT_MAX. The cap is applied before truncating a double,
// which also gives positive infinity the cap and keeps every conversion in
// range.
std::int64_t replacement_line_count(const Value* raw) {
  if (raw == nullptr) return 1;
  if (raw->is_int()) {
    const std::int64_t count = raw->as_int();
    return count > 0 ? std::min(count, REPLACEMENT_LINE_COUNT_MAX) : 1;
  }
  if (raw->is_float()) {
    const double count = raw->as_float();
    if (!(count > 0)) return 1;  // zero, negative or NaN
    if (count >= static_cast<double>(REPLACEMENT_LINE_COUNT_MAX)) {
      return REPLACEMENT_LINE_COUNT_MAX;
    }
    return static_cast<std::int64_t>(count);
  }
  return 1;
}

}  // namespace

std::optional<AIReview> parse_finding_item(const Value& item, std::string_view agent_name,
                                           const Value& severity_default) {
  if (!item.is_mapping()) return std::nullopt;
  const Value::Mapping& fields = item.as_mapping();

  std::string severity = severity_of(fields, severity_default);
  std::optional<std::vector<std::string>> code_replacement =
      filter_code_replacement(value_or(fields, "code_replacement", Value()));
  const std::int64_t line_count =
      code_replacement ? replacement_line_count(fields.find("replacement_line_count")) : 1;
  Value file_path = value_or(fields, "file_path", "unknown");

  // Computed in this order so that, of two bad values, the earlier one is
  // the failure reported.
  const std::int64_t line_number = with_context(
      key_context("line_number"), [&] { return to_int(value_or(fields, "line_number", 0)); });
  Value issue = value_or(fields, "issue", "");
  Value suggestion = value_or(fields, "suggestion", "");
  const double confidence = with_context(
      key_context("confidence"), [&] { return to_float(value_or(fields, "confidence", 0.7)); });
  const Value* raw_category = fields.find("category");
  std::string category = normalise_category(raw_category != nullptr && raw_category->is_string()
                                                ? std::string_view(raw_category->as_string())
                                                : std::string_view(),
                                            agent_name);
  std::string language = detect_language(file_path);

  return AIReview{
      .file_path = std::move(file_path),
      .line_number = line_number,
      .severity = std::move(severity),
      .issue = std::move(issue),
      .suggestion = std::move(suggestion),
      .confidence = confidence,
      .category = std::move(category),
      .agent_name = std::string(agent_name),
      .code_replacement = std::move(code_replacement),
      .replacement_line_count = line_count,
      .language = std::move(language),
  };
}

}  // namespace tessik::detail
