// tessik-agents review: runs every agent over a change, against a model or
// with recorded replies.
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <iostream>
#include <ostream>

#include <tessik/clients/cancellation.hpp>
#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/json.hpp>

#include "change/review_source.hpp"
#include "cli/commands.hpp"
#include "cli/review_output.hpp"
#include "cli/review_post.hpp"
#include "cli/review_scope.hpp"
#include "config/effective_settings.hpp"
#include "model/live_client.hpp"
#include "model/recording_client.hpp"
#include "model/replay_client.hpp"
#include "report/review_report.hpp"
#include "reviewer_tools/reviewer_tools.hpp"
#include "run/agent_set.hpp"
#include "run/part_merge.hpp"
#include "run/progress_board.hpp"
#include "run/review_runner.hpp"
#include "run/stop_signals.hpp"

namespace tessik::cli {
namespace {

// The client the agents share: the replay of --replies, or the live model.
struct ReviewClient {
  std::shared_ptr<AIClient> client;
  std::optional<LiveClient> live{};
  std::optional<ModelSettings> settings{};
  std::shared_ptr<RecordingClient> recorder{};
  // Ends the live client's calls when the review is interrupted.
  std::shared_ptr<clients::Cancellation> cancellation{};
};

ReviewClient review_client(const ParsedArgs& args, const EffectiveSettings& settings,
                           clients::ProgressObserver progress) {
  const std::optional<std::string> replies = args.value("replies");
  ReviewClient c;
  if (replies) {
    if (settings.get("model").source == SettingSource::flag)
      throw UsageError("--replies and --model name two sources of replies: give one");
    if (!std::filesystem::is_directory(*replies)) {
      throw FileSystemError(
          "cannot read recorded replies from " + *replies + ": it is not a directory",
          std::filesystem::exists(*replies) ? ENOTDIR : ENOENT);
    }
    c.client = std::make_shared<ReplayClient>(*replies);
  } else {
    c.settings = resolve_model_settings(model_flags(settings), process_environment);
    clients::TransportOptions transport;
    transport.max_attempts = static_cast<int>(settings.number("retries").value_or(3)) + 1;
    transport.idle_timeout = std::chrono::milliseconds(
        static_cast<std::int64_t>(settings.seconds("idle_timeout").value_or(120) * 1000.0));
    c.cancellation = std::make_shared<clients::Cancellation>();
    transport.cancellation = c.cancellation;
    c.live = make_live_client(*c.settings, process_environment, transport,
                              {.constrain_replies = settings.on("constrain_replies"),
                               .constrain_tool_rounds = settings.on("constrain_tool_rounds")},
                              settings.on("stream"), std::move(progress));
    c.client = c.live->client;
  }
  const std::optional<std::string> record = args.value("record");
  if (c.live || record) {
    c.recorder = std::make_shared<RecordingClient>(c.client, record);
    c.client = c.recorder;
  }
  return c;
}

Tokens tokens_of(const clients::TokenUsage& u) {
  return {.input = u.input_tokens,
          .output = u.output_tokens,
          .cache_write = u.cache_write_tokens,
          .cache_read = u.cache_read_tokens};
}

RunCost run_cost(const ReviewClient& c, const std::vector<AgentOutcome>& outcomes,
                 double wall_seconds) {
  RunCost cost{.model = c.settings->model, .wall_seconds = wall_seconds};
  const std::map<std::string, clients::TokenUsage> usage = c.live->usage();
  clients::TokenUsage total;
  for (const auto& [agent, u] : usage) total += u;
  cost.total = tokens_of(total);
  for (const AgentOutcome& o : outcomes) {
    const auto it = usage.find(o.agent);
    cost.agents[o.agent] = {.iterations = c.recorder->iterations(o.agent).value_or(0),
                            .seconds = o.elapsed.count(),
                            .tokens = it == usage.end() ? Tokens{} : tokens_of(it->second)};
  }
  return cost;
}

ReviewerTools review_tools(const ParsedArgs& args, const EffectiveSettings& settings,
                           const ReviewSource& source, const std::shared_ptr<FirstAnswer>& signal) {
  if (!settings.on("tools")) return {};
  return notifying_tools(make_reviewer_tools(review_tree(source, args)), signal);
}

// The progress display: redrawn in place on a terminal, plain lines with
// --verbose otherwise, nothing with --quiet.
std::shared_ptr<ProgressBoard> progress_board(const ParsedArgs& args,
                                              const EffectiveSettings& settings, const Io& io) {
  ProgressMode mode = args.flag("verbose") ? ProgressMode::plain : ProgressMode::off;
  std::size_t columns = 80;
  winsize size{};
  if (&io.err == &std::cerr && ::isatty(STDERR_FILENO)) {
    mode = ProgressMode::live;
    if (::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) columns = size.ws_col;
  }
  if (settings.on("quiet")) mode = ProgressMode::off;
  return std::make_shared<ProgressBoard>(io.err, mode, columns);
}

int run_review(const ParsedArgs& args, const Io& io) {
  check_source_flags(args);
  const EffectiveSettings settings = resolve_settings(args, process_environment);
  for (const std::string& w : settings.warnings)
    io.err << "tessik-agents review: warning: " << w << '\n';
  const ReviewOutput output = review_output(args, settings);
  std::optional<ReviewPost> post = prepare_post(args, settings, process_environment);
  const auto signal = std::make_shared<FirstAnswer>();
  const std::shared_ptr<ProgressBoard> board = progress_board(args, settings, io);
  const ReviewClient client =
      review_client(args, settings, [board, signal](const clients::CallProgress& p) {
        // The server has taken a request: during the warm-up, the first agent's.
        if (p.stage == clients::CallStage::accepted || p.stage == clients::CallStage::answered) {
          signal->notify();
        }
        board->observe(p);
      });
  ReviewSource source = read_review_source(args, io.in, post ? post->git_range : std::nullopt);
  if (source.git && source.git->untracked > 0) {
    io.err << "tessik-agents review: note: " << source.git->untracked << " untracked "
           << (source.git->untracked == 1 ? "file is" : "files are")
           << " not reviewed, as `git diff HEAD` leaves them out; `git add -N FILE` brings one "
              "in\n";
  }
  // Nothing to send, or nobody to send it to: no model call.
  auto nothing = [&](const std::string& why, ReviewReport empty) {
    const std::string note = "Nothing to review: " + why;
    if (output.format == OutputFormat::text || output.format == OutputFormat::markdown) {
      io.out << note << '\n';
      return EXIT_OK;
    }
    // The formats machines read get an empty report of their own kind.
    io.err << "tessik-agents review: " << note << '\n';
    empty.files = 0;
    empty.outcomes.clear();
    return finish_review(empty, output, io);
  };
  if (source.changes.empty()) return nothing(source.described + " has no changes.", {});
  ChangeSelection selection = select_sent_files(args, settings, std::move(source.changes));
  tell_left_out(io.err, selection);
  if (selection.sent.empty()) {
    return nothing("every changed file of " + source.described + " was left out.",
                   {.left_out = selection.left_out});
  }
  const std::optional<SharedAnalysisResult> shared = read_shared(args);
  AgentSet set = load_agent_set(args.value("builtin"), settings.text("custom_agents"),
                                client.client, review_tools(args, settings, source, signal),
                                client.settings ? client.settings->max_tokens : DEFAULT_MAX_TOKENS);
  for (const std::string& w : set.warnings)
    io.err << "tessik-agents review: warning: " << w << '\n';
  const AgentChoice choice = choose_review_agents(settings, std::move(set.agents), selection.sent);
  ReviewReport report{.files = selection.sent.size(), .warnings = set.warnings};
  if (args.flag("verbose")) {
    for (const SkippedAgent& a : choice.skipped)
      io.err << "tessik-agents review: skipped " << a.agent << ": " << a.reason << '\n';
  }
  report.skipped = choice.skipped;
  report.left_out = std::move(selection.left_out);
  std::vector<std::string> names;
  for (const LoadedAgent& a : choice.chosen) names.push_back(a.name());
  if (choice.chosen.empty())
    return nothing("every agent was skipped (--verbose says why).", report);
  const std::vector<std::vector<FileChange>> parts =
      plan_parts(settings, choice.chosen, shared ? &*shared : nullptr, selection.sent);
  report.parts = parts.size();
  // SIGINT and SIGTERM from here on: no agent starts any more, the requests
  // in flight are cancelled, and what arrived is reported.
  const auto stop = std::make_shared<RunStop>();
  const StopSignals signals([stop, cancel = client.cancellation](int s) {
    stop->interrupt(s);
    if (cancel) cancel->cancel();
  });
  board->begin(names);
  const auto start = std::chrono::steady_clock::now();
  {
    // The analysis log repeats what the verdicts show; keep it off stderr.
    ScopedLogCapture quiet_agent(Log::agent, LogLevel::warning);
    ScopedLogCapture quiet_position(Log::position, LogLevel::warning);
    // Each part in turn, with its own warm-up: its diff is a cacheable block
    // of its own.
    std::vector<std::vector<AgentOutcome>> by_agent(choice.chosen.size());
    for (std::size_t p = 0; p < parts.size(); ++p) {
      RunSettings run{.jobs = static_cast<std::size_t>(settings.number("jobs").value_or(0)),
                      .cache_warmup = settings.on("cache_warmup"),
                      .first_answer = p == 0 ? signal : std::make_shared<FirstAnswer>(),
                      .finished = {},
                      .stop = stop};
      if (p + 1 == parts.size()) {
        // The progress display counts an agent done after its last part.
        run.finished = [&board](const AgentOutcome& o) { board->finished(o); };
      }
      std::vector<AgentOutcome> outcomes =
          run_agents(choice.chosen, parts[p], shared ? &*shared : nullptr, run);
      for (std::size_t a = 0; a < outcomes.size(); ++a)
        by_agent[a].push_back(std::move(outcomes[a]));
    }
    for (const std::vector<AgentOutcome>& outcomes : by_agent)
      report.outcomes.push_back(merge_parts(outcomes));
  }
  board->close();
  const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
  if (client.live) report.cost = run_cost(client, report.outcomes, wall.count());

  const int status = finish_review(report, output, io);
  if (const int s = stop->signal()) {
    io.err << "tessik-agents review: interrupted by " << signal_name(s)
           << ": the verdicts that arrived before it are reported"
           << (post ? "; nothing was posted" : "") << '\n';
    return 128 + s;
  }
  return post ? post_to_github(*post, report, selection.sent, io, status) : status;
}

std::vector<OptionSyntax> review_options() {
  std::vector<OptionSyntax> options{
      {"diff", true, "FILE", "the change as a unified diff (git diff); - reads stdin"},
      {"git", true, "RANGE",
       "the change from git: the uncommitted changes, or RANGE (A..B, A...B, C^!, C^-N, C)", false,
       true},
      {"repo", true, "DIR", "the git repository of --git and --tools (default: .)"},
      {"replies", true, "DIR",
       "recorded replies: DIR/<agent>.json, optional DIR/<agent>.meta.json"},
      config_option()};
  for (OptionSyntax& o : setting_options()) options.push_back(std::move(o));
  for (OptionSyntax o :
       {OptionSyntax{"record", true, "DIR", "write each agent's reply where --replies reads it"},
        OptionSyntax{"verbose", false, "", "show each agent's iterations, time and tokens"},
        shared_option(), builtin_option(), json_option()}) {
    options.push_back(std::move(o));
  }
  return options;
}

std::vector<OptionSyntax> all_review_options() {
  std::vector<OptionSyntax> options = review_options();
  for (OptionSyntax& o : review_post_options()) options.push_back(std::move(o));
  return options;
}

}  // namespace

Command review_command() {
  return {{.name = "review",
           .summary = "review a change with every agent, live or from recorded replies",
           .options = all_review_options(),
           .description =
               "Every agent 'list' shows runs its whole analysis: the request is assembled,\n"
               "the model (or the reply recorded for the agent) answers, and the answer\n"
               "becomes a verdict. Without --replies, a model is needed: --model or\n"
               "TESSIK_MODEL. The first agent's request goes out alone so that the\n"
               "provider caches the change for the others (--no-cache-warmup: all at once).\n"
               "--format writes text, json, markdown (a pull-request comment), github\n"
               "(workflow annotations), sarif or rdjson; --post github also posts the review\n"
               "on the pull request (GITHUB_TOKEN). Exit status 1 when any agent yields an\n"
               "error verdict or fails, or a finding reaches --fail-on. SIGINT (Ctrl-C) or\n"
               "SIGTERM stops the review: requests in flight are cancelled, the verdicts\n"
               "already in are reported, and the exit status is 130 (SIGINT) or 143\n"
               "(SIGTERM); a second one ends the process at once."},
          run_review};
}

}  // namespace tessik::cli
