// One whole analysis (request assembly, client call, classification,
// finding parsing, verdict) with an in-memory client, against the two
// pieces any analysis must do: assembling the request and parsing the reply.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include <tessik/agent_loader.hpp>
#include <tessik/agent_loader/execution/detail/request.hpp>
#include <tessik/foundation/json.hpp>
#include <tessik/logging_channels.hpp>

namespace {

const char kReply[] =
    R"j({"status": "findings", "findings": [)j"
    R"j({"file_path": "shop/orders.py", "line_number": 20, "severity": "high", "issue": "The term is formatted into the SQL text.", "suggestion": "Bind it as a parameter.", "confidence": 0.95, "category": "security", "code_replacement": ["```python", "    return conn.execute(sql, (customer_id, term))", "```"], "replacement_line_count": 5},)j"
    R"j({"file_path": "shop/orders.py", "line_number": 34, "severity": "medium", "issue": "One query per order.", "suggestion": "Load all items in one query.", "confidence": 0.9, "category": "performance"})j"
    R"j(], "summary": "Reviewed the order queries."})j";

// Answers every call at once with the same reply.
class InMemoryClient final : public tessik::AIClient {
 public:
  tessik::CompletionResult complete(const tessik::Value&, const tessik::CompleteOptions&) override {
    return {.text = kReply, .stop_reason = "end_turn"};
  }
};

// A change of `files` files of about 1 KiB of hunk text each.
std::vector<tessik::FileChange> change(int files) {
  std::vector<tessik::FileChange> out;
  for (int f = 0; f < files; ++f) {
    std::string diff = "@@ -1,3 +1,30 @@\n";
    for (int line = 0; line < 30; ++line) {
      diff += "+    total += order.items[" + std::to_string(line) + "].cents * rate\n";
    }
    out.push_back({"shop/module_" + std::to_string(f) + ".py", diff});
  }
  return out;
}

tessik::AgentDefinition definition() {
  tessik::AgentDefinition d;
  d.name = "wynn";
  d.display_name = "Wynn";
  d.role = "Performance reviewer";
  d.system_prompt = std::string(6000, 'p');  // a built-in prompt's size, guard rails included
  return d;
}

void BM_AnalyseFindingsReply(benchmark::State& state) {
  tessik::Log::agent.set_sink([](const tessik::LogRecord&) {});
  tessik::Log::position.set_sink([](const tessik::LogRecord&) {});
  const tessik::LoadedAgent agent(definition(), std::make_shared<InMemoryClient>(), 4096);
  const auto changes = change(static_cast<int>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(agent.analyse(changes));
}
BENCHMARK(BM_AnalyseFindingsReply)->Arg(1)->Arg(10)->Arg(100);

// Baseline: the request assembled and the reply parsed, nothing else.
void BM_AssembleAndParseOnly(benchmark::State& state) {
  const tessik::AgentDefinition def = definition();
  const auto changes = change(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    benchmark::DoNotOptimize(tessik::detail::assemble_request(changes, nullptr, def));
    benchmark::DoNotOptimize(tessik::parse_json(kReply));
  }
}
BENCHMARK(BM_AssembleAndParseOnly)->Arg(1)->Arg(10)->Arg(100);

}  // namespace

BENCHMARK_MAIN();
