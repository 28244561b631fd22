// tessik-agents list: the agents a review run would load, in order.
#include <ostream>

#include <tessik/foundation/json.hpp>
#include <tessik/foundation/text.hpp>

#include "agent_set.hpp"
#include "commands.hpp"
#include "render.hpp"
#include "replay_client.hpp"

namespace tessik::cli {
namespace {

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
    return EXIT_OK;
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
  if (!set.warnings.empty()) {
    io.out << "\nwarnings while loading:\n";
    for (const std::string& w : set.warnings) io.out << "  " << w << '\n';
  }
  return EXIT_OK;
}

}  // namespace

Command list_command() {
  return {
      {.name = "list",
       .summary = "list the agents a review run loads, in order, and the loading warnings",
       .options = {builtin_option(), custom_option(), json_option()},
       .description = "Built-in agents come first, in file-name order; an enabled custom agent\n"
                      "replaces the built-in agent of the same name in place, other custom agents\n"
                      "follow. Disabled agents and files that fail to load are left out; custom\n"
                      "files that fail are named in the warnings."},
      run_list};
}

}  // namespace tessik::cli
