// tessik-agents review: runs every agent over a change with recorded replies.
#include <ostream>

#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/json.hpp>
#include <tessik/foundation/text.hpp>

#include "agent_set.hpp"
#include "commands.hpp"
#include "render.hpp"
#include "replay_client.hpp"

namespace tessik::cli {
namespace {

// One agent's outcome: its verdict, or the failure that `analyse` let
// through (a missing recorded reply, an unconvertible finding), which a
// review run turns into an error of its own.
struct Outcome {
  std::string agent;
  std::optional<AgentVerdict> verdict{};
  std::string failure_kind{}, failure_message{}, call_site{};
};

Outcome run_agent(const LoadedAgent& agent, std::span<const FileChange> changes,
                  const SharedAnalysisResult* shared) {
  Outcome o{.agent = agent.name()};
  try {
    o.verdict = agent.analyse(changes, shared);
  } catch (const Error& e) {
    o.failure_kind = e.class_name();
    o.failure_message = e.what();
    o.call_site = e.call_site().value_or("");
  } catch (const std::exception& e) {
    o.failure_kind = "Error";
    o.failure_message = e.what();
  }
  return o;
}

std::string location(const AIReview& f) {
  return one_line(f.file_path) + ":" + std::to_string(f.line_number);
}

void print_outcome(std::ostream& os, const Outcome& o) {
  if (!o.verdict) {
    os << o.agent << ": failed, " << o.failure_kind
       << (o.call_site.empty() ? "" : " in " + o.call_site) << '\n'
       << "  " << o.failure_message << '\n';
    return;
  }
  const AgentVerdict& v = *o.verdict;
  if (v.is_clean()) {
    os << o.agent << ": clean, confidence " << text_form(v.confidence().value_or(0.0)) << '\n'
       << "  " << v.summary().value_or("") << '\n';
    return;
  }
  if (!v.is_findings()) {
    os << o.agent << ": error " << v.error_code().value_or("");
    if (v.iterations_used()) os << " after " << *v.iterations_used() << " iterations";
    os << '\n' << "  " << v.error_message().value_or("") << '\n';
    return;
  }
  os << o.agent << ": " << v.size() << (v.size() == 1 ? " finding" : " findings") << '\n';
  if (v.summary()) os << "  " << *v.summary() << '\n';
  if (v.empty()) return;
  std::vector<std::vector<std::string>> rows{{"FILE:LINE", "SEVERITY", "CATEGORY", "ISSUE"}};
  for (const AIReview& f : v) {
    rows.push_back({location(f), f.severity, f.category, one_line(f.issue)});
  }
  print_table(os, rows, "  ");
  for (const AIReview& f : v) {
    if (!f.code_replacement) continue;
    os << "  replacement for " << location(f) << " (replaces " << f.replacement_line_count
       << (f.replacement_line_count == 1 ? " line" : " lines") << "):\n";
    for (const std::string& line : *f.code_replacement) os << "    | " << line << '\n';
  }
}

int run_review(const ParsedArgs& args, const Io& io) {
  const std::vector<FileChange> changes = read_changes(args, io.in);
  const std::optional<SharedAnalysisResult> shared = read_shared(args);
  const AgentSet set = load_agent_set(args, std::make_shared<ReplayClient>(*args.value("replies")));

  std::vector<Outcome> outcomes;
  {
    // The analysis log repeats what the verdicts show; keep it off stderr.
    ScopedLogCapture quiet_agent(Log::agent, LogLevel::warning);
    ScopedLogCapture quiet_position(Log::position, LogLevel::warning);
    for (const LoadedAgent& agent : set.agents) {
      outcomes.push_back(run_agent(agent, changes, shared ? &*shared : nullptr));
    }
  }
  const bool any_error = std::any_of(outcomes.begin(), outcomes.end(), [](const Outcome& o) {
    return !o.verdict || o.verdict->is_error();
  });

  if (args.flag("json")) {
    Value::Sequence agents;
    for (const Outcome& o : outcomes) {
      Value::Mapping entry{{"agent", o.agent}};
      if (o.verdict) {
        entry.set("verdict", verdict_value(*o.verdict));
      } else {
        entry.set("failure", Value::Mapping{{"kind", o.failure_kind},
                                            {"message", o.failure_message},
                                            {"call_site", o.call_site}});
      }
      agents.push_back(std::move(entry));
    }
    io.out << to_json(Value::Mapping{{"files", static_cast<std::int64_t>(changes.size())},
                                     {"agents", std::move(agents)},
                                     {"warnings",
                                      Value::Sequence(set.warnings.begin(), set.warnings.end())}},
                      2)
           << '\n';
    return any_error ? EXIT_FAILED : EXIT_OK;
  }
  io.out << "Reviewed " << changes.size() << (changes.size() == 1 ? " file" : " files") << " with "
         << outcomes.size() << (outcomes.size() == 1 ? " agent" : " agents") << ".\n";
  for (const Outcome& o : outcomes) {
    io.out << '\n';
    print_outcome(io.out, o);
  }
  if (!set.warnings.empty()) {
    io.out << "\nwarnings while loading:\n";
    for (const std::string& w : set.warnings) io.out << "  " << w << '\n';
  }
  return any_error ? EXIT_FAILED : EXIT_OK;
}

}  // namespace

Command review_command() {
  return {{.name = "review",
           .summary = "review a change with every agent, answering from recorded replies",
           .options = {diff_option(),
                       {"replies", true, "DIR",
                        "recorded replies: DIR/<agent>.json, optional DIR/<agent>.meta.json", true},
                       shared_option(),
                       builtin_option(),
                       custom_option(),
                       json_option()},
           .description =
               "Every agent 'list' shows runs its whole analysis: the request is assembled,\n"
               "the reply recorded for the agent is classified and becomes a verdict. Exit\n"
               "status 1 when any agent yields an error verdict or fails (for instance\n"
               "because no reply is recorded for it)."},
          run_review};
}

}  // namespace tessik::cli
