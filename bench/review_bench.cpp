// A whole `review` of the example change with the four built-in agents,
// against the stub model server answering every request after a fixed delay
// L (a model's think time), as the command line runs it.
//
//   tessik_review_bench --benchmark_counters_tabular=true
//
// BM_Review/sequential  --jobs 1: one agent after the other, about 4 L
// BM_Review/warmup      the default: the first agent alone, then the other
//                       three together (the change is then in the provider's
//                       prompt cache), about 2 L
// BM_Review/all_at_once --no-cache-warmup: all four together, about 1 L
// BM_Review/stream_warmup, BM_Review/stream_all_at_once
//                       the same against a server that streams each reply:
//                       its first event 0.05 L after the request, its last
//                       at L. The warm-up then ends at the first event.
//
// The counter "per_L" is the wall time of one review divided by L.
//
//   TESSIK_BENCH_L=0.2 tessik_review_bench    L = 200 ms instead of 500 ms
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "cli/cli.hpp"
#include "clients/client_fixtures.hpp"

namespace tessik {
namespace {

// L: 0.5 s, or the seconds in TESSIK_BENCH_L (the fixed work of a review
// shows more at a small L).
const double kDelaySeconds = [] {
  const char* set =
      std::getenv("TESSIK_BENCH_L");  // NOLINT(concurrency-mt-unsafe): read once, at start-up
  const double seconds = set ? std::strtod(set, nullptr) : 0;
  return seconds > 0 ? seconds : 0.5;
}();

const char kClean[] = R"({"status": "clean", "summary": "Looked at it.", "confidence": 0.9})";

testing::StubServer& stub() {
  static testing::StubServer server(
      testing::replies(
          {testing::answer(testing::messages_text(kClean), {{"delay", kDelaySeconds}})}),
      false);
  return server;
}

testing::StubServer& streaming_stub() {
  static testing::StubServer server(
      testing::replies({testing::streamed(testing::messages_events(testing::messages_text(kClean)),
                                          0.05 * kDelaySeconds, kDelaySeconds)}),
      false);
  return server;
}

void BM_Review(benchmark::State& state, std::vector<std::string> extra) {
  const bool streamed = extra.size() > 0 && extra.front() == "streamed";
  if (streamed) extra.erase(extra.begin());
  std::vector<std::string> args{"review",
                                "--diff",
                                TESSIK_BENCH_DIR "/../examples/change.diff",
                                "--model",
                                "bench-model",
                                "--endpoint",
                                streamed ? streaming_stub().url() : stub().url(),
                                "--retries",
                                "0"};
  if (!streamed) args.push_back("--no-stream");
  args.insert(args.end(), extra.begin(), extra.end());
  double seconds = 0;
  for (auto _ : state) {
    std::istringstream in;
    std::ostringstream out, err;
    const auto start = std::chrono::steady_clock::now();
    const int status = cli::run_cli(args, {in, out, err});
    seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (status != 0) {
      state.SkipWithError(("review failed: " + err.str() + out.str()).c_str());
      break;
    }
  }
  state.counters["per_L"] = seconds / static_cast<double>(state.iterations()) / kDelaySeconds;
}

BENCHMARK_CAPTURE(BM_Review, sequential, std::vector<std::string>{"--jobs", "1"})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(5);
BENCHMARK_CAPTURE(BM_Review, warmup, std::vector<std::string>{})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(5);
BENCHMARK_CAPTURE(BM_Review, all_at_once, std::vector<std::string>{"--no-cache-warmup"})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(5);
BENCHMARK_CAPTURE(BM_Review, stream_warmup, std::vector<std::string>{"streamed"})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(5);
BENCHMARK_CAPTURE(BM_Review, stream_all_at_once,
                  std::vector<std::string>{"streamed", "--no-cache-warmup"})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(5);

}  // namespace
}  // namespace tessik

BENCHMARK_MAIN();
