// `review` end to end against a model server: a git repository made by the
// test, the scripted stub server on the loopback address speaking either
// protocol, the reviewer tools, the cache warm-up, the cost line and the
// recordings.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include <tessik/foundation/json.hpp>
#include <tessik/foundation/text.hpp>

#include "clients/client_fixtures.hpp"
#include "clients/stub_server.hpp"
#include "run/input_budget.hpp"
#include "run_cli.hpp"
#include "strict_schema.hpp"

namespace tessik::cli {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::GitRepo;
using testing::StubServer;

using testing::Outcome;
using testing::run;

const char kClean[] = R"({"status": "clean", "summary": "Looked at it.", "confidence": 0.9})";

// A repository with a committed file changed in the working tree, an
// ignored secret and a link out of the repository.
struct Project {
  GitRepo repo;
  testing::TempDir outside;

  Project() {
    outside.write("secret.txt", "OUTSIDE-SECRET\n");
    repo.write("src/app.py", "def greet(name):\n    return 'hi ' + name\n");
    repo.write(".gitignore", ".env\n");
    fs::create_symlink(outside / "secret.txt", repo / "outside");
    repo.commit("first");
    repo.write(".env", "API_TOKEN=hunter2\n");
    repo.write("src/app.py", "def greet(name):\n    return 'hello ' + name\n");
  }
};

// Every tool, asked for what it may show and for some of what it must refuse.
const std::vector<std::tuple<std::string, std::string, Value>> kToolCalls{
    {"ok_file", "read_file", Value::Mapping{{"path", "src/app.py"}}},
    {"ok_lines", "read_lines",
     Value::Mapping{{"path", "src/app.py"}, {"start_line", 2}, {"end_line", 2}}},
    {"ok_find", "find_code", Value::Mapping{{"pattern", "def greet"}}},
    {"climb", "read_file", Value::Mapping{{"path", "../../etc/passwd"}}},
    {"ignored", "read_file", Value::Mapping{{"path", ".env"}}},
    {"link_out", "read_file", Value::Mapping{{"path", "outside"}}},
};

struct Protocol {
  std::string provider;
  std::string result_key;  // names the call a tool answer belongs to
  Value tool_reply;
  Value final_reply;
  std::string url_suffix;
  std::string expected_tokens;  // the cost line's token figures over four agents
  bool streamed;                // whether the stub streams its replies
};

// Bit 0 of `param`: chat completions (else Messages); bit 1: streamed replies.
Protocol protocol_of(int param) {
  const bool streamed = (param & 2) != 0;
  if ((param & 1) == 0) {
    return {"messages",
            "tool_use_id",
            testing::messages_tool_use(kToolCalls),
            testing::messages_text(kClean),
            "",
            "tokens in 44 out 24, cache writes 400 reads 28",
            streamed};
  }
  std::vector<std::tuple<std::string, std::string, std::string>> calls;
  for (const auto& [id, name, input] : kToolCalls) calls.emplace_back(id, name, to_json(input));
  return {"openai",
          "tool_call_id",
          testing::chat_tool_calls(calls),
          testing::chat_text(kClean),
          "/v1",
          "tokens in 40 out 16, cache writes 0 reads 80",
          streamed};
}

// A script where each agent's first request asks for every tool (answered
// after `delay` seconds; streamed: the first event at once, the last after
// `delay`) and its second gets the clean verdict.
std::string tool_script(const Protocol& p, double delay) {
  if (p.streamed) {
    const auto events = [&](const Value& r) {
      return p.provider == "openai" ? testing::chat_events(r) : testing::messages_events(r);
    };
    return testing::replies(
        {testing::streamed(events(p.final_reply), 0, 0, {{"when", p.result_key}}),
         testing::streamed(events(p.tool_reply), 0, delay)});
  }
  return testing::replies({testing::answer(p.final_reply, {{"when", p.result_key}}),
                           testing::answer(p.tool_reply, {{"delay", delay}})});
}

// `review --git` of `repo` with `flags`, then `more`.
std::vector<std::string> review_args(const GitRepo& repo, const std::string& flags,
                                     std::initializer_list<std::string> more = {}) {
  std::vector<std::string> args = testing::words("review --git " + flags, more);
  args.insert(args.begin() + 1, {"--repo", repo.path().string()});
  return args;
}

// Ends with --tools.
std::vector<std::string> live_args(const Protocol& p, const StubServer& stub, const Project& pr) {
  return review_args(pr.repo, "--model test-model --retries 0 --provider " + p.provider,
                     {"--endpoint", stub.url() + p.url_suffix, "--tools"});
}

// Every tool answer within `v`: the objects naming their call by `key`.
void collect_answers(const Value& v, const std::string& key,
                     std::map<std::string, std::string>& answers) {
  if (v.is_sequence()) {
    for (const Value& item : v.as_sequence()) collect_answers(item, key, answers);
  } else if (v.is_mapping()) {
    if (const Value* id = v.find(key)) answers[id->as_string()] = text_form(*v.find("content"));
    for (const auto& [name, item] : v.as_mapping()) collect_answers(item, key, answers);
  }
}

// The tool answers the stub received, by call id.
std::map<std::string, std::string> tool_answers(const std::vector<testing::StubRequest>& requests,
                                                const Protocol& p) {
  std::map<std::string, std::string> answers;
  for (const testing::StubRequest& r : requests) collect_answers(r.json(), p.result_key, answers);
  return answers;
}

// When each agent's first request reached the stub, earliest first.
std::vector<double> first_requests(const StubServer& stub, const Protocol& p) {
  std::vector<double> times;
  for (const testing::StubRequest& r : stub.requests()) {
    if (r.body.find(p.result_key) == std::string::npos) times.push_back(r.time);
  }
  std::sort(times.begin(), times.end());
  return times;
}

// The parameter: protocol_of's.
class LiveReview : public ::testing::TestWithParam<int> {
 protected:
  Protocol protocol() const { return protocol_of(GetParam()); }
};

// The first agent is answered before the others start; a recorded review
// replays identically, but for the cost line.
TEST_P(LiveReview, EveryAgentUsesTheToolsAndTheRefusalsHold) {
  const Protocol p = protocol();
  Project project;
  testing::TempDir recordings;
  StubServer stub(tool_script(p, p.streamed ? 0.6 : 0.3));
  std::vector<std::string> args = live_args(p, stub, project);
  args.insert(args.end(), {"--record", recordings.path().string()});
  const Outcome r = run(args);
  ASSERT_EQ(r.status, 0) << r.err << r.out;
  const Outcome replay =
      run(review_args(project.repo, "", {"--replies", recordings.path().string()}));
  ASSERT_EQ(replay.status, 0) << replay.err;
  const std::size_t cost = r.out.find("\ncost: ");
  ASSERT_NE(cost, std::string::npos);
  EXPECT_EQ(r.out.substr(0, cost), replay.out);
  for (const char* line : {"Reviewed 1 file with 4 agents.", "corvin: clean, confidence 0.9",
                           "hesper: clean", "peregrin: clean", "wynn: clean"}) {
    EXPECT_NE(r.out.find(line), std::string::npos) << line << "\n" << r.out;
  }
  EXPECT_NE(r.out.find("cost: model test-model, "), std::string::npos) << r.out;
  EXPECT_NE(r.out.find(p.expected_tokens), std::string::npos) << r.out;
  EXPECT_EQ(stub.requests().size(), 8u);
  const std::vector<double> first = first_requests(stub, p);
  ASSERT_EQ(first.size(), 4u);
  if (p.streamed) {
    EXPECT_LT(first[3] - first[0], 0.5);  // released at the first event, long before its end
  } else {
    EXPECT_GE(first[1] - first[0], 0.29);  // the others waited for the first answer
  }
  const std::map<std::string, std::string> answers = tool_answers(stub.requests(), p);
  ASSERT_EQ(answers.size(), kToolCalls.size());
  EXPECT_NE(answers.at("ok_file").find("return 'hello ' + name"), std::string::npos);
  EXPECT_NE(answers.at("ok_lines").find("2"), std::string::npos);
  EXPECT_NE(answers.at("ok_lines").find("hello"), std::string::npos);
  EXPECT_EQ(answers.at("ok_lines").find("def greet"), std::string::npos);
  EXPECT_NE(answers.at("ok_find").find("src/app.py:1:"), std::string::npos);
  for (const char* id : {"climb", "ignored", "link_out"}) {
    EXPECT_TRUE(answers.at(id).starts_with("error: ")) << id << ": " << answers.at(id);
  }
  for (const auto& [id, text] : answers) {
    for (const char* secret : {"hunter2", "OUTSIDE-SECRET", "root:"}) {
      EXPECT_EQ(text.find(secret), std::string::npos) << id << " shows " << secret;
    }
  }
}

// Without the warm-up nobody waits for the first answer.
TEST_P(LiveReview, VerboseAndJsonCarryTheFigures) {
  const Protocol p = protocol();
  Project project;
  StubServer stub(tool_script(p, 0.3));
  std::vector<std::string> args = live_args(p, stub, project);
  if (!p.streamed) args.push_back("--no-stream");
  args.insert(args.end(), {"--no-cache-warmup", "--verbose"});
  const Outcome text = run(args);
  const std::vector<double> first = first_requests(stub, p);
  ASSERT_EQ(first.size(), 4u);
  EXPECT_LT(first[3] - first[0], 0.29);
  EXPECT_NE(text.out.find("  corvin: 2 iterations, "), std::string::npos) << text.out;
  // Standard error is not a terminal: plain progress lines, with --verbose only.
  for (const char* line : {"corvin: waiting for the model (",
                           "corvin: calling read_file on src/app.py (", "corvin: done: clean ("}) {
    EXPECT_NE(text.err.find(line), std::string::npos) << line << "\n" << text.err;
  }
  EXPECT_EQ(text.err.find("corvin: writing (") != std::string::npos, p.streamed) << text.err;
  for (const testing::StubRequest& r : stub.requests()) {
    EXPECT_EQ(r.body.find("\"stream\": true") != std::string::npos, p.streamed);
  }
  args.back() = "--json";
  const Value json = parse_json(run(args).out);
  const Value* cost = json.find("cost");
  ASSERT_NE(cost, nullptr);
  EXPECT_EQ(*cost->find("model"), Value("test-model"));
  EXPECT_EQ(*cost->find("agents")->find("wynn")->find("iterations"), Value(2));
  EXPECT_TRUE(cost->find("tokens")->find("cache_read")->is_int());
}

// A pull request full of what a reviewer should not be paid to read, with a
// team configuration that leaves docs out but keeps one page.
struct PullRequest {
  GitRepo repo;

  PullRequest() {
    repo.write("src/app.py", "def greet(name):\n    return 'hi ' + name\n");
    repo.write("old/legacy.py", "LEGACY-LINE\n" + std::string(40, 'x') + "\n");
    repo.write(".gitattributes",
               "gen/** linguist-generated\nthird_party/** linguist-vendored\n"
               "*.dat -diff\n[odd line without a pattern\n");
    repo.commit("first");
    repo.write(".tessik.yaml", "exclude: ['docs/**']\n");
    repo.write("src/app.py", "def greet(name):\n    return 'hello ' + name\n");
    repo.write("package-lock.json", "{\"LOCK-CONTENT\": 1}\n");
    repo.write("gen/parser.c", "int GENERATED_CONTENT;\n");
    repo.write("third_party/lib.js", "var VENDORED_CONTENT;\n");
    repo.write("assets/app.min.js", "var MINIFIED_CONTENT;\n");
    repo.write("logo.png", std::string("\x89PNG\r\n\x1a\n\0\0BINARY", 16));
    repo.write("table.dat", "NODIFF-CONTENT\n");
    repo.write("docs/guide.md", "DOCS-CONTENT\n");
    repo.write("docs/keep.md", "KEPT-DOC\n");
    repo.write("my file\nwith newline.py", "ODD-NAME\n");
    repo.git("rm -q old/legacy.py");
    repo.git("add -A");
  }
};

TEST_P(LiveReview, WhatIsLeftOutNeverReachesTheServer) {
  const Protocol p = protocol();
  PullRequest pr;
  StubServer stub(testing::replies({testing::answer(p.final_reply)}));
  const Outcome r = run(review_args(
      pr.repo,
      "--model m --retries 0 --json --include docs/keep.md --include nothing/** --provider " +
          p.provider,
      {"--endpoint", stub.url() + p.url_suffix}));
  ASSERT_EQ(r.status, 0) << r.err;
  ASSERT_EQ(stub.requests().size(), 4u);
  for (const testing::StubRequest& req : stub.requests()) {
    testing::expect_contains(req.body, {"hello", "KEPT-DOC", "ODD-NAME", "old/legacy.py",
                                        "[deleted file: 2 lines removed; they are not shown]"});
    for (const char* hidden :
         {"LOCK-CONTENT", "GENERATED_CONTENT", "VENDORED_CONTENT", "MINIFIED_CONTENT", "BINARY",
          "NODIFF-CONTENT", "DOCS-CONTENT", "LEGACY-LINE", "logo.png"}) {
      EXPECT_EQ(req.body.find(hidden), std::string::npos) << hidden;
    }
  }
  std::map<std::string, std::string> reasons;
  const Value json = parse_json(r.out);
  for (const Value& f : json.find("left_out")->as_sequence()) {
    reasons[f.find("path")->as_string()] = f.find("reason")->as_string();
  }
  EXPECT_EQ(reasons, (std::map<std::string, std::string>{
                         {"assets/app.min.js", "minified asset"},
                         {"docs/guide.md", "matches exclude 'docs/**'"},
                         {"gen/parser.c", "generated (linguist-generated)"},
                         {"logo.png", "binary"},
                         {"package-lock.json", "lock file"},
                         {"table.dat", "no diff (-diff)"},
                         {"third_party/lib.js", "vendored (linguist-vendored)"}}));
  testing::expect_contains(r.err, {"left out 'package-lock.json': lock file, ",
                                   "note: include 'nothing/**' matches no changed file"});
}

// The estimated tokens of every text a request carries.
std::int64_t text_tokens(const Value& v) {
  if (v.is_string()) return estimate_tokens(v.as_string());
  std::int64_t n = 0;
  if (v.is_sequence()) {
    for (const Value& item : v.as_sequence()) n += text_tokens(item);
  } else if (v.is_mapping()) {
    for (const auto& [key, item] : v.as_mapping()) n += text_tokens(item);
  }
  return n;
}

TEST_P(LiveReview, AChangeOverTheBudgetIsReviewedInPartsThatFit) {
  const Protocol p = protocol();
  GitRepo repo;
  repo.write("keep.txt", "x\n");
  repo.commit("first");
  std::string big;  // one new file, one hunk, larger than a part
  for (int i = 0; i < 300; ++i) big += "big_line_" + std::to_string(i) + " = compute(value)\n";
  repo.write("big.py", big);
  for (const char* name : {"a.py", "b.py", "c.py"}) repo.write(name, std::string(1300, 'q') + "\n");
  repo.git("add -A");
  const std::int64_t budget =
      request_overhead(
          load_all_agents(AIConfig{.ai_max_tokens = 8192, .custom_agents_dir = {}}, nullptr),
          nullptr) +
      1000;
  StubServer stub(testing::replies({testing::answer(p.final_reply)}));
  std::vector<std::string> args =
      review_args(repo, "--model m --retries 0 --provider " + p.provider,
                  {"--endpoint", stub.url() + p.url_suffix, "--max-input-tokens",
                   std::to_string(budget), "--no-split"});
  const Outcome refused = run(args);
  EXPECT_EQ(refused.status, 1);
  testing::expect_contains(refused.err, {"over the budget of " + std::to_string(budget),
                                         "--max-input-tokens", "the largest files: 'big.py'"});
  EXPECT_TRUE(stub.requests().empty());

  args.back() = "--json";
  testing::TempDir recordings;
  args.insert(args.end(), {"--record", recordings.path().string()});
  const Outcome r = run(args);
  ASSERT_EQ(r.status, 0) << r.err;
  const Value json = parse_json(r.out);
  const std::int64_t parts = json.find("parts")->as_int();
  EXPECT_GE(parts, 4);
  EXPECT_EQ(json.find("agents")->as_sequence().size(), 4u);  // one verdict per agent
  // Every part of every agent is recorded, and the recording replays in parts.
  for (const Value& agent : json.find("agents")->as_sequence()) {
    const std::string name = agent.find("agent")->as_string();
    for (std::int64_t n = 2; n <= parts; ++n) {
      EXPECT_TRUE(
          std::filesystem::exists(recordings / (name + ".part-" + std::to_string(n) + ".json")))
          << name << " part " << n;
    }
  }
  const Outcome replay = run(review_args(
      repo, "--json",
      {"--replies", recordings.path().string(), "--max-input-tokens", std::to_string(budget)}));
  ASSERT_EQ(replay.status, 0) << replay.err;
  EXPECT_EQ(parse_json(replay.out).find("parts")->as_int(), parts);
  const std::vector<testing::StubRequest> requests = stub.requests();
  ASSERT_EQ(requests.size(), static_cast<std::size_t>(parts) * 4);
  std::size_t cut_notes = 0, last_line = 0;
  for (const testing::StubRequest& req : requests) {
    EXPECT_LE(text_tokens(req.json()), budget);
    cut_notes += req.body.find("of this file's diff: the file is too large") != std::string::npos;
    last_line += req.body.find("big_line_299 ") != std::string::npos;
  }
  EXPECT_GT(cut_notes, 0u);
  EXPECT_EQ(last_line, 4u);  // the file's last line reaches every agent once
}

INSTANTIATE_TEST_SUITE_P(Protocols, LiveReview, ::testing::Values(0, 1, 2, 3),
                         [](const auto& info) {
                           return std::string((info.param & 1) != 0 ? "Chat" : "Messages") +
                                  ((info.param & 2) != 0 ? "Streamed" : "");
                         });

// A failure every agent meets alike is said once, on standard error; a
// warm-up request the server refuses as such stops the others unsent.
TEST(LiveReviewFailures, AServerThatIsDownOrRefusesTheRequestIsOneLine) {
  Project project;
  const auto refusing = [](int status, const char* type, const char* message) {
    return testing::replies({testing::answer(
        Value::Mapping{{"type", "error"},
                       {"error", Value::Mapping{{"type", type}, {"message", message}}}},
        {{"status", status}})});
  };
  StubServer key(refusing(401, "authentication_error", "invalid x-api-key"));
  StubServer too_long(refusing(400, "invalid_request_error", "prompt is too long: 250000 tokens"));
  StubServer busy(refusing(503, "overloaded_error", "busy"));  // a retry may mend it
  const std::string down = "http://127.0.0.1:" + std::to_string(testing::closed_port());
  const std::string unsent =
      " (the warm-up request of corvin; the other 3 agents' requests were not sent)\n";
  const struct {
    std::string endpoint;
    const StubServer* stub;  // null: nothing listens
    std::size_t sent;        // requests that reach it
  } cases[] = {{down, nullptr, 0},
               {key.url(), &key, 1},
               {too_long.url(), &too_long, 1},
               {busy.url(), &busy, 4}};
  for (const auto& c : cases) {
    const Outcome r =
        run(review_args(project.repo, "--model m --retries 0", {"--endpoint", c.endpoint}));
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
    EXPECT_TRUE(r.err.starts_with(
        "tessik-agents review: every agent failed: ClientError in MessagesClient.complete"))
        << r.err;
    EXPECT_EQ(r.err.ends_with(unsent), c.sent == 1) << r.err;
    EXPECT_EQ(c.stub ? c.stub->requests().size() : 0, c.sent);
  }
  const Outcome json =
      run(review_args(project.repo, "--model m --json", {"--endpoint", too_long.url()}));
  EXPECT_EQ(json.status, 1);
  EXPECT_EQ(too_long.requests().size(), 2u);  // one more, for this run
  const Value::Sequence agents = parse_json(json.out).find("agents")->as_sequence();
  ASSERT_EQ(agents.size(), 4u);
  for (std::size_t i = 0; i < agents.size(); ++i) {
    const Value& failure = *agents[i].find("failure");
    EXPECT_EQ(failure.find("kind")->as_string(), i == 0 ? "ClientError" : "NotSent");
    const std::string message = failure.find("message")->as_string();
    EXPECT_TRUE(message.starts_with(i == 0 ? "model server at "
                                           : "not sent: the warm-up request of corvin failed as "
                                             "this one would: model server at "))
        << message;
    EXPECT_TRUE(message.ends_with("(HTTP 400): prompt is too long: 250000 tokens")) << message;
  }
}

// The tool as a child process, interrupted once the fast agents' verdicts
// are in while the others' requests hang: it cancels those, starts nothing
// more, and prints and records what arrived.
TEST(LiveReviewFailures, SigintAndSigtermReportTheVerdictsAlreadyIn) {
  Project project;
  const struct {
    int signal;
    const char* flags;
    std::vector<std::string> fast;
    std::size_t sent;  // requests that reach the server
  } cases[] = {
      {SIGINT, "", {"corvin", "hesper"}, 4},                   // the last two hang
      {SIGTERM, "--jobs 1 --no-cache-warmup", {"corvin"}, 2},  // hesper hangs; two never start
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.flags);
    Value::Sequence script;
    for (const std::string& agent : c.fast) {
      std::string name = agent;
      name[0] = static_cast<char>(std::toupper(name[0]));
      script.push_back(
          testing::answer(testing::messages_text(kClean), {{"when", "You are " + name}}));
    }
    script.push_back(Value::Mapping{{"action", "hang"}});
    StubServer stub(testing::replies(std::move(script)));
    testing::TempDir dir;
    const std::vector<std::string> args = testing::words(
        std::string(TESSIK_AGENTS_TOOL) + " review --git --model m --retries 0 --json " + c.flags,
        {"--repo", project.repo.path().string(), "--endpoint", stub.url(), "--record",
         (dir / "rec").string()});
    const pid_t pid = testing::spawn(args, dir / "out", dir / "err");
    const auto in = [&] {
      for (const std::string& agent : c.fast) {
        if (!fs::exists(dir / "rec" / (agent + ".json"))) return false;
      }
      return stub.requests().size() == c.sent;
    };
    for (int i = 0; i < 3000 && !in(); ++i) std::this_thread::sleep_for(10ms);
    ASSERT_TRUE(in()) << testing::read_text(dir / "err");
    ::kill(pid, c.signal);
    const std::optional<int> status = testing::wait_for_exit(pid, 60s);  // a hang guard
    ASSERT_TRUE(status) << "still running after the signal";
    EXPECT_EQ(*status, 128 + c.signal) << testing::read_text(dir / "err");
    EXPECT_EQ(stub.requests().size(), c.sent);
    const Value json = parse_json(testing::read_text(dir / "out"));
    for (const Value& a : json.find("agents")->as_sequence()) {
      const std::string agent = a.find("agent")->as_string();
      const bool fast = std::count(c.fast.begin(), c.fast.end(), agent) > 0;
      EXPECT_EQ(a.find("verdict") != nullptr, fast) << agent;
      EXPECT_EQ(fs::exists(dir / "rec" / (agent + ".json")), fast) << agent;
      if (!fast) {
        EXPECT_EQ(*a.find("failure")->find("kind"), Value("Interrupted")) << agent;
      }
    }
    testing::expect_contains(testing::read_text(dir / "err"),
                             {"tessik-agents review: interrupted by " +
                              std::string(c.signal == SIGINT ? "SIGINT" : "SIGTERM")});
  }
}

TEST(LiveReviewFailures, BadSourcesAndSettingsAreNamed) {
  Project project;
  testing::TempDir not_a_repo;
  const std::string repo = project.repo.path().string(), plain = not_a_repo.path().string();
  const struct {
    const char* args;  // @repo and @plain stand for the repository and a plain folder
    int status;
    std::string says;
  } cases[] = {
      {"review --git --repo @repo", 2, "no model to review with"},
      {"review --repo @repo --model m", 2, "no change to review"},
      {"review --git --diff x --model m", 2, "--diff and --git"},
      {"review --git nope..main --repo @repo --model m", 1, "nope..main"},
      {"review --git --repo @plain --model m", 1, plain},
      {"review --git --repo @repo --model m --jobs 0", 2,
       "--jobs must be a whole number from 1 to 1000, not '0'"},
      {"review --git --repo @repo --model m --api-key-env TESSIK_NO_SUCH_KEY", 2,
       "--api-key-env names TESSIK_NO_SUCH_KEY, which is not set"},
      {"review --git --repo @repo --replies @repo/missing", 1,
       "cannot read recorded replies from " + repo + "/missing: it is not a directory"},
  };
  for (const auto& c : cases) {
    std::vector<std::string> args = testing::words(c.args);
    for (std::string& word : args) {
      if (word.starts_with("@repo")) word.replace(0, 5, repo);
      if (word == "@plain") word = plain;
    }
    const Outcome r = run(args);
    EXPECT_EQ(r.status, c.status) << c.args << "\n" << r.err;
    EXPECT_NE(r.err.find(c.says), std::string::npos) << r.err;
  }
}

TEST(LiveReviewFailures, AnEmptyChangeCallsNoModel) {
  Project project;
  project.repo.commit("second");
  StubServer stub(testing::replies({}));
  const auto review = [&](const std::string& flags) {
    return run(review_args(project.repo, "--model m " + flags, {"--endpoint", stub.url()}));
  };
  const std::string none = "Nothing to review: the working tree has no changes.\n";
  Outcome r = review("");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, none);
  r = review("--json");  // the note goes to standard error beside an empty report
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(parse_json(r.out).is_mapping()) << r.out;
  EXPECT_EQ(r.err, "tessik-agents review: " + none);
  project.repo.write("src/app.py", "changed\n");
  r = review("--exclude **");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "Nothing to review: every changed file of the working tree was left out.\n");
  EXPECT_TRUE(stub.requests().empty());
}

TEST(LiveReviewAgents, AgentNamesAndTriggersChooseWhoReviews) {
  Project project;  // changes src/app.py only
  const struct {
    const char* flags;
    const char* file;  // .tessik.yaml
    std::vector<std::string> agents;
  } cases[] = {
      {"--agent wynn --agent hesper", "", {"hesper", "wynn"}},
      {"--only-triggered", "", {"peregrin"}},  // the only agent with a *.py pattern
      {"", "agents: [corvin]\n", {"corvin"}},
      {"--agent wynn", "agents: [corvin]\n", {"wynn"}},
  };
  for (const auto& c : cases) {
    project.repo.write(".tessik.yaml", c.file);
    StubServer stub(testing::replies({testing::answer(testing::messages_text(kClean))}));
    const Outcome r = run(review_args(project.repo, std::string("--model m --json ") + c.flags,
                                      {"--endpoint", stub.url()}));
    ASSERT_EQ(r.status, 0) << c.flags << r.err;
    const Value json = parse_json(r.out);
    std::vector<std::string> ran;
    for (const Value& a : json.find("agents")->as_sequence())
      ran.push_back(a.find("agent")->as_string());
    EXPECT_EQ(ran, c.agents) << c.flags;
    EXPECT_EQ(stub.requests().size(), c.agents.size()) << c.flags;
    EXPECT_EQ(json.find("skipped_agents")->as_sequence().size(), 4 - c.agents.size());
  }
  const Outcome unknown = run(review_args(project.repo, "--model m --agent nobody"));
  EXPECT_EQ(unknown.status, 2);
  testing::expect_contains(
      unknown.err,
      {"--agent names the unknown agent 'nobody'; the agents are: corvin, hesper, peregrin, wynn"});
}

// Git, a diff file and standard input give the agents the same bytes: CR LF
// line ends and bytes that are not UTF-8 included.
TEST(LiveReviewBytes, GitADiffFileAndStandardInputSendTheSameRequests) {
  Project project;
  project.repo.write("src/dos.txt", "one\r\ntwo \xFF\xFE caf\xC3\xA9\r\n");
  project.repo.git("add src/dos.txt");
  const std::string patch = project.repo.git("diff HEAD");
  const std::string diff_file = project.outside.write("change.diff", patch).string();
  std::vector<std::vector<std::string>> bodies;
  for (const std::string& source :
       {std::string("--git"), "--diff " + diff_file, std::string("--diff -")}) {
    StubServer stub(testing::replies({testing::answer(testing::messages_text(kClean))}));
    ASSERT_EQ(
        run(testing::words("review --model m --jobs 1 " + source,
                           {"--repo", project.repo.path().string(), "--endpoint", stub.url()}),
            source == "--diff -" ? patch : "")
            .status,
        0);
    std::vector<std::string> sent;
    for (const testing::StubRequest& r : stub.requests()) sent.push_back(r.body);
    ASSERT_EQ(sent.size(), 4u);
    // The request is JSON, so the stray bytes go out as U+FFFD; the CR stays.
    EXPECT_NE(sent[0].find("two \xEF\xBF\xBD\xEF\xBF\xBD caf\xC3\xA9\\r"), std::string::npos);
    bodies.push_back(std::move(sent));
  }
  EXPECT_EQ(bodies[0], bodies[1]);
  EXPECT_EQ(bodies[0], bodies[2]);
}

// Against a server that behaves as llama.cpp's does (a reply format is
// forced over the whole reply, tools offered alone are called once, the
// model otherwise ends in prose): the tools are called and answered, the
// verdicts are held wherever the user asked for it, and the schema each
// protocol receives keeps its strict-mode rules. The key comes from the
// named variable and --max-tokens reaches every request.
TEST(LiveReviewLocalServer, ToolsAreCalledAndVerdictsHeldOnBothProtocols) {
  Project project;
  const Value llama = Value::Mapping{
      {"llama",
       Value::Mapping{
           {"verdict", parse_json(R"({"status": "clean", "findings": null, "summary": "Read it.",)"
                                  R"( "confidence": 0.8, "error": null})")},
           {"prose", "The change looks fine to me."},
           {"tool", Value::Mapping{{"name", "read_file"},
                                   {"arguments", Value::Mapping{{"path", "src/app.py"}}}}}}}};
  ::setenv("TESSIK_TEST_KEY", "sk-from-env", 1);
  for (const Protocol& p : {protocol_of(0), protocol_of(1)}) {
    for (const bool tools : {false, true}) {
      for (const bool constrain : {false, true}) {
        SCOPED_TRACE(p.provider + (tools ? " --tools" : "") +
                     (constrain ? " --constrain-replies" : ""));
        StubServer stub(testing::replies({llama}));
        std::vector<std::string> args = live_args(p, stub, project);
        if (!tools) args.pop_back();  // --tools
        if (constrain) args.push_back("--constrain-replies");
        args.insert(args.end(), {"--api-key-env", "TESSIK_TEST_KEY", "--max-tokens", "77"});
        const Outcome r = run(args);
        const bool held = tools || constrain;
        EXPECT_EQ(r.status, held ? 0 : 1) << r.err << r.out;
        EXPECT_TRUE(r.out.starts_with(
            held ? "Reviewed 1 file with 4 agents."
                 : "Nothing was reviewed: none of the 4 agents gave a verdict on 1 file."))
            << r.out;
        for (const char* agent : {"corvin", "hesper", "peregrin", "wynn"}) {
          EXPECT_EQ(r.out.find(std::string(agent) + ": clean") != std::string::npos, held) << r.out;
        }
        const std::vector<testing::StubRequest> requests = stub.requests();
        EXPECT_EQ(requests.size(), tools ? 12u : 4u);
        std::size_t constrained = 0;
        for (const testing::StubRequest& req : requests) {
          const Value body = req.json();
          EXPECT_EQ(*body.find("max_tokens"), Value(77));
          EXPECT_EQ(req.header(p.provider == "openai" ? "authorization" : "x-api-key"),
                    (p.provider == "openai" ? "Bearer " : "") + std::string("sk-from-env"));
          const Value* format =
              p.provider == "openai" ? body.find("response_format") : body.find("output_config");
          if (!format) continue;
          ++constrained;
          const Value& schema = p.provider == "openai"
                                    ? *format->find("json_schema")->find("schema")
                                    : *format->find("format")->find("schema");
          EXPECT_EQ(testing::strict_schema_problems(schema), std::vector<std::string>{});
          // Tool calls are ruled out wherever the reply format is forced.
          if (p.provider == "openai") {
            EXPECT_EQ(body.find("tools"), nullptr);
          } else if (tools) {
            EXPECT_EQ(*body.find("tool_choice"), Value(Value::Mapping{{"type", "none"}}));
          }
        }
        EXPECT_EQ(constrained, held ? 4u : 0u);
        if (!tools) continue;
        const std::map<std::string, std::string> answers = tool_answers(requests, p);
        ASSERT_EQ(answers.size(), 4u);  // one call per agent, each with the server's own id
        for (const auto& [id, text] : answers) {
          EXPECT_EQ(id.size(), 32u) << id;
          EXPECT_NE(text.find("return 'hello ' + name"), std::string::npos) << text;
        }
      }
    }
    // Asked to, the tool rounds carry the schema beside the tools: such a
    // server then forces the verdict at once and no tool is called.
    StubServer forced(testing::replies({llama}));
    std::vector<std::string> args = live_args(p, forced, project);
    args.push_back("--constrain-tool-rounds");
    EXPECT_EQ(run(args).status, 0);
    EXPECT_EQ(forced.requests().size(), 4u);
    EXPECT_TRUE(tool_answers(forced.requests(), p).empty());
    // A change over the server's context is refused with its own message, once.
    StubServer small(
        testing::replies({Value::Mapping{{"llama", Value::Mapping{{"context", 50}}}}}));
    const Outcome r = run(live_args(p, small, project));
    EXPECT_EQ(r.status, 1);
    EXPECT_NE((r.out + r.err).find("exceeds the available context size (50 tokens)"),
              std::string::npos)
        << r.out << r.err;
    EXPECT_LE(small.requests().size(), 4u);
  }
}

}  // namespace
}  // namespace tessik::cli
