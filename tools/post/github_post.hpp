// `review --post github`: one pull-request review per run, on GitHub's REST
// API (see github_api.hpp for the transport and the failures).
//
// The first run posts a review whose body is the summary and whose inline
// comments are the findings on changed lines. A later run of the same pull
// request updates that summary in place (it records the head commit
// reviewed) and posts only the inline findings no earlier comment carries
// the marker of, as a new review. Past kMaxCommentsPerReview comments the
// rest go out in further reviews of that many, and the output says so.
#ifndef TESSIK_TOOLS_POST_GITHUB_POST_HPP_
#define TESSIK_TOOLS_POST_GITHUB_POST_HPP_

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "post/github_api.hpp"
#include "report/review_report.hpp"

namespace tessik::cli {

// The summary an earlier run left on the pull request.
struct EarlierSummary {
  std::int64_t review_id = 0;
  std::string head_sha;  // the head commit it reviewed
};

// The earliest review whose body carries this tool's summary marker.
// Throws PostError.
std::optional<EarlierSummary> earlier_summary(GitHubApi& api);

// The pull request's head commit: the event's, else GitHub's. Throws
// PostError.
std::string head_commit(GitHubApi& api);

// The head commit GitHub has for the pull request now. Throws PostError.
std::string github_head(GitHubApi& api);

// Posts `report` (its findings as selected) on the pull request as
// described above, reviewing `head_sha`, with `scope` (which commits were
// reviewed) leading the summary. Returns one line saying what was posted.
// Throws PostError; when some reviews went out before a failure, its
// message says how many.
std::string post_review(GitHubApi& api, const ReviewReport& report,
                        std::span<const FileChange> changes, const std::string& head_sha,
                        const std::string& scope);

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_POST_GITHUB_POST_HPP_
