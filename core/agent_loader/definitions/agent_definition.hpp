// The agent definition record: one reviewer agent as its definition file
// describes it. The keys of definition data and their conversions are
// documented with `detail::dict_to_definition`.
#ifndef TESSIK_AGENT_LOADER_DEFINITIONS_AGENT_DEFINITION_HPP_
#define TESSIK_AGENT_LOADER_DEFINITIONS_AGENT_DEFINITION_HPP_

#include <cstdint>
#include <string>
#include <string_view>

#include <tessik/foundation/value.hpp>

namespace tessik {

// One reviewer agent as its definition file describes it: its name, its
// prompt and a few settings.
//
// A plain record that validates nothing; build it with designated
// initialisers or, from file data, with `detail::dict_to_definition`. Each
// record owns its sequences. The parsers replace `system_prompt` once, right
// after construction, when they prepend the guard rails (guard_rails.hpp);
// nothing changes a definition after its parser returns it. Two records are
// equal when all eleven fields are equal.
//
// `display_name`, `role`, `system_prompt`, `severity_default` and the
// elements of `focus_areas` and `trigger_patterns` are strings in every
// well-formed file, but they are stored exactly as the file gave them (a
// number stays a number), so they are `Value`s.
struct AgentDefinition {
  std::string name;                      // identifies the agent; never empty when parsed
  Value display_name;                    // shown to people; not interpreted here
  Value role;                            // not interpreted here
  Value system_prompt;                   // the agent's instructions to the model
  Value::Sequence focus_areas;           // not interpreted here
  Value::Sequence trigger_patterns;      // not interpreted here
  std::string expertise;                 // not interpreted here
  Value severity_default = "minor";      // severity of findings that bring none
  bool enabled = true;                   // false: the agent is not loaded
  std::string version = "1.0";           // not interpreted here
  std::int64_t max_tool_iterations = 5;  // bound of the agent's tool-use loop
  friend bool operator==(const AgentDefinition&, const AgentDefinition&) = default;
};

}  // namespace tessik

#endif  // TESSIK_AGENT_LOADER_DEFINITIONS_AGENT_DEFINITION_HPP_
