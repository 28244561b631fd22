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

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

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
