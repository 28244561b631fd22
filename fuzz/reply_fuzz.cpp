// A model reply through the classifier and the findings path:
// parse_json, classify_terminal_state and build_findings_verdict.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include <tessik/agent_loader.hpp>
#include <tessik/agent_loader/execution/detail/terminal_verdict.hpp>
#include <tessik/agent_loader/findings/detail/finding_item.hpp>
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
      // An item given away yields the same finding, or the same failure, as
      // an item read.
      if (const tessik::Value* items = state.payload.find("findings");
          items != nullptr && items->is_sequence()) {
        for (const tessik::Value& item : items->as_sequence()) {
          std::optional<tessik::AIReview> read, taken;
          std::string read_failure, taken_failure;
          try {
            read = tessik::detail::parse_finding_item(item, def.name);
          } catch (const tessik::Error& e) {
            read_failure = e.what();
          }
          try {
            taken = tessik::detail::parse_finding_item(tessik::Value(item), def.name);
          } catch (const tessik::Error& e) {
            taken_failure = e.what();
          }
          if (read_failure != taken_failure) __builtin_trap();
          // NaN fields make two equal findings compare unequal.
          if (read && taken && read->confidence == read->confidence && !(*read == *taken)) {
            __builtin_trap();
          }
        }
      }
      const tessik::AgentVerdict verdict =
          tessik::detail::build_findings_verdict(state.payload, def);
      (void)verdict;
    }
  } catch (const tessik::Error&) {
  }
  return 0;
}
