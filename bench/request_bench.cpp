// Request assembly against plain SHA-256 of the same bytes, and the peak
// memory one assembly or one whole analysis adds, as a multiple of the diff
// size.
//
//   tessik_request_bench --benchmark_counters_tabular=true
//
// BM_Sha256/N        hashes an N-byte diff text that already exists: the
//                    floor for any assembly, which has to build and hash it.
// BM_Assemble/N      assemble_request over files whose diff text is N bytes.
// BM_Analyse/N       a whole analysis with a client that answers at once.
// The counter peak_x is the largest number of bytes allocated at once during
// one call beyond what was allocated before it, divided by N.
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include <tessik/agent_loader/execution/detail/request.hpp>
#include <tessik/agent_loader/execution/detail/terminal_verdict.hpp>
#include <tessik/agent_loader/execution/loaded_agent.hpp>

// ---- Counting allocator ------------------------------------------------------

namespace {

// Counting is switched on only around the one call whose peak is measured,
// so that it does not slow down the timed calls.
std::atomic<bool> g_counting{false};
std::atomic<std::int64_t> g_current{0};
std::atomic<std::int64_t> g_peak{0};

void* counted_alloc(std::size_t size) {
  void* p = std::malloc(size == 0 ? 1 : size);
  if (!p) throw std::bad_alloc();
  if (!g_counting.load(std::memory_order_relaxed)) return p;
  const auto size_of = static_cast<std::int64_t>(malloc_usable_size(p));
  const std::int64_t now = g_current.fetch_add(size_of) + size_of;
  std::int64_t peak = g_peak.load(std::memory_order_relaxed);
  while (now > peak && !g_peak.compare_exchange_weak(peak, now)) {
  }
  return p;
}

void counted_free(void* p) noexcept {
  if (!p) return;
  if (g_counting.load(std::memory_order_relaxed)) {
    g_current.fetch_sub(static_cast<std::int64_t>(malloc_usable_size(p)));
  }
  std::free(p);
}

// The largest number of bytes that `call` holds allocated at once beyond
// what was allocated before it (a block allocated before and freed during
// the call lowers the count, so the figure never overstates).
template <class Call>
std::size_t peak_of(Call&& call) {
  g_current.store(0);
  g_peak.store(0);
  g_counting.store(true);
  call();
  g_counting.store(false);
  return static_cast<std::size_t>(std::max<std::int64_t>(g_peak.load(), 0));
}

}  // namespace

void* operator new(std::size_t size) { return counted_alloc(size); }
void* operator new[](std::size_t size) { return counted_alloc(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  try {
    return counted_alloc(size);
  } catch (...) {
    return nullptr;
  }
}
void operator delete(void* p) noexcept { counted_free(p); }
void operator delete[](void* p) noexcept { counted_free(p); }
void operator delete(void* p, std::size_t) noexcept { counted_free(p); }
void operator delete[](void* p, std::size_t) noexcept { counted_free(p); }

// ---- Inputs ------------------------------------------------------------------

namespace {

using tessik::FileChange;

// Files of at most 16 KiB of diff lines each, whose diff text totals
// `size` bytes.
std::vector<FileChange> changes_of_size(std::size_t size) {
  static const std::string kLine = "+    total += compute(item, factor) * weight; // adjust\n";
  std::vector<FileChange> changes;
  std::size_t total = 0;
  for (int i = 0; total < size; ++i) {
    FileChange c;
    c.file_path = "src/module_" + std::to_string(i) + "/file.cc";
    const std::size_t overhead = (i == 0 ? 0 : 2) + 6 + c.file_path.size() + 1;
    const std::size_t want =
        std::min<std::size_t>(16 << 10, size - std::min(size, total + overhead));
    while (c.diff.size() < want) c.diff += kLine;
    c.diff.resize(want);
    total += overhead + want;
    changes.push_back(std::move(c));
  }
  return changes;
}

tessik::AgentDefinition agent_definition() {
  tessik::AgentDefinition d;
  d.name = "wynn";
  d.system_prompt = std::string(6000, 'p');
  return d;
}

class InstantClient final : public tessik::AIClient {
 public:
  tessik::CompletionResult complete(const tessik::Value&, const tessik::CompleteOptions&) override {
    return {R"({"status": "clean", "summary": "Reviewed.", "confidence": 0.9})"};
  }
};

void report(benchmark::State& state, std::size_t diff_size, std::size_t peak_extra) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * diff_size));
  state.counters["peak_x"] =
      static_cast<double>(peak_extra) / static_cast<double>(std::max<std::size_t>(diff_size, 1));
}

void BM_Sha256(benchmark::State& state) {
  const std::string text =
      tessik::detail::build_diff_text(changes_of_size(static_cast<std::size_t>(state.range(0))))
          .text;
  EVP_MD* md = EVP_MD_fetch(nullptr, "SHA256", nullptr);
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  for (auto _ : state) {
    EVP_MD_CTX* ctx = EVP_MD_CTX_new();
    unsigned int n = 0;
    EVP_DigestInit_ex(ctx, md, nullptr);
    EVP_DigestUpdate(ctx, text.data(), text.size());
    EVP_DigestFinal_ex(ctx, digest.data(), &n);
    EVP_MD_CTX_free(ctx);
    benchmark::DoNotOptimize(digest);
  }
  EVP_MD_free(md);
  report(state, text.size(), 0);
}

void BM_Assemble(benchmark::State& state) {
  const auto changes = changes_of_size(static_cast<std::size_t>(state.range(0)));
  const auto definition = agent_definition();
  const std::size_t size = tessik::detail::build_diff_text(changes).text.size();
  for (auto _ : state) {
    auto request = tessik::detail::assemble_request(changes, nullptr, definition);
    benchmark::DoNotOptimize(request);
  }
  report(state, size, peak_of([&] {
           auto request = tessik::detail::assemble_request(changes, nullptr, definition);
           benchmark::DoNotOptimize(request);
         }));
}

void BM_Analyse(benchmark::State& state) {
  const auto changes = changes_of_size(static_cast<std::size_t>(state.range(0)));
  const std::size_t size = tessik::detail::build_diff_text(changes).text.size();
  const tessik::LoadedAgent agent(agent_definition(), std::make_shared<InstantClient>(), 4096);
  const tessik::SharedAnalysisResult shared{{"C++"}, {"memory"}, "A change."};
  for (auto _ : state) {
    auto verdict = agent.analyse(changes, &shared);
    benchmark::DoNotOptimize(verdict);
  }
  report(state, size, peak_of([&] {
           auto verdict = agent.analyse(changes, &shared);
           benchmark::DoNotOptimize(verdict);
         }));
}

constexpr std::int64_t kMin = 1 << 10;
constexpr std::int64_t kMax = std::int64_t{64} << 20;

BENCHMARK(BM_Sha256)->RangeMultiplier(4)->Range(kMin, kMax);
BENCHMARK(BM_Assemble)->RangeMultiplier(4)->Range(kMin, kMax);
BENCHMARK(BM_Analyse)->RangeMultiplier(4)->Range(kMin, kMax);

}  // namespace

BENCHMARK_MAIN();
