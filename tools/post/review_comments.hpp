// What a review posted on a pull request says, and where: findings on lines
// the diff shows become inline comments (a range when the replacement spans
// lines, the replacement as a one-click "suggestion"); the others go into
// the summary with the agents' verdicts and the cost. Every comment carries
// a hidden marker so that a later run recognises what it posted before.
#ifndef TESSIK_TOOLS_POST_REVIEW_COMMENTS_HPP_
#define TESSIK_TOOLS_POST_REVIEW_COMMENTS_HPP_

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <tessik/models.hpp>

#include "report/review_report.hpp"

namespace tessik::cli {

// Inline comments sent in one review at most; more go out in further
// reviews of this many each.
inline constexpr std::size_t kMaxCommentsPerReview = 50;
// Inline comments one run posts at most; findings past it go into the
// summary, which says so.
inline constexpr std::size_t kMaxInlineComments = 200;
// Longest body sent, in bytes: GitHub takes at most 65,536 characters.
inline constexpr std::size_t kMaxBodyBytes = 65'000;

// The new-side lines one hunk shows, first to last.
struct LineSpan {
  std::int64_t first = 0, last = 0;
};

// Per file of `changes`, the spans its hunks show on the new side.
std::map<std::string, std::vector<LineSpan>> shown_lines(std::span<const FileChange> changes);

struct InlineComment {
  std::string path{};
  std::int64_t line = 0;        // the last line commented on
  std::int64_t start_line = 0;  // the first, when a range; else 0
  std::string body{};
};

struct ReviewPlan {
  std::vector<InlineComment> comments;     // not posted before
  std::size_t already_posted = 0;          // inline findings a marker showed as posted
  std::size_t over_limit = 0;              // inline findings past kMaxInlineComments
  std::vector<ReportedFinding> outside{};  // for the summary
};

// The hidden marker of one finding: its file, line and issue text.
std::string finding_marker(const ReportedFinding& r);

// The summary's hidden marker, recording the head commit reviewed.
std::string summary_marker(std::string_view head_sha);

// The head commit a summary's marker recorded; nullopt when `body` is no
// summary of this tool.
std::optional<std::string> summary_head(std::string_view body);

// Every finding marker in `body`.
std::vector<std::string> markers_in(std::string_view body);

// Sorts the findings of `report` into inline comments (skipping those whose
// marker is in `posted`) and findings for the summary.
ReviewPlan plan_review(const ReviewReport& report,
                       const std::map<std::string, std::vector<LineSpan>>& shown,
                       const std::set<std::string>& posted);

// The summary: `scope` (which commits were reviewed), how many findings are
// inline, the agents' verdicts, the findings outside the diff, the cost and
// what was left out, then the marker; at most kMaxBodyBytes, findings that
// do not fit counted instead.
std::string summary_body(const ReviewReport& report, const ReviewPlan& plan,
                         std::string_view head_sha, std::string_view scope);

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_POST_REVIEW_COMMENTS_HPP_
