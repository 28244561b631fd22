#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <string>

#include <tessik/agent_loader/definitions/agent_definition.hpp>
#include <tessik/agent_loader/definitions/detail/dict_to_definition.hpp>
#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/text.hpp>

#include "failure.hpp"

namespace tessik {
namespace {

using M = Value::Mapping;
using S = Value::Sequence;
// The text fields are move-assigned from std::string temporaries: assigning
// a literal inlines std::string's replace path, where GCC 12's optimiser
// raises a false -Wrestrict (GCC bug 105329).
using namespace std::string_literals;

// The record of {"name": "a"} with `change` applied. (Assignments, not
// designated initialisers: GCC 12 warns about the fields they leave out.)
AgentDefinition with(std::function<void(AgentDefinition&)> change) {
  AgentDefinition def;
  def.name = "a"s;
  def.display_name = "A";
  def.role = "";
  def.system_prompt = "";
  change(def);
  return def;
}

TEST(DefinitionRecord, AppliesDefaultsAndConversionsPerKey) {
  const struct {
    const char* name;
    Value data;
    AgentDefinition expected;
  } cases[] = {
      {"absent keys take their defaults", M{{"name", "code-quality"}}, with([](auto& d) {
         d.name = "code-quality"s;
         d.display_name = "Code-Quality";
       })},
      {"null display name is stored, not defaulted", M{{"name", "a"}, {"display_name", nullptr}},
       with([](auto& d) { d.display_name = nullptr; })},
      {"role, prompt and severity are stored unconverted",
       M{{"name", "a"}, {"role", 3}, {"system_prompt", S{"x"}}, {"severity_default", 2}},
       with([](auto& d) {
         d.role = 3;
         d.system_prompt = S{"x"};
         d.severity_default = 2;
       })},
      {"a string gives its code points", M{{"name", "a"}, {"focus_areas", "pé✓"}},
       with([](auto& d) {
         d.focus_areas = {"p", "é", "✓"};
       })},
      {"a mapping gives its keys, a sequence stays unconverted",
       M{{"name", "a"}, {"focus_areas", M{{"z", 1}, {"b", 2}}}, {"trigger_patterns", S{1, "x"}}},
       with([](auto& d) {
         d.focus_areas = {"z", "b"};
         d.trigger_patterns = {1, "x"};
       })},
      {"text form of expertise and version",
       M{{"name", "a"}, {"expertise", nullptr}, {"version", 2}}, with([](auto& d) {
         d.expertise = "None"s;
         d.version = "2"s;
       })},
      {"enabled null is false, not the default", M{{"name", "a"}, {"enabled", nullptr}},
       with([](auto& d) { d.enabled = false; })},
      {"enabled takes the truth value, not the word", M{{"name", "a"}, {"enabled", "false"}},
       with([](auto&) {})},
      {"iterations from a decimal string, negative kept",
       M{{"name", "a"}, {"max_tool_iterations", " -1_0 "}, {"colour", "ignored"}},
       with([](auto& d) { d.max_tool_iterations = -10; })},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(detail::dict_to_definition(c.data, "x.yaml"), c.expected) << c.name;
  }
}

TEST(DefinitionRecord, RejectsBadDataWithTheRightKind) {
  const std::string missing = "=Agent definition missing required 'name' field in src.md";
  const struct {
    const char* name;
    Value data;
    const char* source;
    std::string_view kind;  // class_name() of the failure
    std::string message;    // exact when it starts with "=", else a substring
  } cases[] = {
      {"absent name", M{}, "src.md", "ValueError", missing},
      {"empty name", M{{"name", ""}}, "src.md", "ValueError", missing},
      {"zero name", M{{"name", 0}}, "src.md", "ValueError", missing},
      {"empty sequence name", M{{"name", S{}}}, "src.md", "ValueError", missing},
      {"no source leaves a trailing blank", M{{"name", nullptr}}, "", "ValueError",
       "=Agent definition missing required 'name' field in "},
      {"number name fails even with a display name", M{{"name", 42}, {"display_name", "X"}},
       "src.md", "TypeError", "'name'"},
      {"null focus areas", M{{"name", "a"}, {"focus_areas", nullptr}}, "src.md", "TypeError",
       "'focus_areas' in src.md"},
      {"boolean trigger patterns", M{{"name", "a"}, {"trigger_patterns", true}}, "src.md",
       "TypeError", "'trigger_patterns'"},
      {"iterations as a word", M{{"name", "a"}, {"max_tool_iterations", "eight"}}, "src.md",
       "ValueError", "'max_tool_iterations' in src.md"},
      {"infinite iterations keep the overflow kind",
       M{{"name", "a"}, {"max_tool_iterations", std::numeric_limits<double>::infinity()}}, "src.md",
       "OverflowError", "'max_tool_iterations'"},
      {"data that is a sequence", S{"name"}, "src.md", "TypeError", "mapping"},
  };
  for (const auto& c : cases) {
    const auto [kind, message, at] =
        testing::failure_of([&] { detail::dict_to_definition(c.data, c.source); });
    EXPECT_EQ(kind, c.kind) << c.name << ": " << message;
    if (c.message.starts_with('=')) {
      EXPECT_EQ(message, c.message.substr(1)) << c.name;
    } else {
      EXPECT_NE(message.find(c.message), std::string::npos) << c.name << ": " << message;
    }
  }
}

}  // namespace
}  // namespace tessik
