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
// and call site; the others still run.
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
#include <vector>

#include <tessik/agent_loader.hpp>

namespace tessik::cli {

struct AgentOutcome {
  std::string agent{};
  std::optional<AgentVerdict> verdict{};  // absent when the analysis threw
  std::string failure_kind{}, failure_message{}, call_site{};
  std::chrono::duration<double> elapsed{};  // the analysis's wall time
};

// Tells the warm-up that the server has taken the first agent's first request
// while its analysis goes on: a streamed reply's first event or a reviewer
// tool called during the warm-up can only come from the first agent's
// request. Thread-safe.
class FirstAnswer {
 public:
  void notify();
  // Blocks until `notify` has been called.
  void wait();

 private:
  std::mutex mutex_;
  std::condition_variable cv_;
  bool answered_ = false;
};

// `tools` with every present tool wrapped so that each call notifies
// `signal` before it runs. Definitions and answers are the wrapped tools'.
ReviewerTools notifying_tools(const ReviewerTools& tools, std::shared_ptr<FirstAnswer> signal);

struct RunSettings {
  std::size_t jobs = 0;  // most analyses at once; 0: every agent
  bool cache_warmup = true;
  // Notified by the agents' tools (see `notifying_tools`): the warm-up then
  // ends at the first tool call instead of at the end of the first analysis.
  std::shared_ptr<FirstAnswer> first_answer{};
  // Called with each outcome as its analysis ends, on the agent's thread
  // (several at once); may be empty.
  std::function<void(const AgentOutcome&)> finished{};
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
