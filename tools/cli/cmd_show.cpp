// tessik-agents show: one agent's whole definition, as a review run uses it.
#include <ostream>

#include <tessik/foundation/json.hpp>
#include <tessik/foundation/text.hpp>

#include "cli/commands.hpp"
#include "model/replay_client.hpp"
#include "report/render.hpp"
#include "run/agent_set.hpp"

namespace tessik::cli {
namespace {

std::string joined(const Value::Sequence& items) {
  std::string out;
  for (const Value& v : items) out += (out.empty() ? "" : ", ") + one_line(v);
  return out.empty() ? "(none)" : out;
}

int run_show(const ParsedArgs& args, const Io& io) {
  const std::string& name = args.positional.front();
  const AgentSet set = load_agent_set(args, std::make_shared<OfflineClient>());
  const LoadedAgent* agent = set.find(name);
  if (agent == nullptr) {
    io.err << "tessik-agents show: no enabled agent is named '" << name << "'; loaded:";
    for (const LoadedAgent& a : set.agents) io.err << ' ' << a.name();
    io.err << '\n';
    return EXIT_FAILED;
  }
  const AgentDefinition& d = agent->definition();
  if (args.flag("json")) {
    Value out = definition_value(d);
    out.as_mapping().set("category", agent_category(d.name));
    out.as_mapping().set("origin", set.custom_names.contains(name) ? "custom" : "built-in");
    out.as_mapping().set("overrides_builtin", set.overrides_builtin(name));
    io.out << to_json(out, 2) << '\n';
    return EXIT_OK;
  }
  print_table(io.out, {
                          {"name:", d.name},
                          {"display name:", one_line(d.display_name)},
                          {"role:", one_line(d.role)},
                          {"origin:", set.origin(name)},
                          {"category:", agent_category(d.name)},
                          {"severity default:", one_line(d.severity_default)},
                          {"max tool iterations:", std::to_string(d.max_tool_iterations)},
                          {"version:", d.version},
                          {"expertise:", d.expertise.empty() ? "(none)" : d.expertise},
                          {"focus areas:", joined(d.focus_areas)},
                          {"trigger patterns:", joined(d.trigger_patterns)},
                      });
  const std::string prompt = text_form(d.system_prompt);
  io.out << "\nsystem prompt (" << code_point_count(prompt) << " characters):\n"
         << prompt << (prompt.ends_with('\n') ? "" : "\n");
  return EXIT_OK;
}

}  // namespace

Command show_command() {
  return {{.name = "show",
           .summary = "print one agent's whole definition with its final system prompt",
           .positional = "NAME",
           .min_positional = 1,
           .max_positional = 1,
           .options = {builtin_option(), custom_option(), json_option()},
           .description = "The agent is looked up among the agents 'list' shows, so a custom\n"
                          "agent that overrides a built-in one is the one printed. The system\n"
                          "prompt is the one sent to the model: built-in agents carry the\n"
                          "shared guard rails in front of their own prompt."},
          run_show};
}

}  // namespace tessik::cli
