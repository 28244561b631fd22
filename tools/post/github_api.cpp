#include "post/github_api.hpp"

#include <tessik/clients/detail/http_transport.hpp>
#include <tessik/foundation/json.hpp>
#include <tessik/foundation/text.hpp>

namespace tessik::cli {
namespace {

// GitHub's "message" of an error answer, cut short; the start of the body
// when it is not GitHub's JSON.
std::string github_message(const std::string& body) {
  std::string message;
  try {
    const Value v = parse_json(body);
    const Value* m = v.find("message");
    if (m && m->is_string()) message = m->as_string();
    const Value* errors = v.find("errors");
    if (errors && errors->is_sequence() && !errors->as_sequence().empty()) {
      const Value& first = errors->as_sequence().front();
      const Value* detail = first.is_string() ? &first : first.find("message");
      if (detail && detail->is_string()) message += ": " + detail->as_string();
    }
  } catch (const std::exception&) {
    message = body;
  }
  std::string cut(first_code_points(message, 300));
  for (char& c : cut) {
    if (c == '\n' || c == '\r') c = ' ';
  }
  return cut;
}

std::string failure_line(long status, const std::string& what, const std::string& message,
                         const PullRequestTarget& t) {
  const std::string quoted = message.empty() ? "" : " (GitHub: " + message + ")";
  const std::string head = "GitHub answered HTTP " + std::to_string(status) + " to " + what;
  const bool rate = message.find("rate limit") != std::string::npos;
  if (status == 429 || (status == 403 && rate)) {
    return head + ": the API rate limit is spent; run again once it resets" + quoted;
  }
  switch (status) {
    case 401:
      return head + ": GITHUB_TOKEN is wrong or expired; give a valid token" + quoted;
    case 403:
      return head +
             ": the token may not write to the pull request; give the workflow "
             "'permissions: pull-requests: write' (a pull request from a fork gets a "
             "read-only token)" +
             quoted;
    case 404:
      return head + ": GitHub does not know " + t.name() +
             " or the token cannot see it; check --pr or GITHUB_REPOSITORY, and "
             "GITHUB_API_URL" +
             quoted;
    case 422:
      return head + ": GitHub refused what was sent" + quoted;
    default:
      return head + quoted;
  }
}

}  // namespace

GitHubApi::GitHubApi(PullRequestTarget target, clients::TransportOptions options)
    : target_(std::move(target)),
      transport_(std::make_unique<clients::detail::HttpTransport>(std::move(options), "GitHub",
                                                                  target_.token)) {}

GitHubApi::~GitHubApi() = default;

Value GitHubApi::call(const std::string& method, const std::string& path, const Value& body) {
  clients::detail::HttpRequest request{
      .url = target_.api_root + "/repos/" + target_.owner + "/" + target_.repo + path,
      .headers = {"Authorization: Bearer " + target_.token, "User-Agent: tessik-agents",
                  "X-GitHub-Api-Version: 2022-11-28"},
      .body = method == "GET" ? "" : to_json(body),
      .method = method};
  const std::string what = method + " " + path;
  clients::detail::HttpResponse response;
  try {
    response = transport_->post(request);
  } catch (const std::exception& e) {
    throw PostError(transport_->redact("cannot reach GitHub for " + what + ": " + e.what()));
  }
  if (response.status < 200 || response.status > 299) {
    throw PostError(transport_->redact(
        failure_line(response.status, what, github_message(response.body), target_)));
  }
  if (response.body.empty()) return {};
  try {
    return parse_json(response.body);
  } catch (const std::exception&) {
    throw PostError("GitHub's answer to " + what + " is not JSON");
  }
}

std::vector<Value> GitHubApi::list(const std::string& path) {
  std::vector<Value> items;
  const char separator = path.find('?') == std::string::npos ? '?' : '&';
  for (int page = 1; page <= kMaxListPages; ++page) {
    const Value answer =
        call("GET", path + separator + "per_page=100&page=" + std::to_string(page));
    if (!answer.is_sequence()) throw PostError("GitHub's answer to GET " + path + " is no list");
    const Value::Sequence& got = answer.as_sequence();
    items.insert(items.end(), got.begin(), got.end());
    if (got.size() < 100) break;
  }
  return items;
}

}  // namespace tessik::cli
