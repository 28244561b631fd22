// The agent definition record and its construction from definition data.
#ifndef TESSIK_AGENT_LOADER_DEFINITION_HPP_
#define TESSIK_AGENT_LOADER_DEFINITION_HPP_

#include <cstdint>
#include <string>
#include <string_view>

#include "../value.hpp"

namespace tessik {

// One reviewer agent as its definition file describes it. Built only by
// `detail::dict_to_definition` (through the parsers); never changed after its
// parser returns it.
struct AgentDefinition {
  std::string name;
  Value display_name;   // strings in practice; stored unconverted
  Value role;           // strings in practice; stored unconverted
  Value system_prompt;  // strings in practice; stored unconverted
  Value::Sequence focus_areas;
  Value::Sequence trigger_patterns;
  std::string expertise;
  Value severity_default = "minor";
  bool enabled = true;
  std::string version = "1.0";
  std::int64_t max_tool_iterations = 5;
  friend bool operator==(const AgentDefinition&, const AgentDefinition&) = default;
};

namespace detail {

// Builds a definition from a definition mapping, applying every default and
// conversion of the definition keys. `source` names where the data came
// from, for messages.
AgentDefinition dict_to_definition(const Value& data, std::string_view source = "");

}  // namespace detail
}  // namespace tessik

#endif  // TESSIK_AGENT_LOADER_DEFINITION_HPP_
