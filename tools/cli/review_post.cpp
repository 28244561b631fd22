#include "cli/review_post.hpp"

#include <ostream>

#include "change/git/git_handles.hpp"
#include "post/github_post.hpp"

namespace tessik::cli {
namespace {

// True when `ancestor` is `descendant` or one of its ancestors in the
// repository holding `directory`; false when either is unknown there (a
// shallow clone may not hold the earlier head).
bool is_ancestor(const std::string& directory, const std::string& ancestor,
                 const std::string& descendant) {
  try {
    git::Session session;
    const git::Repository repo = git::open_repository(directory);
    const git::Object a = git::revparse(repo.get(), ancestor + "^{commit}");
    const git::Object d = git::revparse(repo.get(), descendant + "^{commit}");
    const git_oid* ida = git_object_id(a.get());
    const git_oid* idd = git_object_id(d.get());
    return git_oid_equal(ida, idd) || git_graph_descendant_of(repo.get(), idd, ida) == 1;
  } catch (const git::GitError&) {
    return false;
  }
}

std::string short_sha(const std::string& sha) { return sha.substr(0, 12); }

void since_last_review(ReviewPost& post, const ParsedArgs& args) {
  const std::optional<EarlierSummary> earlier = earlier_summary(*post.api);
  const std::string repo = args.value("repo").value_or(".");
  if (!earlier) {
    post.scope = "Reviewed the whole pull request: it has no earlier review of this tool.";
  } else if (!is_ancestor(repo, earlier->head_sha, post.head_sha)) {
    post.scope = "Reviewed the whole pull request: the last review's head " +
                 short_sha(earlier->head_sha) + " is not an ancestor of " +
                 short_sha(post.head_sha) + " (rebased or force-pushed).";
  } else {
    post.git_range = earlier->head_sha + ".." + post.head_sha;
    post.scope = "Reviewed the commits after " + short_sha(earlier->head_sha) +
                 " (the head of the last review) up to " + short_sha(post.head_sha) + ".";
  }
}

}  // namespace

std::vector<OptionSyntax> review_post_options() {
  return {{"post", true, "github", "post the review on the pull request (GITHUB_TOKEN)"},
          {"pr", true, "OWNER/REPO#N",
           "the pull request (default: GITHUB_REPOSITORY and the event at GITHUB_EVENT_PATH)"},
          {"since-last-review", false, "",
           "with --post and --git: review only the commits after the last review's head"}};
}

std::optional<ReviewPost> prepare_post(const ParsedArgs& args, const EffectiveSettings& settings,
                                       const Environment& env) {
  const std::optional<std::string> target = args.value("post");
  if (!target) {
    if (args.value("pr")) throw UsageError("--pr names where --post github posts: give --post");
    if (args.flag("since-last-review")) throw UsageError("--since-last-review needs --post github");
    return std::nullopt;
  }
  if (*target != "github") throw UsageError("--post must be github, not '" + *target + "'");
  if (args.flag("since-last-review") && !args.flag("git")) {
    throw UsageError("--since-last-review needs the change from --git");
  }
  clients::TransportOptions transport;
  transport.request_timeout = std::chrono::seconds(60);
  transport.max_attempts = static_cast<int>(settings.number("retries").value_or(3)) + 1;
  ReviewPost post{.api =
                      std::make_unique<GitHubApi>(github_target(args.value("pr"), env), transport)};
  post.head_sha = head_commit(*post.api);
  post.scope = "Reviewed the whole pull request.";
  if (args.flag("since-last-review")) since_last_review(post, args);
  return post;
}

int post_to_github(ReviewPost& post, const ReviewReport& report,
                   std::span<const FileChange> changes, const Io& io, int status) {
  if (common_failure(report)) {
    io.err << "tessik-agents review: nothing posted to " << post.api->target().name()
           << ": every agent failed\n";
    return EXIT_FAILED;
  }
  try {
    io.err << "tessik-agents review: " << post.scope << '\n';
    const std::string posted = post_review(*post.api, report, changes, post.head_sha, post.scope);
    io.err << "tessik-agents review: " << posted << '\n';
    return status;
  } catch (const PostError& e) {
    io.err << "tessik-agents review: --post github: " << e.what() << '\n';
    return EXIT_FAILED;
  }
}

}  // namespace tessik::cli
