// The command lines of tessik-agents' subcommands.
//
// Each subcommand declares its options and how many positional arguments it
// takes; `parse_args` checks a command line against that declaration (CLI11
// splits the words; the messages and the help text are ours):
//
//   const CommandSyntax syntax{.name = "validate", .positional = "FILE...",
//                          .min_positional = 1, .options = {{"json", false, "", "..."}}};
//   ParsedArgs args = parse_args(syntax, {"--json", "a.yaml"});
//   args.flag("json");  // true
//
// Accepted forms: `--name value`, `--name=value`, `--flag`, `--name` for an
// option whose value may be left out, `-h`/`--help`,
// `-` as a positional (standard input) and `--` to end the options. Anything
// else that begins with "-" is a usage error, and so is `--name=` (an empty
// value) or `--flag=x`.
#ifndef TESSIK_TOOLS_CLI_CLI_ARGS_HPP_
#define TESSIK_TOOLS_CLI_CLI_ARGS_HPP_

#include <cstddef>
#include <map>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace tessik::cli {

// A command line that does not match its command's declaration. The message
// says what was wrong in the user's terms ("--diff needs a value").
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct OptionSyntax {
  std::string name;          // without the leading "--"
  bool takes_value = false;  // false: a flag
  std::string metavar;       // shown in help, e.g. "DIR"
  std::string help;
  bool required = false;  // parse_args refuses a command line without it
  // With takes_value: the value may be left out (`--git`, `--git RANGE`,
  // `--git=RANGE`); a following word that begins with "-" is not taken as
  // it. The option's value is then "".
  bool value_optional = false;
};

struct CommandSyntax {
  std::string name{};
  std::string summary{};     // one line, shown in the command list
  std::string positional{};  // shown in the synopsis, e.g. "FILE..."
  std::size_t min_positional = 0;
  std::size_t max_positional = 0;
  std::vector<OptionSyntax> options{};
  std::string description{};  // paragraphs after the option list
};

class ParsedArgs {
 public:
  bool help = false;
  std::vector<std::string> positional;

  // The value of option `name`, or nullopt when it was not given. A repeated
  // option keeps its last value.
  std::optional<std::string> value(const std::string& name) const;
  // Every value of option `name` in command-line order (`--exclude A
  // --exclude B`); empty when it was not given.
  std::vector<std::string> values(const std::string& name) const;
  bool flag(const std::string& name) const;

 private:
  friend ParsedArgs parse_args(const CommandSyntax&, std::span<const std::string>);
  std::map<std::string, std::vector<std::string>> values_;
};

// Parses `args` (the words after the subcommand name) against `syntax`.
// Throws UsageError for an unknown option, a missing option value, a value
// given to a flag, a missing required option, or a positional count outside
// the declared range; the first of these in that order is reported. With
// `-h`/`--help` anywhere, returns at once with `help` set and nothing checked.
ParsedArgs parse_args(const CommandSyntax& syntax, std::span<const std::string> args);

// The help text of one subcommand: synopsis, summary, options, description.
std::string usage_text(const CommandSyntax& syntax);

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_CLI_CLI_ARGS_HPP_
