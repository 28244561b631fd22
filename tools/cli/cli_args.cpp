#include "cli/cli_args.hpp"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <sstream>

namespace tessik::cli {

std::optional<std::string> ParsedArgs::value(const std::string& name) const {
  auto it = values_.find(name);
  if (it == values_.end()) return std::nullopt;
  return it->second.back();
}

std::vector<std::string> ParsedArgs::values(const std::string& name) const {
  auto it = values_.find(name);
  if (it == values_.end()) return {};
  return it->second;
}

bool ParsedArgs::flag(const std::string& name) const { return values_.contains(name); }

namespace {

std::string count_words(std::size_t n) {
  return n == 1 ? "1 argument" : std::to_string(n) + " arguments";
}

// One declared option as CLI11 sees it. A value option accepts zero or one
// value each time it is given, so that a missing value reaches us as an empty
// result and can be worded in the command's terms, and keeps every
// occurrence; a flag keeps whatever `--flag=x` gave so
// that a value given to it can be refused.
struct Registered {
  const OptionSyntax* syntax;
  CLI::Option* option;
};

std::vector<Registered> register_options(CLI::App& app, const CommandSyntax& syntax) {
  std::vector<Registered> out;
  for (const OptionSyntax& o : syntax.options) {
    CLI::Option* option = o.takes_value ? app.add_option("--" + o.name)
                                              ->expected(0, 1)
                                              ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
                                        : app.add_flag("--" + o.name);
    out.push_back({&o, option});
  }
  return out;
}

// The words CLI11 could not place: options nobody declared. "--" is the end
// of the options, which CLI11 reports among them.
void refuse_unknown(const CLI::App& app) {
  for (const std::string& word : app.remaining()) {
    if (word == "--") continue;
    const std::size_t eq = word.starts_with("--") ? word.find('=') : std::string::npos;
    throw UsageError("unknown option " + word.substr(0, eq));
  }
}

// Reads the value of each option CLI11 matched, in declaration order.
void take_values(const std::vector<Registered>& registered,
                 std::map<std::string, std::vector<std::string>>& values) {
  for (const Registered& r : registered) {
    if (r.option->count() == 0) continue;
    const std::vector<std::string>& results = r.option->results();
    const std::string& name = r.syntax->name;
    if (!r.syntax->takes_value) {
      // CLI11 records a bare flag as "true"; anything else came from "--flag=x".
      if (std::any_of(results.begin(), results.end(),
                      [](const std::string& v) { return v != "true"; })) {
        throw UsageError("--" + name + " takes no value");
      }
      values[name] = {""};
    } else if (results.empty() || results.back().empty()) {
      if (r.syntax->value_optional) {
        values[name] = {""};
        continue;
      }
      throw UsageError("--" + name + " needs a value (" + r.syntax->metavar + ")");
    } else if (std::any_of(results.begin(), results.end(),
                           [](const std::string& v) { return v.empty(); })) {
      throw UsageError("--" + name + " needs a value (" + r.syntax->metavar + ")");
    } else {
      values[name] = results;
    }
  }
}

// "name", "name DIR" or "name [RANGE]", as the option list shows it.
std::string option_label(const OptionSyntax& o) {
  if (!o.takes_value) return o.name;
  return o.name + (o.value_optional ? " [" + o.metavar + "]" : " " + o.metavar);
}

}  // namespace

ParsedArgs parse_args(const CommandSyntax& syntax, std::span<const std::string> args) {
  ParsedArgs parsed;
  if (std::any_of(args.begin(), args.end(),
                  [](const std::string& a) { return a == "-h" || a == "--help"; })) {
    parsed.help = true;
    return parsed;
  }
  CLI::App app{syntax.summary, syntax.name};
  app.set_help_flag();  // -h/--help is answered above, before any check
  app.allow_extras();   // unknown options are refused below, in our words
  const std::vector<Registered> registered = register_options(app, syntax);
  app.add_option("positional", parsed.positional)
      ->expected(0, CLI::detail::expected_max_vector_size);

  std::vector<std::string> reversed(args.rbegin(), args.rend());  // CLI11 pops from the back
  try {
    app.parse(reversed);
  } catch (const CLI::ParseError& e) {
    throw UsageError(e.what());
  }
  refuse_unknown(app);
  take_values(registered, parsed.values_);
  for (const OptionSyntax& o : syntax.options) {
    if (o.required && !parsed.values_.contains(o.name)) {
      throw UsageError("--" + o.name + " " + o.metavar + " is required");
    }
  }
  const std::size_t n = parsed.positional.size();
  if (n < syntax.min_positional) {
    throw UsageError(syntax.name + " needs " + syntax.positional);
  }
  if (n > syntax.max_positional) {
    throw UsageError(syntax.name + " takes at most " + count_words(syntax.max_positional) +
                     ", got " + std::to_string(n));
  }
  return parsed;
}

std::string usage_text(const CommandSyntax& syntax) {
  std::ostringstream os;
  os << "usage: tessik-agents " << syntax.name;
  for (const OptionSyntax& o : syntax.options) {
    os << (o.required ? " --" : " [--") << o.name;
    if (o.takes_value) os << (o.value_optional ? " [" + o.metavar + "]" : " " + o.metavar);
    if (!o.required) os << ']';
  }
  if (!syntax.positional.empty()) os << ' ' << syntax.positional;
  os << "\n\n" << syntax.summary << "\n";
  if (!syntax.options.empty()) {
    os << "\noptions:\n";
    // The option column is at least as wide as "help" in "-h, --help", so
    // that every help text starts in one column after at least two blanks.
    std::size_t width = 8;
    for (const OptionSyntax& o : syntax.options) {
      width = std::max(width, option_label(o).size());
    }
    for (const OptionSyntax& o : syntax.options) {
      const std::string left = option_label(o);
      os << "  --" << left << std::string(width - left.size() + 2, ' ') << o.help << '\n';
    }
    os << "  -h, --help" << std::string(width - 6, ' ') << "show this help\n";
  }
  if (!syntax.description.empty()) os << '\n' << syntax.description << '\n';
  return os.str();
}

}  // namespace tessik::cli
