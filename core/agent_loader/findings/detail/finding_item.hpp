// Normalisation of one raw finding item of a model reply into an AIReview.
//
// A reviewer agent's reply lists its findings as JSON objects that the model
// wrote. They are read leniently, so that older reply habits keep working:
//
//   Value item = Value::Mapping{{"file_path", "src/db.py"}, {"line_number", "42"},
//                               {"severity", "Critical"}, {"category", " Security "},
//                               {"code_replacement", Value::Sequence{"```py", "x = 1", 7}}};
//   std::optional<AIReview> f = detail::parse_finding_item(item, "hesper", agent.severity_default);
//   // f->line_number == 42, f->severity == "high", f->category == "security",
//   // f->code_replacement == {"~~~py", "x = 1"}, f->language == "python"
//
// - severity words of the older scale ("critical", "major", "minor",
//   "suggestion") map onto the four-level scale, any unknown word is "low";
// - a category that is not one of the four known ones is replaced by the
//   reporting agent's own category;
// - code replacement lines are reduced to strings and cannot close the
//   fenced block they are later shown in;
// - every missing key gets a default.
//
// Everything here is stateless and safe to call from several threads.
#ifndef TESSIK_AGENT_LOADER_FINDINGS_DETAIL_FINDING_ITEM_HPP_
#define TESSIK_AGENT_LOADER_FINDINGS_DETAIL_FINDING_ITEM_HPP_

#include <optional>
#include <string_view>
#include <vector>

#include <tessik/foundation/detail/const_table.hpp>
#include <tessik/foundation/value.hpp>
#include <tessik/models.hpp>

namespace tessik {
namespace detail {

// Lower-cased severity word -> the severity stored in a finding: the older
// scale ("critical", "major", "minor", "suggestion" -> "high", "medium",
// "low", "info") and the four-level scale itself. A word not in the table
// stands for "low".
inline constexpr ConstStringMap SEV_MAP({
    {"critical", "high"},
    {"major", "medium"},
    {"minor", "low"},
    {"suggestion", "info"},
    {"high", "high"},
    {"medium", "medium"},
    {"low", "low"},
    {"info", "info"},
});

// Turns one element of a reply's "findings" array into a finding reported by
// agent `agent_name`, or returns nullopt when `item` is not a mapping (the
// caller skips it).
//
// `severity_default` is the agent's default severity word, used when the
// item has no "severity" or a non-string one; it goes through SEV_MAP like
// any word. Keys of the item (a key present with null is present; the
// default applies only to an absent key):
//
//   "file_path"    stored unconverted ("unknown" when absent)
//   "line_number"  integer conversion (`to_int`; 0 when absent)
//   "severity"     lower-cased, not trimmed, then SEV_MAP (" High" -> "low")
//   "issue"        stored unconverted ("" when absent)
//   "suggestion"   stored unconverted ("" when absent)
//   "confidence"   floating-point conversion (`to_float`; 0.7 when absent),
//                  not clamped to 0..1
//   "category"     a non-string counts as "", then `normalise_category`
//   "code_replacement"        `filter_code_replacement`
//   "replacement_line_count"  read only when a code replacement survives:
//                  a number that is not a boolean and is greater than 0
//                  gives its integer part, at most REPLACEMENT_LINE_COUNT_MAX
//                  (so 0.5 gives 0, and positive infinity, which cannot be
//                  truncated, gives the cap 100); anything else, NaN
//                  included, gives 1. This key never makes the call fail.
//
// `language` is `detect_language` of the stored file path, "unknown" and
// null included.
//
// Failures, in the order the values are computed (the first one is thrown):
//   1. TypeError when the severity default is needed (no string "severity"
//      in the item) and `severity_default` is not a string.
//   2. "line_number": InvalidValueError (a string that is not a decimal
//      integer, NaN), OverflowError (an infinity, a value outside 64 bits),
//      TypeError (null, a sequence, a mapping).
//   3. "confidence": InvalidValueError (a string that is not a number),
//      TypeError (null, a sequence, a mapping).
// The conversion failures keep their kind; their message is prefixed with
// the key, e.g. `finding "line_number": ...`. Nothing is logged.
std::optional<AIReview> parse_finding_item(const Value& item, std::string_view agent_name,
                                           const Value& severity_default = Value("minor"));
// The same for an item the caller no longer needs: its texts are moved into
// the finding instead of copied. After the call `item` is valid but its
// values are unspecified.
std::optional<AIReview> parse_finding_item(Value&& item, std::string_view agent_name,
                                           const Value& severity_default = Value("minor"));

// The same again, with the finding added at the end of `findings` rather
// than returned in an optional, as a verdict's list is filled. Returns
// false, and leaves `findings` as it was, when `item` is not a mapping;
// throws as `parse_finding_item` does, also leaving `findings` as it was.
bool append_finding_item(Value&& item, std::string_view agent_name, const Value& severity_default,
                         std::vector<AIReview>& findings);

}  // namespace detail
}  // namespace tessik

#endif  // TESSIK_AGENT_LOADER_FINDINGS_DETAIL_FINDING_ITEM_HPP_
