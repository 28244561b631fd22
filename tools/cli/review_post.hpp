// The `review` options that post the review on a pull request:
// --post github, --pr OWNER/REPO#N and --since-last-review.
#ifndef TESSIK_TOOLS_CLI_REVIEW_POST_HPP_
#define TESSIK_TOOLS_CLI_REVIEW_POST_HPP_

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "cli/cli.hpp"
#include "cli/cli_args.hpp"
#include "config/effective_settings.hpp"
#include "model/model_settings.hpp"
#include "post/github_api.hpp"
#include "report/review_report.hpp"

namespace tessik::cli {

struct ReviewPost {
  std::unique_ptr<GitHubApi> api;
  std::string head_sha{};
  std::string scope{};                     // which commits the review covers, for the summary
  std::optional<std::string> git_range{};  // replaces --git's range with --since-last-review
};

std::vector<OptionSyntax> review_post_options();

// Nothing without --post. Otherwise finds the pull request and the token
// (failing before any model is asked) and, with --since-last-review, the
// commits after the head the last review recorded when it is an ancestor of
// the new head (the whole pull request otherwise; `scope` says which).
// Throws UsageError for --post other than github, --pr or
// --since-last-review without --post, --since-last-review without --git;
// PostError for a missing token or pull request.
std::optional<ReviewPost> prepare_post(const ParsedArgs& args, const EffectiveSettings& settings,
                                       const Environment& env);

// Posts the selected findings of `report`, writes what was posted (or why
// not) to standard error, and returns `status`, or EXIT_FAILED when posting
// failed.
int post_to_github(ReviewPost& post, const ReviewReport& report,
                   std::span<const FileChange> changes, const Io& io, int status);

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_CLI_REVIEW_POST_HPP_
