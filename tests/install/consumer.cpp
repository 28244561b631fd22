// Uses the public interface of an installed package the way an embedder
// would, through the umbrella header only: loads the built-in agents and
// prints where they came from and their names, one per line, then runs one
// analysis through its own client and exercises the value, text, YAML, JSON,
// verdict and classifier names. Exits non-zero, saying why on stderr, when
// anything does not behave as documented.
#include <tessik/agent_loader.hpp>

#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace {

// Answers every request with one finding.
class OneFindingClient final : public tessik::AIClient {
 public:
  tessik::CompletionResult complete(const tessik::Value&, const tessik::CompleteOptions&) override {
    return {.text = R"({"status": "findings", "findings": [{"file_path": "a.py",)"
                    R"( "line_number": 3, "severity": "major", "issue": "x"}]})",
            .stop_reason = "end_turn"};
  }
};

int fail(const std::string& why) {
  std::cerr << why << "\n";
  return 1;
}

int check_public_names() {
  using namespace tessik;
  const Value yaml = load_yaml("name: x\nversion: 1.10\n");
  if (text_form(*yaml.find("version")) != "1.1") return fail("load_yaml/text_form");
  if (to_json(parse_json(R"({"a": [1, 2.5, null]})")) != R"({"a": [1, 2.5, null]})")
    return fail("parse_json/to_json");
  if (lower("ÄB") != "äb" || title("code-review") != "Code-Review" || strip("  a ") != "a")
    return fail("text rules");
  try {
    (void)to_int(Value("five"));
    return fail("to_int accepted text");
  } catch (const InvalidValueError&) {
  }
  if (filter_code_replacement(Value::Sequence{"```", 1}) != std::vector<std::string>{"~~~"})
    return fail("filter_code_replacement");
  if (detect_language(Value("a.py")) != "python") return fail("detect_language");
  if (!output_config_for_three_state().is_mapping()) return fail("output_config_for_three_state");
  const TerminalState state =
      classify_terminal_state({.raw_text = R"({"status": "clean",)"
                                           R"( "summary": "ok", "confidence": 0.9})"});
  if (state.state != "clean") return fail("classify_terminal_state: " + state.state);
  if (!AgentVerdict::from_clean("ok", 0.9).is_clean()) return fail("AgentVerdict");
  if (default_parsers().size() != 2) return fail("default_parsers");
  return 0;
}

int check_analysis(const std::vector<tessik::LoadedAgent>& agents) {
  const std::vector<tessik::FileChange> changes{{.file_path = "a.py", .diff = "+x = 1\n"}};
  tessik::Log::agent.set_level(tessik::LogLevel::warning);
  const tessik::LoadedAgent agent(agents.front().definition(), std::make_shared<OneFindingClient>(),
                                  1024);
  const tessik::AgentVerdict verdict = agent.analyse(changes);
  if (!verdict.is_findings() || verdict.size() != 1 || verdict[0].severity != "medium")
    return fail("analyse did not return the one finding");
  return 0;
}

}  // namespace

int main() {
  const tessik::AIConfig config{.ai_max_tokens = 1024, .custom_agents_dir = {}};
  const auto agents = tessik::load_all_agents(config, std::make_shared<OneFindingClient>());
  std::cout << "agents_dir=" << tessik::builtin_agents_dir().string() << "\n";
  for (const auto& agent : agents) {
    const tessik::Value& prompt = agent.definition().system_prompt;
    if (!prompt.is_string() ||
        prompt.as_string().find("# Guard Rails for Reviewer Agents") == std::string::npos) {
      return fail(agent.name() + ": system prompt lacks the guard rails");
    }
    std::cout << agent.name() << "\n";
  }
  if (agents.empty()) return fail("no agents loaded");
  if (int rc = check_public_names()) return rc;
  return check_analysis(agents);
}
