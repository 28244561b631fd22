// The GitHub REST calls of `review --post github`, over the clients' libcurl
// transport: its timeouts, its retries of 408, 429 and 5xx answers and
// broken connections, and its `retry-after` waits.
//
//   GitHubApi api(target, {});
//   Value pull = api.call("GET", "/pulls/7");
//   std::vector<Value> comments = api.list("/pulls/7/comments");
//
// A failure is a PostError of one line naming what to fix: 401 (the token),
// 403 (the token's rights, or a spent rate limit), 404 (the repository or
// pull request), 422 (GitHub's own reason), 429, anything else with its
// status. GitHub's message is quoted, cut to 300 bytes; the token never
// appears. Not safe to use from several threads at once.
#ifndef TESSIK_TOOLS_POST_GITHUB_API_HPP_
#define TESSIK_TOOLS_POST_GITHUB_API_HPP_

#include <memory>
#include <string>
#include <vector>

#include <tessik/clients/transport_options.hpp>
#include <tessik/foundation/value.hpp>

#include "post/github_target.hpp"

namespace tessik::clients::detail {
class HttpTransport;
}

namespace tessik::cli {

// Pages of a list read at most: 30 of 100 items each.
inline constexpr int kMaxListPages = 30;

class GitHubApi {
 public:
  GitHubApi(PullRequestTarget target, clients::TransportOptions options);
  ~GitHubApi();
  GitHubApi(const GitHubApi&) = delete;
  GitHubApi& operator=(const GitHubApi&) = delete;

  // METHOD /repos/OWNER/REPO`path` with `body` as JSON (none for GET); the
  // answer's JSON. Throws PostError.
  Value call(const std::string& method, const std::string& path, const Value& body = {});

  // Every item of a list GET `path`, page by page (at most kMaxListPages).
  std::vector<Value> list(const std::string& path);

  const PullRequestTarget& target() const noexcept { return target_; }

 private:
  PullRequestTarget target_;
  std::unique_ptr<clients::detail::HttpTransport> transport_;
};

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_POST_GITHUB_API_HPP_
