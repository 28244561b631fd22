#include <algorithm>
#include <cstdint>
#include <cstring>
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
#include <tessik/foundation/detail/short_lower.hpp>
#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/text.hpp>

namespace tessik::detail {
namespace {

// The values of the keys the finding parser reads, found in one pass over
// the item; nullptr for an absent key. `V` is `const Value` for an item that
// is read, `Value` for one whose texts may be moved out.
template <class V>
struct ItemFields {
  V* file_path = nullptr;
  V* line_number = nullptr;
  V* severity = nullptr;
  V* issue = nullptr;
  V* suggestion = nullptr;
  V* confidence = nullptr;
  V* category = nullptr;
  V* code_replacement = nullptr;
  V* replacement_line_count = nullptr;
};

// Whether `key`, already known to be as long as `name`, is `name`: a
// comparison of a constant length, which compiles to a few loads.
template <std::size_t N>
bool is(std::string_view key, const char (&name)[N]) {
  return std::memcmp(key.data(), name, N - 1) == 0;
}

// Keys of a mapping are unique, so the one entry a key matches is the one
// `find` would return.
ItemFields<const Value> gather(const Value::Mapping& item) {
  ItemFields<const Value> f;
  for (const auto& [key, value] : item) {
    if (!key.is_string()) continue;
    const std::string_view k = key.as_string();
    switch (k.size()) {
      case 5:
        if (is(k, "issue")) f.issue = &value;
        break;
      case 8:
        if (is(k, "severity")) f.severity = &value;
        if (is(k, "category")) f.category = &value;
        break;
      case 9:
        if (is(k, "file_path")) f.file_path = &value;
        break;
      case 10:
        if (is(k, "suggestion")) f.suggestion = &value;
        if (is(k, "confidence")) f.confidence = &value;
        break;
      case 11:
        if (is(k, "line_number")) f.line_number = &value;
        break;
      case 16:
        if (is(k, "code_replacement")) f.code_replacement = &value;
        break;
      case 22:
        if (is(k, "replacement_line_count")) f.replacement_line_count = &value;
        break;
      default:
        break;
    }
  }
  return f;
}

// The fields of an item the caller gave away: the mapping is not const, so
// its values may be moved from. (Only its keys are read, never changed.)
ItemFields<Value> owned(const ItemFields<const Value>& f) {
  const auto own = [](const Value* v) { return const_cast<Value*>(v); };
  return {own(f.file_path), own(f.line_number),      own(f.severity),
          own(f.issue),     own(f.suggestion),       own(f.confidence),
          own(f.category),  own(f.code_replacement), own(f.replacement_line_count)};
}

// The value to store: `fallback` for an absent key, else a copy of a read
// item's value or the value moved out of an item given away.
Value stored(const Value* value, const char* fallback) {
  return value != nullptr ? *value : Value(fallback);
}
Value stored(Value* value, const char* fallback) {
  return value != nullptr ? std::move(*value) : Value(fallback);
}

std::optional<std::vector<std::string>> code_lines(const Value* raw) {
  return raw != nullptr ? filter_code_replacement(*raw) : std::nullopt;
}
std::optional<std::vector<std::string>> code_lines(Value* raw) {
  return raw != nullptr ? filter_code_replacement(std::move(*raw)) : std::nullopt;
}

// The context a failed conversion of the item's `key` names, so that a reply
// with many findings points at the value that is wrong.
auto key_context(std::string_view key) {
  return [key] { return "finding \"" + std::string(key) + "\""; };
}

// The stored severity: the item's string "severity", else the agent's
// default, lower-cased but not trimmed, through SEV_MAP.
std::string severity_of(const Value* word, const Value& severity_default) {
  if (word == nullptr || !word->is_string()) word = &severity_default;
  if (!word->is_string()) {
    throw TypeError("the agent's severity_default must be a string, not " +
                    std::string(Value::kind_name(word->kind())) +
                    ": it is needed because the finding has no string \"severity\"");
  }
  const std::string& text = word->as_string();
  // A word already written as a table key is lower-case, so lowering would
  // give it back unchanged: the usual reply skips the lowering.
  if (const auto exact = SEV_MAP.find(text); exact != SEV_MAP.end()) {
    return std::string(exact->second);
  }
  const ShortLower lowered(text);
  return std::string(SEV_MAP.value_or(lowered.view(), "low"));
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

// The finding of the item whose fields are `f`, each member constructed
// once, in place.
template <class V>
AIReview finding_from(const ItemFields<V>& f, std::string_view agent_name,
                      const Value& severity_default) {
  // Computed in this order so that, of two bad values, the earlier one is
  // the failure reported. Nothing is moved out of the item before the last
  // conversion that can fail.
  std::string severity = severity_of(f.severity, severity_default);
  const std::int64_t line_number = with_context(key_context("line_number"), [&] {
    return f.line_number != nullptr ? to_int(*f.line_number) : 0;
  });
  const double confidence = with_context(key_context("confidence"), [&] {
    return f.confidence != nullptr ? to_float(*f.confidence) : 0.7;
  });
  std::string category = normalise_category(f.category != nullptr && f.category->is_string()
                                                ? std::string_view(f.category->as_string())
                                                : std::string_view(),
                                            agent_name);
  std::optional<std::vector<std::string>> code = code_lines(f.code_replacement);
  const std::int64_t line_count = code ? replacement_line_count(f.replacement_line_count) : 1;
  Value file_path = stored(f.file_path, "unknown");
  std::string language = detect_language(file_path);
  return AIReview{.file_path = std::move(file_path),
                  .line_number = line_number,
                  .severity = std::move(severity),
                  .issue = stored(f.issue, ""),
                  .suggestion = stored(f.suggestion, ""),
                  .confidence = confidence,
                  .category = std::move(category),
                  .agent_name = std::string(agent_name),
                  .code_replacement = std::move(code),
                  .replacement_line_count = line_count,
                  .language = std::move(language)};
}

}  // namespace

std::optional<AIReview> parse_finding_item(const Value& item, std::string_view agent_name,
                                           const Value& severity_default) {
  if (!item.is_mapping()) return std::nullopt;
  return finding_from(gather(item.as_mapping()), agent_name, severity_default);
}

std::optional<AIReview> parse_finding_item(Value&& item, std::string_view agent_name,
                                           const Value& severity_default) {
  if (!item.is_mapping()) return std::nullopt;
  return finding_from(owned(gather(item.as_mapping())), agent_name, severity_default);
}

bool append_finding_item(Value&& item, std::string_view agent_name, const Value& severity_default,
                         std::vector<AIReview>& findings) {
  if (!item.is_mapping()) return false;
  findings.push_back(finding_from(owned(gather(item.as_mapping())), agent_name, severity_default));
  return true;
}

}  // namespace tessik::detail
