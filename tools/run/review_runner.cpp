#include "run/review_runner.hpp"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <memory>
#include <thread>

#include <tessik/clients/detail/http_transport.hpp>

#include "cli/failure.hpp"

namespace tessik::cli {
namespace {

// An outcome, and the HTTP status of the model server's refusal that made
// it a failure (0 for any other).
struct Ran {
  AgentOutcome outcome;
  long refused = 0;
};

Ran run_one(const LoadedAgent& agent, std::span<const FileChange> changes,
            const SharedAnalysisResult* shared, const RunStop& stop) {
  if (std::optional<AgentOutcome> o = stop.stopped(agent.name(), false)) return {std::move(*o)};
  Ran r{.outcome = {.agent = agent.name()}};
  AgentOutcome& o = r.outcome;
  const auto start = std::chrono::steady_clock::now();
  try {
    o.verdict = agent.analyse(changes, shared);
  } catch (...) {
    Failure f = current_failure();
    o.failure_kind = std::move(f.kind);
    o.failure_message = std::move(f.message);
    o.call_site = std::move(f.call_site);
    r.refused = f.status;
  }
  o.elapsed = std::chrono::steady_clock::now() - start;
  if (o.verdict) return r;
  // Failed after the stop: its calls were cancelled.
  if (std::optional<AgentOutcome> stopped = stop.stopped(agent.name(), true)) {
    stopped->elapsed = o.elapsed;
    return {std::move(*stopped)};
  }
  return r;
}

// A status that every agent's request would meet alike: the server refused
// the request itself (a 4xx), and the transport would not retry it.
bool refused_for_all(long status) {
  return status >= 400 && status <= 499 && !clients::detail::retryable_status(status);
}

}  // namespace

std::string_view halt_words(Halt halt) noexcept {
  switch (halt) {
    case Halt::not_sent:
      return "not sent";
    case Halt::interrupted:
      return "interrupted";
    case Halt::none:
      break;
  }
  return "";
}

std::string signal_name(int signal) {
  if (signal == SIGINT) return "SIGINT";
  if (signal == SIGTERM) return "SIGTERM";
  return "signal " + std::to_string(signal);
}

void RunStop::interrupt(int signal) {
  const std::lock_guard lock(mutex_);
  if (halt_ != Halt::none) return;
  halt_ = Halt::interrupted;
  signal_ = signal;
}

void RunStop::refuse(const AgentOutcome& warmup) {
  const std::lock_guard lock(mutex_);
  if (halt_ != Halt::none) return;
  halt_ = Halt::not_sent;
  warmup_agent_ = warmup.agent;
  warmup_failure_ = warmup.failure_message;
}

int RunStop::signal() const {
  const std::lock_guard lock(mutex_);
  return halt_ == Halt::interrupted ? signal_ : 0;
}

std::optional<AgentOutcome> RunStop::stopped(const std::string& agent, bool started) const {
  const std::lock_guard lock(mutex_);
  if (halt_ == Halt::none) return std::nullopt;
  AgentOutcome o{.agent = agent, .halt = halt_};
  if (halt_ == Halt::not_sent) {
    o.failure_kind = "NotSent";
    o.failure_message = "not sent: the warm-up request of " + warmup_agent_ +
                        " failed as this one would: " + warmup_failure_;
  } else {
    o.failure_kind = "Interrupted";
    o.failure_message = started
                            ? "interrupted by " + signal_name(signal_) +
                                  " before its verdict arrived; its request was cancelled"
                            : "not started: the review was interrupted by " + signal_name(signal_);
  }
  return o;
}

void FirstAnswer::notify() {
  {
    const std::lock_guard lock(mutex_);
    answered_ = true;
  }
  cv_.notify_all();
}

bool FirstAnswer::answered() const {
  const std::lock_guard lock(mutex_);
  return answered_;
}

void FirstAnswer::wait() {
  std::unique_lock lock(mutex_);
  cv_.wait(lock, [&] { return answered_; });
}

namespace {

class NotifyingTool final : public ReviewerTool {
 public:
  NotifyingTool(std::shared_ptr<ReviewerTool> inner, std::shared_ptr<FirstAnswer> signal)
      : inner_(std::move(inner)), signal_(std::move(signal)) {}
  Value tool_definition() const override { return inner_->tool_definition(); }
  Value execute(const Value& input) override {
    signal_->notify();
    return inner_->execute(input);
  }

 private:
  std::shared_ptr<ReviewerTool> inner_;
  std::shared_ptr<FirstAnswer> signal_;
};

std::shared_ptr<ReviewerTool> notifying(const std::shared_ptr<ReviewerTool>& tool,
                                        const std::shared_ptr<FirstAnswer>& signal) {
  if (!tool) return nullptr;
  return std::make_shared<NotifyingTool>(tool, signal);
}

}  // namespace

ReviewerTools notifying_tools(const ReviewerTools& tools,
                              const std::shared_ptr<FirstAnswer>& signal) {
  return {.read_file_tool = notifying(tools.read_file_tool, signal),
          .read_lines_tool = notifying(tools.read_lines_tool, signal),
          .find_code_tool = notifying(tools.find_code_tool, signal)};
}

std::vector<AgentOutcome> run_agents(std::span<const LoadedAgent> agents,
                                     std::span<const FileChange> changes,
                                     const SharedAnalysisResult* shared,
                                     const RunSettings& settings) {
  std::vector<AgentOutcome> outcomes(agents.size());
  const std::size_t jobs = settings.jobs == 0 ? agents.size() : settings.jobs;
  const std::shared_ptr<RunStop> stop = settings.stop ? settings.stop : std::make_shared<RunStop>();
  std::atomic<std::size_t> next{0};
  auto work = [&] {
    for (std::size_t i = next++; i < agents.size(); i = next++) {
      outcomes[i] = run_one(agents[i], changes, shared, *stop).outcome;
      if (settings.finished) settings.finished(outcomes[i]);
    }
  };
  std::vector<std::jthread> pool;  // joined when leaving this function's scope below
  pool.reserve(jobs);
  if (settings.cache_warmup && agents.size() > 1) {
    // The first agent alone, until it has been answered once.
    const auto signal =
        settings.first_answer ? settings.first_answer : std::make_shared<FirstAnswer>();
    next = 1;
    pool.emplace_back([&, signal] {
      Ran first = run_one(agents[0], changes, shared, *stop);
      // Refused before the server took any of its requests: once it took one
      // (a streamed reply began, a tool was called), the others are on
      // their way and a later refusal is the first agent's own.
      if (refused_for_all(first.refused) && !signal->answered()) stop->refuse(first.outcome);
      outcomes[0] = std::move(first.outcome);
      if (settings.finished) settings.finished(outcomes[0]);
      signal->notify();
      work();
    });
    signal->wait();
  }
  while (pool.size() < std::min(jobs, agents.size())) pool.emplace_back(work);
  pool.clear();  // joins every worker
  return outcomes;
}

}  // namespace tessik::cli
