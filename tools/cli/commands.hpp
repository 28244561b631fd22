// The subcommands of tessik-agents: each declares its command line and runs
// against already parsed arguments. One file per subcommand (cmd_*.cpp).
#ifndef TESSIK_TOOLS_CLI_COMMANDS_HPP_
#define TESSIK_TOOLS_CLI_COMMANDS_HPP_

#include <vector>

#include "cli/cli.hpp"
#include "cli/cli_args.hpp"

namespace tessik::cli {

struct Command {
  CommandSyntax syntax;
  // Returns the exit status; may throw UsageError (status 2) or any other
  // failure (reported by run_cli, status 1).
  int (*run)(const ParsedArgs& args, const Io& io);
};

Command list_command();
Command show_command();
Command validate_command();
Command prompt_command();
Command review_command();
Command config_command();

// Options several commands share.
OptionSyntax diff_option();
OptionSyntax builtin_option();
OptionSyntax custom_option();
OptionSyntax shared_option();
OptionSyntax json_option();
OptionSyntax config_option();

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_CLI_COMMANDS_HPP_
