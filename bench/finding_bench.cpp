// The findings path (the reply parsed, then every item through the finding
// parser) at 10 to 10,000 items, against parsing the reply's JSON alone.
#include <benchmark/benchmark.h>

#include <string>

#include <tessik/agent_loader.hpp>
#include <tessik/agent_loader/findings/detail/finding_item.hpp>
#include <tessik/foundation/json.hpp>

#include "findings_reply.hpp"

namespace {

using tessik_bench::findings_reply;

void BM_ParseFindingItems(benchmark::State& state) {
  const std::string reply = findings_reply(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    tessik::Value parsed = tessik::parse_json(reply);
    tessik::Value::Sequence& items = parsed.as_mapping().find("findings")->as_sequence();
    std::vector<tessik::AIReview> reviews;
    reviews.reserve(items.size());
    // As the analysis does: the parsed reply is its own, so every finding
    // takes its item's texts instead of copying them, and is constructed in
    // the verdict's list.
    const tessik::Value severity_default("minor");
    for (tessik::Value& item : items) {
      tessik::detail::append_finding_item(std::move(item), "wynn", severity_default, reviews);
    }
    benchmark::DoNotOptimize(reviews);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_ParseFindingItems)->RangeMultiplier(10)->Range(10, 10000);

// Baseline: the same reply parsed into a Value, no item looked at.
void BM_ParseReplyJsonOnly(benchmark::State& state) {
  const std::string reply = findings_reply(static_cast<int>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(tessik::parse_json(reply));
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_ParseReplyJsonOnly)->RangeMultiplier(10)->Range(10, 10000);

}  // namespace

BENCHMARK_MAIN();
