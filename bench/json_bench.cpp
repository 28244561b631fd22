// parse_json on findings replies of about 4 KB, 350 KB and 3.5 MB (10,
// 1,000 and 10,000 items), against two references on the same bytes:
// simdjson's own parse into its document (the floor: parse_json adds the
// Value tree) and CPython's json.loads (the peer), timed by
// json_loads_peer.py, which this benchmark runs.
#include <benchmark/benchmark.h>
#include <simdjson.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <tessik/foundation/json.hpp>

#include "findings_reply.hpp"

namespace {

namespace fs = std::filesystem;
using tessik_bench::findings_reply;

void BM_ParseJson(benchmark::State& state) {
  const std::string reply = findings_reply(static_cast<int>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(tessik::parse_json(reply));
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(reply.size()));
}
BENCHMARK(BM_ParseJson)->Arg(10)->Arg(1000)->Arg(10000)->Unit(benchmark::kMicrosecond);

// The floor: simdjson's parse of the same reply, already padded, into a
// parser reused between iterations; no tree of our own is built.
void BM_SimdjsonParse(benchmark::State& state) {
  const simdjson::padded_string reply(findings_reply(static_cast<int>(state.range(0))));
  simdjson::dom::parser parser;
  for (auto _ : state) {
    simdjson::dom::element root;
    if (parser.parse(reply).get(root)) state.SkipWithError("simdjson refused the reply");
    benchmark::DoNotOptimize(root);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(reply.size()));
}
BENCHMARK(BM_SimdjsonParse)->Arg(10)->Arg(1000)->Arg(10000)->Unit(benchmark::kMicrosecond);

// The heap blocks an owning tree of the reply needs, in the order a walk of
// the tree meets them: one per mapping (its entries), one per sequence (its
// items) and one per string too long for the string's own buffer, each with
// its byte size.
std::vector<std::size_t> heap_blocks(const tessik::Value& root) {
  std::vector<std::size_t> sizes;
  std::vector<const tessik::Value*> pending{&root};
  const std::size_t short_string = std::string().capacity();
  while (!pending.empty()) {
    const tessik::Value* v = pending.back();
    pending.pop_back();
    if (v->is_string() && v->as_string().size() > short_string) {
      sizes.push_back(v->as_string().size() + 1);
    } else if (v->is_sequence()) {
      sizes.push_back(v->as_sequence().size() * sizeof(tessik::Value));
      for (const tessik::Value& item : v->as_sequence()) pending.push_back(&item);
    } else if (v->is_mapping()) {
      sizes.push_back(v->as_mapping().size() * sizeof(tessik::Value::Mapping::Entry));
      for (const auto& [key, value] : v->as_mapping()) {
        pending.push_back(&key);
        pending.push_back(&value);
      }
    }
  }
  return sizes;
}

// The allocation floor of any tree that owns its strings and containers:
// the heap blocks parse_json's tree holds, allocated, filled with bytes and
// freed, with no parsing at all.
void BM_AllocationFloor(benchmark::State& state) {
  const std::vector<std::size_t> sizes =
      heap_blocks(tessik::parse_json(findings_reply(static_cast<int>(state.range(0)))));
  const std::string bytes(*std::max_element(sizes.begin(), sizes.end()), 'x');
  std::vector<void*> blocks(sizes.size());
  for (auto _ : state) {
    for (std::size_t i = 0; i < sizes.size(); ++i) {
      blocks[i] = ::operator new(sizes[i]);
      std::memcpy(blocks[i], bytes.data(), sizes[i]);
    }
    benchmark::DoNotOptimize(blocks.data());
    for (std::size_t i = 0; i < sizes.size(); ++i) ::operator delete(blocks[i]);
  }
  state.counters["blocks"] = static_cast<double>(sizes.size());
}
BENCHMARK(BM_AllocationFloor)->Arg(10)->Arg(1000)->Arg(10000)->Unit(benchmark::kMicrosecond);

// The peer: json.loads of the same bytes in CPython. The script times the
// calls itself and prints the median seconds of one call, reported here as
// the iteration's time; each repetition runs the script again.
void BM_PythonJsonLoads(benchmark::State& state) {
  const std::string reply = findings_reply(static_cast<int>(state.range(0)));
  std::string path_template = (fs::temp_directory_path() / "tessik-json-XXXXXX").string();
  const int fd = mkstemp(path_template.data());
  if (fd < 0) {
    state.SkipWithError("cannot create a temporary file");
    return;
  }
  close(fd);
  std::ofstream(path_template, std::ios::binary) << reply;
  const std::string command =
      "python3 '" TESSIK_BENCH_DIR "/json_loads_peer.py' '" + path_template + "'";
  for (auto _ : state) {
    double seconds = -1;
    if (FILE* pipe = popen(command.c_str(), "r")) {
      if (fscanf(pipe, "%lf", &seconds) != 1) seconds = -1;
      if (pclose(pipe) != 0) seconds = -1;
    }
    if (seconds <= 0) {
      state.SkipWithError("python3 json_loads_peer.py failed");
      break;
    }
    state.SetIterationTime(seconds);
  }
  fs::remove(path_template);
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(reply.size()));
}
BENCHMARK(BM_PythonJsonLoads)
    ->Arg(10)
    ->Arg(1000)
    ->Arg(10000)
    ->UseManualTime()
    ->Iterations(1)
    ->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
