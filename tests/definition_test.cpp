#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <tessik/agent_loader/definition.hpp>
#include <tessik/errors.hpp>
#include <tessik/text.hpp>

namespace tessik {
namespace {

using M = Value::Mapping;
using S = Value::Sequence;

// The record of {"name": "a"} with `change` applied. (Assignments, not
// designated initialisers: GCC 12 warns about the fields they leave out.)
AgentDefinition with(std::function<void(AgentDefinition&)> change) {
  AgentDefinition def;
  def.name = "a";
  def.display_name = "A";
  def.role = "";
  def.system_prompt = "";
  change(def);
  return def;
}

struct Converts {
  const char* name;
  Value data;
  AgentDefinition expected;
};

TEST(DefinitionRecord, ConvertsEveryKey) {
  const Converts cases[] = {
      {"absent keys take their defaults", M{{"name", "arch-reviewer"}}, with([](auto& d) {
         d.name = "arch-reviewer";
         d.display_name = "Arch-Reviewer";
       })},
      {"display name defaults to the title-cased name", M{{"name", "SQL bot"}}, with([](auto& d) {
         d.name = "SQL bot";
         d.display_name = "Sql Bot";
       })},
      {"a name of blanks is kept untrimmed", M{{"name", "  "}}, with([](auto& d) {
         d.name = "  ";
         d.display_name = "  ";
       })},
      {"display name null is stored, not defaulted", M{{"name", "a"}, {"display_name", nullptr}},
       with([](auto& d) { d.display_name = nullptr; })},
      {"role and prompt are stored unconverted",
       M{{"name", "a"}, {"role", 3}, {"system_prompt", S{"x"}}}, with([](auto& d) {
         d.role = 3;
         d.system_prompt = S{"x"};
       })},
      {"a string of focus areas gives its characters", M{{"name", "a"}, {"focus_areas", "perf"}},
       with([](auto& d) {
         d.focus_areas = {"p", "e", "r", "f"};
       })},
      {"characters are code points, not bytes", M{{"name", "a"}, {"trigger_patterns", "é✓"}},
       with([](auto& d) {
         d.trigger_patterns = {"é", "✓"};
       })},
      {"a mapping of focus areas gives its keys in order",
       M{{"name", "a"}, {"focus_areas", M{{"z", 1}, {"b", 2}}}}, with([](auto& d) {
         d.focus_areas = {"z", "b"};
       })},
      {"sequence elements are not converted", M{{"name", "a"}, {"focus_areas", S{1, "x", nullptr}}},
       with([](auto& d) {
         d.focus_areas = {1, "x", nullptr};
       })},
      {"expertise null gives None", M{{"name", "a"}, {"expertise", nullptr}},
       with([](auto& d) { d.expertise = "None"; })},
      {"expertise true gives True", M{{"name", "a"}, {"expertise", true}},
       with([](auto& d) { d.expertise = "True"; })},
      {"severity default is stored unconverted", M{{"name", "a"}, {"severity_default", 3}},
       with([](auto& d) { d.severity_default = 3; })},
      {"enabled string false is truthy", M{{"name", "a"}, {"enabled", "false"}},
       with([](auto& d) { d.enabled = true; })},
      {"enabled 0 is false", M{{"name", "a"}, {"enabled", 0}},
       with([](auto& d) { d.enabled = false; })},
      {"enabled null is false, not the default", M{{"name", "a"}, {"enabled", nullptr}},
       with([](auto& d) { d.enabled = false; })},
      {"integer version gives its digits", M{{"name", "a"}, {"version", 2}},
       with([](auto& d) { d.version = "2"; })},
      {"float version 1.0 keeps its point", M{{"name", "a"}, {"version", 1.0}},
       with([](auto& d) { d.version = "1.0"; })},
      {"float version 1.10 reads back as 1.1", M{{"name", "a"}, {"version", 1.10}},
       with([](auto& d) { d.version = "1.1"; })},
      {"iterations from a decimal string", M{{"name", "a"}, {"max_tool_iterations", " 1_0 "}},
       with([](auto& d) { d.max_tool_iterations = 10; })},
      {"iterations truncate toward zero", M{{"name", "a"}, {"max_tool_iterations", -2.7}},
       with([](auto& d) { d.max_tool_iterations = -2; })},
      {"iterations from true", M{{"name", "a"}, {"max_tool_iterations", true}},
       with([](auto& d) { d.max_tool_iterations = 1; })},
      {"negative iterations are kept", M{{"name", "a"}, {"max_tool_iterations", -1}},
       with([](auto& d) { d.max_tool_iterations = -1; })},
      {"unknown keys are ignored", M{{"name", "a"}, {"colour", "red"}}, with([](auto&) {})},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(detail::dict_to_definition(c.data, "x.yaml"), c.expected) << c.name;
  }
}

struct Fails {
  const char* name;
  Value data;
  std::string_view kind;  // class_name() of the failure
  std::string message;    // exact when it starts with "=", else a substring
};

TEST(DefinitionRecord, RejectsBadData) {
  const std::string missing = "=Agent definition missing required 'name' field in src.md";
  const double inf = std::numeric_limits<double>::infinity();
  const Fails cases[] = {
      {"absent name", M{}, "ValueError", missing},
      {"empty name", M{{"name", ""}}, "ValueError", missing},
      {"null name", M{{"name", nullptr}}, "ValueError", missing},
      {"false name", M{{"name", false}}, "ValueError", missing},
      {"zero name", M{{"name", 0}}, "ValueError", missing},
      {"empty sequence name", M{{"name", S{}}}, "ValueError", missing},
      {"number name fails even with a display name", M{{"name", 42}, {"display_name", "X"}},
       "TypeError", "'name'"},
      {"sequence name", M{{"name", S{"a"}}}, "TypeError", "'name'"},
      {"null focus areas", M{{"name", "a"}, {"focus_areas", nullptr}}, "TypeError",
       "'focus_areas' in src.md"},
      {"numeric trigger patterns", M{{"name", "a"}, {"trigger_patterns", 3}}, "TypeError",
       "'trigger_patterns'"},
      {"boolean focus areas", M{{"name", "a"}, {"focus_areas", true}}, "TypeError",
       "'focus_areas'"},
      {"iterations as a word", M{{"name", "a"}, {"max_tool_iterations", "eight"}}, "ValueError",
       "'max_tool_iterations' in src.md"},
      {"iterations NaN", M{{"name", "a"}, {"max_tool_iterations", std::nan("")}}, "ValueError",
       "'max_tool_iterations'"},
      {"iterations infinite", M{{"name", "a"}, {"max_tool_iterations", inf}}, "OverflowError",
       "'max_tool_iterations'"},
      {"iterations null", M{{"name", "a"}, {"max_tool_iterations", nullptr}}, "TypeError",
       "'max_tool_iterations'"},
      {"data that is a sequence", S{"name"}, "TypeError", "mapping"},
      {"data that is null", Value(), "TypeError", "mapping"},
  };
  for (const auto& c : cases) {
    try {
      detail::dict_to_definition(c.data, "src.md");
      ADD_FAILURE() << c.name << ": no failure";
    } catch (const Error& e) {
      EXPECT_EQ(e.class_name(), c.kind) << c.name << ": " << e.what();
      if (c.message.starts_with('=')) {
        EXPECT_EQ(e.what(), c.message.substr(1)) << c.name;
      } else {
        EXPECT_NE(std::string(e.what()).find(c.message), std::string::npos)
            << c.name << ": " << e.what();
      }
    }
  }
}

TEST(DefinitionRecord, MissingNameMessageEndsInABlankWithoutSource) {
  try {
    detail::dict_to_definition(M{});
    ADD_FAILURE() << "no failure";
  } catch (const InvalidValueError& e) {
    EXPECT_STREQ(e.what(), "Agent definition missing required 'name' field in ");
  }
}

}  // namespace
}  // namespace tessik
