// A model reply through the classifier and the findings path:
// parse_json, classify_terminal_state and build_findings_verdict.
#include <cstddef>
#include <cstdint>

#include <tessik/agent_loader.hpp>
#include <tessik/agent_loader/execution/detail/terminal_verdict.hpp>
#include <tessik/foundation/json.hpp>
#include <tessik/terminal_state.hpp>

#include "fuzz_support.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tessik::fuzz::silence_logs();
  const auto text = tessik::fuzz::as_text(data, size);
  try {
    (void)tessik::parse_json(text);
  } catch (const tessik::Error&) {
  }
  static const tessik::AgentDefinition def = [] {
    tessik::AgentDefinition d;
    d.name = "hesper";
    return d;
  }();
  try {
    tessik::ReplyFacts facts{.raw_text = text};
    const tessik::TerminalState state = tessik::classify_terminal_state(facts);
    if (state.state == "findings") {
      const tessik::AgentVerdict verdict =
          tessik::detail::build_findings_verdict(state.payload, def);
      (void)verdict;
    }
  } catch (const tessik::Error&) {
  }
  return 0;
}
