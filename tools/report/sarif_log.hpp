// The pieces of a SARIF 2.1.0 log that `validate` and `review` share: the
// log around the results, artifact URIs, message text and locations.
//
//   Value::Sequence results{sarif_result_skeleton(...)};
//   os << to_json(sarif_log(rules, std::move(results)), 2);
//
// Every log states that its columns count code points ("columnKind"), every
// location has a region with a start line, and every URI is either relative
// to the directory the tool ran in, without ".." or ".", or an absolute
// file:// URI; GitHub's code scanning accepts such a log as it is.
#ifndef TESSIK_TOOLS_REPORT_SARIF_LOG_HPP_
#define TESSIK_TOOLS_REPORT_SARIF_LOG_HPP_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <tessik/foundation/value.hpp>

namespace tessik::cli {

// GitHub's code scanning refuses a run of more results than this; a log
// keeps the first ones and counts the rest under the run's
// "properties": {"omittedResults": N}.
inline constexpr std::size_t kSarifMaxResults = 25'000;

// `path` as a SARIF artifact URI: a relative path, tidied lexically ("a/./b",
// "a/../b"), stays relative with every byte outside the unreserved set and
// "/" percent-encoded; an absolute path, or a relative one that climbs above
// the current directory, becomes a "file:///..." URI of its absolute form.
std::string artifact_uri(std::string_view path);

// Plain text as SARIF message text: "{" and "}" doubled so that no viewer
// takes them for placeholders, "[" and "]" (and a backslash before them)
// escaped with a backslash so that "[text](0)" is not read as a link.
std::string sarif_text(std::string_view text);

// {"text": sarif_text(text)}.
Value sarif_message(std::string_view text);

struct SarifRegion {
  std::int64_t start_line = 1;    // values below 1 become 1
  std::int64_t end_line = 0;      // given when past start_line
  std::int64_t start_column = 0;  // 0: none
};

// {"physicalLocation": {"artifactLocation": {"uri"}, "region": {...}}}.
Value sarif_location(std::string_view path, const SarifRegion& region);

// The whole log: "$schema", "version" 2.1.0 and one run of the tool
// (driver "tessik-agents" with its version and `rules`), its column kind and
// `results`, at most kSarifMaxResults of them.
Value sarif_log(Value::Sequence rules, Value::Sequence results);

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_REPORT_SARIF_LOG_HPP_
