// tessik-agents validate: loads each definition file as a review run would.
#include <ostream>

#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/json.hpp>
#include <tessik/foundation/text.hpp>

#include "agent_set.hpp"
#include "commands.hpp"
#include "failure.hpp"
#include "render.hpp"

namespace tessik::cli {
namespace {

struct Outcome {
  std::string file;
  std::optional<AgentDefinition> definition{};
  std::string error_kind{}, error_message{};
};

Outcome check(const std::string& file) {
  Outcome o{.file = file};
  try {
    o.definition = load_agent_definition(file);
  } catch (...) {
    Failure f = current_failure();
    o.error_kind = std::move(f.kind);
    o.error_message = std::move(f.message);
  }
  return o;
}

std::string summary(const AgentDefinition& d) {
  return d.name + " (" + one_line(d.display_name) + "), version " + d.version +
         (d.enabled ? "" : ", disabled") + ", severity " + one_line(d.severity_default) + ", " +
         std::to_string(d.max_tool_iterations) + " tool iterations, prompt " +
         std::to_string(code_point_count(text_form(d.system_prompt))) + " characters";
}

int run_validate(const ParsedArgs& args, const Io& io) {
  std::vector<Outcome> outcomes;
  std::vector<std::string> warnings;
  {
    ScopedLogCapture capture(Log::agent, LogLevel::warning);
    for (const std::string& file : args.positional) outcomes.push_back(check(file));
    warnings = capture.messages();
  }
  const bool all_ok = std::all_of(outcomes.begin(), outcomes.end(),
                                  [](const Outcome& o) { return o.definition.has_value(); });
  if (args.flag("json")) {
    Value::Sequence files;
    for (const Outcome& o : outcomes) {
      Value::Mapping entry{{"file", o.file}, {"valid", o.definition.has_value()}};
      if (o.definition) {
        entry.set("definition", definition_value(*o.definition));
      } else {
        entry.set("error", Value::Mapping{{"kind", o.error_kind}, {"message", o.error_message}});
      }
      files.push_back(std::move(entry));
    }
    io.out << to_json(
                  Value::Mapping{{"files", std::move(files)},
                                 {"warnings", Value::Sequence(warnings.begin(), warnings.end())}},
                  2)
           << '\n';
  } else {
    for (const Outcome& o : outcomes) {
      if (o.definition) {
        io.out << "ok       " << o.file << ": " << summary(*o.definition) << '\n';
      } else {
        io.out << "INVALID  " << o.file << ": " << o.error_kind << ": " << o.error_message << '\n';
      }
    }
    for (const std::string& w : warnings) io.out << "warning: " << w << '\n';
  }
  return all_ok ? EXIT_OK : EXIT_FAILED;
}

}  // namespace

Command validate_command() {
  return {
      {.name = "validate",
       .summary = "check agent definition files; exit 1 if any is invalid",
       .positional = "FILE...",
       .min_positional = 1,
       .max_positional = static_cast<std::size_t>(-1),
       .options = {json_option()},
       .description = "Each file is loaded exactly as a review run loads it (.yaml, .yml or .md;\n"
                      "the suffix picks the parser). A valid file prints its summary, an invalid\n"
                      "one the kind of failure and its message. Run it in CI on a project's\n"
                      "custom agents, e.g. tessik-agents validate .review/agents/*"},
      run_validate};
}

}  // namespace tessik::cli
