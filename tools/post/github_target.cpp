#include "post/github_target.hpp"

#include <charconv>
#include <regex>

#include <tessik/foundation/json.hpp>
#include <tessik/foundation/text.hpp>

namespace tessik::cli {
namespace {

// GitHub's owner and repository names: letters, digits, "-", "_" and ".".
const std::regex kPr(R"(([A-Za-z0-9_.-]+)/([A-Za-z0-9_.-]+)#([0-9]{1,9}))");

std::string required(const Environment& env, const std::string& name, const std::string& why) {
  std::optional<std::string> value = env(name);
  if (!value || value->empty()) throw PostError(name + " is not set: " + why);
  return *value;
}

// The pull request of the event file GitHub Actions writes.
void read_event(PullRequestTarget& t, const Environment& env) {
  const std::string path =
      required(env, "GITHUB_EVENT_PATH",
               "run in a GitHub Actions workflow on pull_request, or give --pr OWNER/REPO#N");
  Value event;
  try {
    event = parse_json(read_text_file(path));
  } catch (const std::exception& e) {
    throw PostError("cannot read the event file " + path + " (GITHUB_EVENT_PATH): " + e.what());
  }
  const Value* pr = event.find("pull_request");
  const Value* number = pr ? pr->find("number") : nullptr;
  if (!number || !number->is_int()) {
    const std::string name = env("GITHUB_EVENT_NAME").value_or("an event");
    throw PostError("the event file " + path + " holds " + name +
                    ", not a pull request: run on pull_request or give --pr OWNER/REPO#N");
  }
  t.number = number->as_int();
  const Value* head = pr->find("head");
  const Value* sha = head ? head->find("sha") : nullptr;
  if (sha && sha->is_string()) t.head_sha = sha->as_string();
}

}  // namespace

std::string PullRequestTarget::name() const {
  return owner + "/" + repo + "#" + std::to_string(number);
}

PullRequestTarget github_target(const std::optional<std::string>& pr, const Environment& env) {
  PullRequestTarget t;
  t.token = required(env, "GITHUB_TOKEN",
                     "give the workflow's token (env: GITHUB_TOKEN: ${{ github.token }})");
  t.api_root = env("GITHUB_API_URL").value_or("https://api.github.com");
  while (t.api_root.ends_with('/')) t.api_root.pop_back();
  std::smatch m;
  if (pr) {
    if (!std::regex_match(*pr, m, kPr)) {
      throw PostError("--pr must be OWNER/REPO#NUMBER, not '" + *pr + "'");
    }
    t.owner = m[1];
    t.repo = m[2];
    t.number = std::stoll(m[3]);
    return t;
  }
  const std::string repository =
      required(env, "GITHUB_REPOSITORY", "give --pr OWNER/REPO#N outside GitHub Actions");
  const std::string probe = repository + "#1";
  if (!std::regex_match(probe, m, kPr)) {
    throw PostError("GITHUB_REPOSITORY must be OWNER/REPO, not '" + repository + "'");
  }
  t.owner = m[1];
  t.repo = m[2];
  read_event(t, env);
  return t;
}

}  // namespace tessik::cli
