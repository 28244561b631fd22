// The guard-rails merge of a built-in agent's prompt, against reading the
// guard-rails document alone (the merge reads it on every call).
#include <benchmark/benchmark.h>

#include <string>

#include <tessik/agent_loader.hpp>
#include <tessik/agent_loader/definitions/detail/guard_rails.hpp>
#include <tessik/agent_loader/definitions/detail/paths.hpp>
#include <tessik/foundation/text.hpp>
#include <tessik/logging_channels.hpp>

namespace {

// The body of a built-in agent file: its own prompt, anti-pattern block
// included, before any merge.
std::string builtin_prompt() {
  const std::string text = tessik::read_text_file(tessik::detail::agents_dir() / "hesper.md");
  const std::size_t end = text.find("\n---\n", 4);
  return end == std::string::npos ? text : text.substr(end + 5);
}

void BM_PrependGuardRails_WithAntiPatternBlock(benchmark::State& state) {
  const std::string prompt = builtin_prompt();
  for (auto _ : state) benchmark::DoNotOptimize(tessik::detail::prepend_guard_rails(prompt));
  state.counters["prompt_bytes"] = static_cast<double>(prompt.size());
}
BENCHMARK(BM_PrependGuardRails_WithAntiPatternBlock);

void BM_PrependGuardRails_PlainPrompt(benchmark::State& state) {
  const std::string prompt = "You are a reviewer. Check the change for problems.";
  for (auto _ : state) benchmark::DoNotOptimize(tessik::detail::prepend_guard_rails(prompt));
}
BENCHMARK(BM_PrependGuardRails_PlainPrompt);

// Baseline: the document read, as strict UTF-8, with nothing merged.
void BM_ReadGuardRailsDocument(benchmark::State& state) {
  const auto& path = tessik::detail::shared_guard_rails_path();
  for (auto _ : state) benchmark::DoNotOptimize(tessik::read_text_file(path));
}
BENCHMARK(BM_ReadGuardRailsDocument);

}  // namespace

BENCHMARK_MAIN();
