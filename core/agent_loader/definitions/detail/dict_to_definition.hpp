// The agent definition record and its construction from definition data.
//
// A definition file (see parsers.hpp) reduces to a mapping of keys, which
// `detail::dict_to_definition` checks and turns into an `AgentDefinition`:
//
//   Value data = Value::Mapping{{"name", "arch-reviewer"}, {"version", 2}};
//   AgentDefinition def = detail::dict_to_definition(data, "agents/arch.yaml");
//   // def.display_name == "Arch-Reviewer", def.version == "2",
//   // def.severity_default == "minor", def.max_tool_iterations == 5
//
// The keys of a definition, what an absent key defaults to, and how a present
// value is converted ("the text form", "the truth value" and "the integer
// conversion" are those of text.hpp and value.hpp):
//
//   key                  absent                conversion of a present value
//   name                 (required)            none; must be a truthy string
//   display_name         the name, title-cased none (stored as given)
//   role                 ""                    none (stored as given)
//   system_prompt        ""                    none (stored as given)
//   focus_areas          empty sequence        sequence conversion (below)
//   trigger_patterns     empty sequence        sequence conversion (below)
//   expertise            ""                    text form
//   severity_default     "minor"               none (stored as given)
//   enabled              true                  truth value
//   version              "1.0"                 text form
//   max_tool_iterations  5                     integer conversion
//
// Every other key is ignored. A default applies only to an absent key: a key
// present with null is converted like any other value, so `enabled: null`
// gives false, `expertise: null` gives "None" and `focus_areas: null` fails.
#ifndef TESSIK_AGENT_LOADER_DEFINITIONS_DETAIL_DICT_TO_DEFINITION_HPP_
#define TESSIK_AGENT_LOADER_DEFINITIONS_DETAIL_DICT_TO_DEFINITION_HPP_

#include <string_view>

#include <tessik/agent_loader/definitions/agent_definition.hpp>
#include <tessik/foundation/value.hpp>
#include <tessik/foundation/yaml.hpp>

namespace tessik {
namespace detail {

// Builds a definition from definition data: checks the required "name",
// applies the defaults of the other keys and converts their values (table
// above). `source` names where the data came from; the parsers pass the text
// form of the file's path. Logs nothing, catches nothing.
//
// Reads "name" first. Throws:
//   - InvalidValueError "Agent definition missing required 'name' field in "
//     followed by `source`, when "name" is absent or not truthy ("", null,
//     false, 0, an empty sequence or mapping). A name of blanks is accepted
//     and stored untrimmed.
//   - TypeError when the name is truthy but not a string. The title-cased
//     default display name is computed before "display_name" is read, so this
//     fails even when "display_name" is given.
//   - TypeError when "focus_areas" or "trigger_patterns" is null, a number or
//     a boolean. A sequence is copied as is (elements unconverted), a string
//     gives its characters (code points) as one-character strings, a mapping
//     gives its keys in order.
//   - InvalidValueError, OverflowError or TypeError from the integer
//     conversion of "max_tool_iterations" (no range check: 0 and negative
//     values are kept).
//   - TypeError when `data` is not a mapping.
// The remaining keys are read in the table's order and the first failing
// conversion ends the call. Every conversion error names the key and
// `source` in its message and keeps the kind of the underlying failure.
//
// With `place`, the place tree of `data` (yaml.hpp), a failure about a key
// that is present carries the position of that key's value; its message is
// the same either way.
//
// Thread-safe; keeps no state.
AgentDefinition dict_to_definition(const Value& data, std::string_view source = "",
                                   const YamlPlace* place = nullptr);

}  // namespace detail
}  // namespace tessik

#endif  // TESSIK_AGENT_LOADER_DEFINITIONS_DETAIL_DICT_TO_DEFINITION_HPP_
