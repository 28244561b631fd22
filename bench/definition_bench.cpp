// Loading one definition file, YAML and Markdown, against libyaml's raw
// event parse of the same YAML text (the floor any YAML loader pays).
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>

#include <tessik/agent_loader.hpp>
#include <tessik/logging_channels.hpp>

#include "libyaml_baseline.hpp"

namespace {

namespace fs = std::filesystem;

// A definition as a project writes one: every key, lists, a multi-line
// prompt. The name is not a built-in one, so no guard rails are read.
const std::string kFrontMatter = R"(name: data-privacy
display_name: "Data Privacy"
role: "Reviews the handling of personal data: collection, storage, logging and deletion"
focus_areas:
  - "personal data written to logs or error messages"
  - "retention and deletion of user records"
  - "new fields that hold personal data without a purpose"
  - "exports and third-party transfers"
trigger_patterns:
  - "**/models/**"
  - "**/migrations/**"
  - "**/*.sql"
  - "**/export*"
expertise: "Privacy engineering across Python, Go and SQL"
severity_default: "medium"
enabled: true
version: "1.2"
max_tool_iterations: 6
)";

const std::string kPrompt =
    "You are the data-privacy reviewer. Look for personal data that the change collects,\n"
    "stores, logs or sends without need. Name the field, the place it leaks to and who\n"
    "can read it there. Prefer one precise finding over several vague ones.\n\n"
    "## What to look for\n\n"
    "- Names, e-mail addresses, phone numbers or addresses in log lines.\n"
    "- New columns holding personal data without a retention rule.\n"
    "- Exports that include more fields than the consumer needs.\n";

std::string indented(const std::string& text) {
  std::string out = "  ";
  for (char c : text) {
    out += c;
    if (c == '\n') out += "  ";
  }
  return out;
}

const std::string kYamlText = kFrontMatter + "system_prompt: |\n" + indented(kPrompt) + "\n";
const std::string kMarkdownText = "---\n" + kFrontMatter + "---\n" + kPrompt;

class Files {
 public:
  Files() {
    std::string templ = (fs::temp_directory_path() / "tessik-bench-XXXXXX").string();
    dir_ = mkdtemp(templ.data());
    std::ofstream(dir_ / "privacy.yaml") << kYamlText;
    std::ofstream(dir_ / "privacy.md") << kMarkdownText;
  }
  ~Files() { fs::remove_all(dir_); }
  fs::path yaml() const { return dir_ / "privacy.yaml"; }
  fs::path markdown() const { return dir_ / "privacy.md"; }

 private:
  fs::path dir_;
};

const Files& files() {
  static const Files f;
  return f;
}

void BM_LoadYamlDefinition(benchmark::State& state) {
  const fs::path path = files().yaml();
  for (auto _ : state) benchmark::DoNotOptimize(tessik::load_agent_definition(path));
}
BENCHMARK(BM_LoadYamlDefinition);

void BM_LoadMarkdownDefinition(benchmark::State& state) {
  const fs::path path = files().markdown();
  for (auto _ : state) benchmark::DoNotOptimize(tessik::load_agent_definition(path));
}
BENCHMARK(BM_LoadMarkdownDefinition);

void BM_LibyamlRawParse_Yaml(benchmark::State& state) {
  for (auto _ : state) tessik_bench::raw_parse(kYamlText);
}
BENCHMARK(BM_LibyamlRawParse_Yaml);

void BM_LibyamlRawParse_FrontMatter(benchmark::State& state) {
  for (auto _ : state) tessik_bench::raw_parse(kFrontMatter);
}
BENCHMARK(BM_LibyamlRawParse_FrontMatter);

}  // namespace

BENCHMARK_MAIN();
