#include "post/github_post.hpp"

#include <set>

#include "post/review_comments.hpp"

namespace tessik::cli {
namespace {

std::string pulls(const GitHubApi& api) { return "/pulls/" + std::to_string(api.target().number); }

std::string text_of(const Value& item, std::string_view key) {
  const Value* v = item.find(key);
  return v && v->is_string() ? v->as_string() : "";
}

Value comment_value(const InlineComment& c) {
  Value::Mapping out{{"path", c.path}, {"line", c.line}, {"side", "RIGHT"}, {"body", c.body}};
  if (c.start_line > 0) {
    out.set("start_line", c.start_line);
    out.set("start_side", "RIGHT");
  }
  return out;
}

// On a 422 the usual cause is a head that moved after the diff was taken.
[[noreturn]] void refused(GitHubApi& api, const PostError& e, const std::string& head_sha,
                          const std::string& progress) {
  std::string message = e.what();
  if (message.find("HTTP 422") != std::string::npos) {
    try {
      const std::string now = github_head(api);
      if (now != head_sha) {
        message += "; the pull request's head moved since the diff was taken (reviewed " +
                   head_sha.substr(0, 12) + ", head now " + now.substr(0, 12) +
                   "): run the review again";
      }
    } catch (const PostError&) {
      // The original failure says enough.
    }
  }
  throw PostError(message + progress);
}

}  // namespace

std::optional<EarlierSummary> earlier_summary(GitHubApi& api) {
  for (const Value& review : api.list(pulls(api) + "/reviews")) {
    const std::optional<std::string> head = summary_head(text_of(review, "body"));
    const Value* id = review.find("id");
    if (head && id && id->is_int()) return EarlierSummary{id->as_int(), *head};
  }
  return std::nullopt;
}

std::string head_commit(GitHubApi& api) {
  return api.target().head_sha.empty() ? github_head(api) : api.target().head_sha;
}

std::string github_head(GitHubApi& api) {
  const Value pull = api.call("GET", pulls(api));
  const Value* head = pull.find("head");
  std::string sha = head ? text_of(*head, "sha") : "";
  if (sha.empty())
    throw PostError("GitHub's answer to GET " + pulls(api) + " names no head commit");
  return sha;
}

std::string post_review(GitHubApi& api, const ReviewReport& report,
                        std::span<const FileChange> changes, const std::string& head_sha,
                        const std::string& scope) {
  std::set<std::string> posted;
  for (const Value& comment : api.list(pulls(api) + "/comments")) {
    for (std::string& m : markers_in(text_of(comment, "body"))) posted.insert(std::move(m));
  }
  const std::optional<EarlierSummary> earlier = earlier_summary(api);
  const ReviewPlan plan = plan_review(report, shown_lines(changes), posted);
  const std::string summary = summary_body(report, plan, head_sha, scope);

  const std::size_t n = plan.comments.size();
  const std::size_t batches = (n + kMaxCommentsPerReview - 1) / kMaxCommentsPerReview;
  std::string progress;
  std::size_t sent = 0;
  try {
    if (earlier) {
      api.call("PUT", pulls(api) + "/reviews/" + std::to_string(earlier->review_id),
               Value::Mapping{{"body", summary}});
      progress = " (the summary was updated)";
    }
    for (std::size_t b = 0; b < std::max<std::size_t>(batches, earlier ? 0 : 1); ++b) {
      Value::Sequence comments;
      for (std::size_t i = b * kMaxCommentsPerReview;
           i < std::min(n, (b + 1) * kMaxCommentsPerReview); ++i) {
        comments.push_back(comment_value(plan.comments[i]));
      }
      const bool first_summary = b == 0 && !earlier;
      const std::string body = first_summary
                                   ? summary
                                   : "tessik-agents: " + std::to_string(comments.size()) +
                                         " findings on the changed lines" +
                                         (batches > 1 ? " (part " + std::to_string(b + 1) + " of " +
                                                            std::to_string(batches) + ")"
                                                      : "") +
                                         "; the summary is in the first review of this tool.";
      const std::size_t count = comments.size();
      api.call("POST", pulls(api) + "/reviews",
               Value::Mapping{{"commit_id", head_sha},
                              {"body", body},
                              {"event", "COMMENT"},
                              {"comments", std::move(comments)}});
      sent += count;
      progress = " (" + std::to_string(b + 1) + " of " +
                 std::to_string(std::max<std::size_t>(batches, 1)) + " reviews with " +
                 std::to_string(sent) + " comments were posted before)";
    }
  } catch (const PostError& e) {
    refused(api, e, head_sha, progress);
  }
  std::string line = (earlier ? "Updated the review summary on " : "Posted a review on ") +
                     api.target().name() + ": " + std::to_string(n) + " new inline comments";
  if (batches > 1) {
    line += " in " + std::to_string(batches) + " reviews of at most " +
            std::to_string(kMaxCommentsPerReview);
  }
  if (plan.over_limit > 0) {
    line += ", " + std::to_string(plan.over_limit) + " past the limit of " +
            std::to_string(kMaxInlineComments) + " inline comments put in the summary";
  }
  if (plan.already_posted > 0) {
    line += ", " + std::to_string(plan.already_posted) + " already posted";
  }
  return line + ", " + std::to_string(plan.outside.size() - plan.over_limit) +
         " findings outside the changed lines in the summary.";
}

}  // namespace tessik::cli
