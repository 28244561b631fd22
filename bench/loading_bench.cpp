// load_all_agents over the four built-in agents and 1,000 custom agents,
// against libyaml's raw parse of the same 1,004 files read from disk.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <tessik/agent_loader.hpp>
#include <tessik/agent_loader/definitions/detail/paths.hpp>
#include <tessik/foundation/text.hpp>
#include <tessik/logging_channels.hpp>

#include "libyaml_baseline.hpp"

namespace {

namespace fs = std::filesystem;

class NoClient final : public tessik::AIClient {
 public:
  tessik::CompletionResult complete(const tessik::Value&, const tessik::CompleteOptions&) override {
    return {};
  }
};

class CustomDir {
 public:
  explicit CustomDir(int count) {
    std::string templ = (fs::temp_directory_path() / "tessik-bench-XXXXXX").string();
    dir_ = mkdtemp(templ.data());
    for (int i = 0; i < count; ++i) {
      const std::string name = "custom-" + std::to_string(i);
      std::ofstream(dir_ / (name + (i % 2 == 0 ? ".yaml" : ".md")))
          << (i % 2 == 0 ? "" : "---\n") << "name: " << name << "\ndisplay_name: \"Custom " << i
          << "\"\nrole: \"Checks project rule " << i << "\"\nfocus_areas:\n  - \"rule " << i
          << "\"\ntrigger_patterns:\n  - \"**/*.py\"\nseverity_default: minor\n"
          << (i % 2 == 0 ? "system_prompt: \"Check rule " + std::to_string(i) + ".\"\n"
                         : "---\nCheck rule " + std::to_string(i) + ".\n");
    }
  }
  ~CustomDir() { fs::remove_all(dir_); }
  const fs::path& path() const { return dir_; }

 private:
  fs::path dir_;
};

const CustomDir& custom_dir() {
  static const CustomDir dir(1000);
  return dir;
}

void quiet_logs() {
  tessik::Log::agent.set_sink([](const tessik::LogRecord&) {});
}

void BM_LoadAllAgents_BuiltinOnly(benchmark::State& state) {
  quiet_logs();
  auto client = std::make_shared<NoClient>();
  for (auto _ : state) {
    benchmark::DoNotOptimize(tessik::load_all_agents(
        tessik::AIConfig{.ai_max_tokens = 4096, .custom_agents_dir = std::nullopt}, client));
  }
}
BENCHMARK(BM_LoadAllAgents_BuiltinOnly)->Unit(benchmark::kMillisecond);

void BM_LoadAllAgents_1000Custom(benchmark::State& state) {
  quiet_logs();
  auto client = std::make_shared<NoClient>();
  const tessik::AIConfig config{.ai_max_tokens = 4096,
                                .custom_agents_dir = custom_dir().path().string()};
  for (auto _ : state) benchmark::DoNotOptimize(tessik::load_all_agents(config, client));
}
BENCHMARK(BM_LoadAllAgents_1000Custom)->Unit(benchmark::kMillisecond);

// Baseline: read every definition file and run libyaml over its YAML part
// (the whole file, or a Markdown file's front matter). Argument 0: the
// built-in files only; 1: built-in and custom.
void BM_ReadAndRawParse(benchmark::State& state) {
  std::vector<fs::path> dirs{tessik::detail::agents_dir()};
  if (state.range(0) == 1) dirs.push_back(custom_dir().path());
  std::vector<fs::path> paths;
  for (const auto& dir : dirs) {
    for (const auto& entry : fs::directory_iterator(dir)) {
      if (entry.is_regular_file()) paths.push_back(entry.path());
    }
  }
  for (auto _ : state) {
    for (const fs::path& p : paths) {
      std::string text = tessik::read_text_file(p);
      std::string_view yaml_part = text;
      if (p.extension() == ".md") {
        const std::size_t end = yaml_part.find("\n---", 4);
        yaml_part = yaml_part.substr(4, end == std::string_view::npos ? 0 : end - 4);
      }
      tessik_bench::raw_parse(yaml_part);
    }
  }
  state.counters["files"] = static_cast<double>(paths.size());
}
BENCHMARK(BM_ReadAndRawParse)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
