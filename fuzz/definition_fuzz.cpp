// A definition file through both parsers: bytes in, a definition or a
// tessik::Error out. The first byte picks the file suffix.
#include <cstddef>
#include <cstdint>
#include <string>

#include <tessik/agent_loader.hpp>

#include "fuzz_support.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tessik::fuzz::silence_logs();
  if (size == 0) return 0;
  static const char* const kNames[] = {"agent.yaml", "agent.yml", "agent.md", "hesper.md"};
  const std::string name = kNames[data[0] % 4];
  const auto path = tessik::fuzz::write_scratch(name, tessik::fuzz::as_text(data + 1, size - 1));
  try {
    tessik::AgentDefinition def = tessik::load_agent_definition(path);
    (void)def;
  } catch (const tessik::Error&) {
  }
  return 0;
}
