#include "run/review_runner.hpp"

#include <algorithm>
#include <atomic>
#include <memory>
#include <thread>

#include "cli/failure.hpp"

namespace tessik::cli {
namespace {

AgentOutcome run_one(const LoadedAgent& agent, std::span<const FileChange> changes,
                     const SharedAnalysisResult* shared) {
  AgentOutcome o{.agent = agent.name()};
  const auto start = std::chrono::steady_clock::now();
  try {
    o.verdict = agent.analyse(changes, shared);
  } catch (...) {
    Failure f = current_failure();
    o.failure_kind = std::move(f.kind);
    o.failure_message = std::move(f.message);
    o.call_site = std::move(f.call_site);
  }
  o.elapsed = std::chrono::steady_clock::now() - start;
  return o;
}

}  // namespace

void FirstAnswer::notify() {
  {
    const std::lock_guard lock(mutex_);
    answered_ = true;
  }
  cv_.notify_all();
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

ReviewerTools notifying_tools(const ReviewerTools& tools, std::shared_ptr<FirstAnswer> signal) {
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
  std::atomic<std::size_t> next{0};
  auto work = [&] {
    for (std::size_t i = next++; i < agents.size(); i = next++) {
      outcomes[i] = run_one(agents[i], changes, shared);
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
      outcomes[0] = run_one(agents[0], changes, shared);
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
