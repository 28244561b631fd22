// Runs the agents of one review, concurrently, and keeps each outcome.
//
//   std::vector<AgentOutcome> outcomes =
//       run_agents(set.agents, changes, nullptr, {.jobs = 0, .cache_warmup = true});
//
// The agents share one client. Every agent's request starts with the same
// diff block, marked for the provider's prompt cache, so with the cache
// warm-up (the default) the first agent's request goes out alone and the
// others start once the server has taken it (notified through
// `first_answer`: by the client at the first event of a streamed reply, or
// by a tool the model asks for) or once its analysis has finished: the
// provider has then written the block to its cache and every later request
// reads it from there. Without it, all
// start at once. At most `jobs` analyses run at the same time (0: as many as
// there are agents).
//
// Outcomes come back in the agents' order whatever order they finish in. An
// analysis that throws becomes an outcome with the failure's kind, message
// and call site; the others still run, with two exceptions (see RunStop):
// a warm-up the server refuses before it took any request of it, as it
// would refuse every agent's (an HTTP status from 400 to 499 other than 408
// and 429: a prompt too long, a refused key, an unknown model), stops the
// others before they send anything; an interruption stops every agent. A
// failure a retry might mend (429, 5xx, a timeout, a broken connection),
// even after the retries ran out, stops nothing: another agent's request
// may still get through.
#ifndef TESSIK_TOOLS_RUN_REVIEW_RUNNER_HPP_
#define TESSIK_TOOLS_RUN_REVIEW_RUNNER_HPP_

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <tessik/agent_loader.hpp>

namespace tessik::cli {

// Why an agent has no verdict without having failed itself.
enum class Halt {
  none,
  not_sent,     // the warm-up's failure stopped it before its request went out
  interrupted,  // an interruption stopped it, before it started or in flight
};

struct AgentOutcome {
  std::string agent{};
  std::optional<AgentVerdict> verdict{};  // absent when the analysis threw or was stopped
  // A stopped agent's kind is "NotSent" or "Interrupted", with a message
  // saying why.
  std::string failure_kind{}, failure_message{}, call_site{};
  std::chrono::duration<double> elapsed{};  // the analysis's wall time
  Halt halt = Halt::none;
};

// Stops the agents of a run, and of every later run it is given to, once
// stopped: those that have not started never start, and an analysis that
// fails after the stop counts as stopped. The first reason wins.
// Thread-safe.
class RunStop {
 public:
  // The run is interrupted by `signal` (SIGINT, SIGTERM). The caller also
  // cancels the client's calls in flight.
  void interrupt(int signal);
  // `warmup`, the first agent's outcome, is a failure every agent would
  // meet: the others are not sent.
  void refuse(const AgentOutcome& warmup);
  // The signal given to `interrupt` when it was the reason; 0 otherwise.
  int signal() const;
  // The outcome of `agent` stopped now, or nullopt when nothing stopped the
  // run; `started`: whether its analysis ran.
  std::optional<AgentOutcome> stopped(const std::string& agent, bool started) const;

 private:
  mutable std::mutex mutex_;
  Halt halt_ = Halt::none;
  int signal_ = 0;
  std::string warmup_agent_{}, warmup_failure_{};
};

// How the reports name a halt: "not sent", "interrupted"; "" for none.
std::string_view halt_words(Halt halt) noexcept;

// "SIGINT", "SIGTERM", or "signal N".
std::string signal_name(int signal);

// Tells the warm-up that the server has taken the first agent's first request
// while its analysis goes on: a streamed reply's first event or a reviewer
// tool called during the warm-up can only come from the first agent's
// request. Thread-safe.
class FirstAnswer {
 public:
  void notify();
  // Blocks until `notify` has been called.
  void wait();
  // Whether `notify` has been called.
  bool answered() const;

 private:
  mutable std::mutex mutex_;
  std::condition_variable cv_;
  bool answered_ = false;
};

// `tools` with every present tool wrapped so that each call notifies
// `signal` before it runs. Definitions and answers are the wrapped tools'.
ReviewerTools notifying_tools(const ReviewerTools& tools,
                              const std::shared_ptr<FirstAnswer>& signal);

struct RunSettings {
  std::size_t jobs = 0;  // most analyses at once; 0: every agent
  bool cache_warmup = true;
  // Notified by the agents' tools (see `notifying_tools`): the warm-up then
  // ends at the first tool call instead of at the end of the first analysis.
  std::shared_ptr<FirstAnswer> first_answer{};
  // Called with each outcome as its analysis ends, on the agent's thread
  // (several at once); may be empty.
  std::function<void(const AgentOutcome&)> finished{};
  // Shared by the runs of one review; none: a run of its own.
  std::shared_ptr<RunStop> stop{};
};

// Runs `analyse(changes, shared)` of every agent as described above. Never
// throws for a failing analysis. `agents`, `changes` and `shared` must stay
// alive and unchanged until it returns.
std::vector<AgentOutcome> run_agents(std::span<const LoadedAgent> agents,
                                     std::span<const FileChange> changes,
                                     const SharedAnalysisResult* shared,
                                     const RunSettings& settings);

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_RUN_REVIEW_RUNNER_HPP_
