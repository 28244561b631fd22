// Parsing the finding items of a findings reply, 10 to 10,000 items,
// against parsing the reply's JSON alone.
#include <benchmark/benchmark.h>

#include <string>

#include <tessik/agent_loader.hpp>
#include <tessik/json.hpp>

namespace {

// A findings reply of `count` items in the shape the reply contract asks
// for; every third item carries a code replacement.
std::string findings_reply(int count) {
  std::string out = R"j({"status": "findings", "findings": [)j";
  for (int i = 0; i < count; ++i) {
    if (i > 0) out += ',';
    out +=
        R"j({"file_path": "src/orders/service_)j" + std::to_string(i % 50) +
        R"j(.py", "line_number": )j" + std::to_string(10 + i) +
        R"j(, "severity": "medium", "issue": "The loop issues one query per order, so the page cost grows with the order count.", "suggestion": "Load the items of all orders in one query and group them in memory.", "confidence": 0.85, "category": "performance")j";
    if (i % 3 == 0) {
      out +=
          R"j(, "code_replacement": ["    items = load_items(order_ids)", "    for order in orders:"], "replacement_line_count": 2)j";
    }
    out += '}';
  }
  return out + R"j(], "summary": "Reviewed the order queries."})j";
}

void BM_ParseFindingItems(benchmark::State& state) {
  const std::string reply = findings_reply(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    const tessik::Value parsed = tessik::parse_json(reply);
    const tessik::Value::Sequence& items = parsed.find("findings")->as_sequence();
    std::vector<tessik::AIReview> reviews;
    reviews.reserve(items.size());
    for (const tessik::Value& item : items) {
      if (auto r = tessik::detail::parse_finding_item(item, "wynn")) {
        reviews.push_back(std::move(*r));
      }
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
