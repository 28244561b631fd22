#include "cli/cli.hpp"

#include <ostream>

#include <tessik/foundation/errors.hpp>

#include "change/diff_split.hpp"
#include "cli/commands.hpp"
#include "cli/failure.hpp"

namespace tessik::cli {
namespace {

const std::vector<Command>& all_commands() {
  static const std::vector<Command> commands{list_command(),   show_command(),   validate_command(),
                                             prompt_command(), review_command(), config_command()};
  return commands;
}

void print_overview(std::ostream& os) {
  os << "usage: tessik-agents COMMAND [OPTIONS]\n\n"
        "Loads, checks and runs the reviewer agents of the code-review core.\n\ncommands:\n";
  for (const Command& c : all_commands()) {
    os << "  " << c.syntax.name << std::string(10 - c.syntax.name.size(), ' ') << c.syntax.summary
       << '\n';
  }
  os << "\nRun 'tessik-agents COMMAND --help' for a command's options,\n"
        "'tessik-agents --version' for the version.\n";
}

}  // namespace

OptionSyntax diff_option() {
  return {"diff", true, "FILE", "the change as a unified diff (git diff); - reads stdin", true};
}
OptionSyntax builtin_option() {
  return {"builtin", true, "DIR", "built-in agents directory (default: the installed agents/)"};
}
OptionSyntax custom_option() {
  return {"custom", true, "DIR", "the project's custom agents directory"};
}
OptionSyntax shared_option() {
  return {"shared", true, "FILE",
          "shared pre-analysis as JSON: {\"languages\": [...], \"risk_areas\": [...], "
          "\"summary\": \"...\"}"};
}
OptionSyntax json_option() { return {"json", false, "", "print JSON instead of text"}; }
OptionSyntax config_option() {
  return {"config", true, "FILE",
          "the configuration file (default: .tessik.yaml at the top of the repository)"};
}

int run_cli(std::span<const std::string> args, const Io& io) {
  if (args.empty()) {
    print_overview(io.err);
    return EXIT_USAGE;
  }
  if (args[0] == "-h" || args[0] == "--help" || args[0] == "help") {
    print_overview(io.out);
    return EXIT_OK;
  }
  if (args[0] == "--version") {
    io.out << "tessik-agents " << TESSIK_VERSION << '\n';
    return EXIT_OK;
  }
  const Command* command = nullptr;
  for (const Command& c : all_commands()) {
    if (c.syntax.name == args[0]) command = &c;
  }
  if (command == nullptr) {
    io.err << "tessik-agents: unknown command '" << args[0] << "'\n\n";
    print_overview(io.err);
    return EXIT_USAGE;
  }
  const std::string& name = command->syntax.name;
  try {
    const ParsedArgs parsed = parse_args(command->syntax, args.subspan(1));
    if (parsed.help) {
      io.out << usage_text(command->syntax);
      return EXIT_OK;
    }
    return command->run(parsed, io);
  } catch (const UsageError& e) {
    io.err << "tessik-agents " << name << ": " << e.what() << "\nRun 'tessik-agents " << name
           << " --help' for usage.\n";
    return EXIT_USAGE;
  } catch (...) {
    const Failure f = current_failure();
    io.err << "tessik-agents " << name << ": " << f.message << '\n';
  }
  return EXIT_FAILED;
}

}  // namespace tessik::cli
