// tessik-agents list: the agents a review run would load, in order.
#include <ostream>

#include <tessik/foundation/json.hpp>
#include <tessik/foundation/text.hpp>

#include "cli/commands.hpp"
#include "model/replay_client.hpp"
#include "report/render.hpp"
#include "run/agent_set.hpp"

namespace tessik::cli {
namespace {

// The loading warnings go to standard error, so that standard output holds
// only the list; --strict makes them fail the run.
int finish(const AgentSet& set, const ParsedArgs& args, const Io& io) {
  for (const std::string& w : set.warnings) io.err << "tessik-agents list: warning: " << w << '\n';
  return args.flag("strict") && !set.warnings.empty() ? EXIT_FAILED : EXIT_OK;
}

int run_list(const ParsedArgs& args, const Io& io) {
  const AgentSet set = load_agent_set(args, std::make_shared<OfflineClient>());
  if (args.flag("json")) {
    Value::Sequence agents;
    for (const LoadedAgent& a : set.agents) {
      const AgentDefinition& d = a.definition();
      agents.push_back(Value::Mapping{
          {"name", d.name},
          {"display_name", d.display_name},
          {"category", agent_category(d.name)},
          {"severity_default", d.severity_default},
          {"max_tool_iterations", d.max_tool_iterations},
          {"origin", set.custom_names.contains(d.name) ? "custom" : "built-in"},
          {"overrides_builtin", set.overrides_builtin(d.name)},
      });
    }
    Value::Sequence warnings(set.warnings.begin(), set.warnings.end());
    io.out << to_json(
                  Value::Mapping{{"agents", std::move(agents)}, {"warnings", std::move(warnings)}},
                  2)
           << '\n';
    return finish(set, args, io);
  }
  std::vector<std::vector<std::string>> rows{
      {"NAME", "DISPLAY NAME", "CATEGORY", "SEVERITY", "TOOL ITERATIONS", "ORIGIN"}};
  for (const LoadedAgent& a : set.agents) {
    const AgentDefinition& d = a.definition();
    rows.push_back({d.name, one_line(d.display_name), agent_category(d.name),
                    one_line(d.severity_default), std::to_string(d.max_tool_iterations),
                    set.origin(d.name)});
  }
  print_table(io.out, rows);
  if (set.agents.empty()) io.out << "(no enabled agents)\n";
  return finish(set, args, io);
}

}  // namespace

Command list_command() {
  return {
      {.name = "list",
       .summary = "list the agents a review run loads, in order, and the loading warnings",
       .options = {builtin_option(),
                   custom_option(),
                   json_option(),
                   {"strict", false, "", "exit 1 when a loading warning was given"}},
       .description = "Built-in agents come first, in file-name order; an enabled custom agent\n"
                      "replaces the built-in agent of the same name in place, other custom agents\n"
                      "follow. Disabled agents and files that fail to load are left out; custom\n"
                      "files that fail are named in the warnings, which go to standard error\n"
                      "(and into the JSON). With --strict a skipped file or a missing custom\n"
                      "directory fails the run; 'validate DIR' says why a file was skipped."},
      run_list};
}

}  // namespace tessik::cli
