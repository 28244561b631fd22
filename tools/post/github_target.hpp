// Which pull request `review --post github` posts to, and with which token.
//
//   --pr OWNER/REPO#N                 named on the command line, or
//   GITHUB_REPOSITORY=OWNER/REPO and  what a GitHub Actions run on a
//   GITHUB_EVENT_PATH=event.json      pull_request event provides
//   GITHUB_API_URL                    the API root (GitHub Enterprise);
//                                     default https://api.github.com
//   GITHUB_TOKEN                      the token; never printed
#ifndef TESSIK_TOOLS_POST_GITHUB_TARGET_HPP_
#define TESSIK_TOOLS_POST_GITHUB_TARGET_HPP_

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

#include "model/model_settings.hpp"

namespace tessik::cli {

// Posting to GitHub failed or cannot start. The message is one line that
// names what to fix; it never holds the token.
class PostError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct PullRequestTarget {
  std::string api_root;  // without a trailing "/"
  std::string owner, repo;
  std::int64_t number = 0;
  std::string head_sha;  // the event's head commit; "" with --pr
  std::string token;

  // "OWNER/REPO#N".
  std::string name() const;
};

// The pull request and token as described above. Throws PostError when
// GITHUB_TOKEN is unset or empty, --pr is not OWNER/REPO#N, neither --pr
// nor GITHUB_REPOSITORY and GITHUB_EVENT_PATH are given, or the event file
// cannot be read or is not a pull request event (it names the event).
PullRequestTarget github_target(const std::optional<std::string>& pr, const Environment& env);

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_POST_GITHUB_TARGET_HPP_
