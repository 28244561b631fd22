#include "cli_args.hpp"

#include <algorithm>
#include <sstream>

namespace tessik::cli {

std::optional<std::string> ParsedArgs::value(const std::string& name) const {
  auto it = values_.find(name);
  if (it == values_.end()) return std::nullopt;
  return it->second;
}

bool ParsedArgs::flag(const std::string& name) const { return values_.contains(name); }

namespace {

const OptionSyntax* find_option(const CommandSyntax& syntax, std::string_view name) {
  auto it = std::find_if(syntax.options.begin(), syntax.options.end(),
                         [&](const OptionSyntax& o) { return o.name == name; });
  return it == syntax.options.end() ? nullptr : &*it;
}

std::string count_words(std::size_t n) {
  return n == 1 ? "1 argument" : std::to_string(n) + " arguments";
}

}  // namespace

ParsedArgs parse_args(const CommandSyntax& syntax, std::span<const std::string> args) {
  ParsedArgs parsed;
  if (std::any_of(args.begin(), args.end(),
                  [](const std::string& a) { return a == "-h" || a == "--help"; })) {
    parsed.help = true;
    return parsed;
  }
  bool options_done = false;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& arg = args[i];
    if (options_done || arg == "-" || !arg.starts_with("-")) {
      parsed.positional.push_back(arg);
      continue;
    }
    if (arg == "--") {
      options_done = true;
      continue;
    }
    if (!arg.starts_with("--")) throw UsageError("unknown option " + arg);
    const std::size_t eq = arg.find('=');
    const std::string name = arg.substr(2, eq == std::string::npos ? std::string::npos : eq - 2);
    const OptionSyntax* option = find_option(syntax, name);
    if (option == nullptr) throw UsageError("unknown option --" + name);
    if (!option->takes_value) {
      if (eq != std::string::npos) throw UsageError("--" + name + " takes no value");
      parsed.values_[name] = "";
      continue;
    }
    if (eq != std::string::npos) {
      parsed.values_[name] = arg.substr(eq + 1);
    } else if (i + 1 < args.size()) {
      parsed.values_[name] = args[++i];
    } else {
      throw UsageError("--" + name + " needs a value (" + option->metavar + ")");
    }
  }
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
    if (o.takes_value) os << ' ' << o.metavar;
    if (!o.required) os << ']';
  }
  if (!syntax.positional.empty()) os << ' ' << syntax.positional;
  os << "\n\n" << syntax.summary << "\n";
  if (!syntax.options.empty()) {
    os << "\noptions:\n";
    std::size_t width = 0;
    for (const OptionSyntax& o : syntax.options) {
      width = std::max(width, o.name.size() + (o.takes_value ? o.metavar.size() + 1 : 0));
    }
    for (const OptionSyntax& o : syntax.options) {
      std::string left = o.name + (o.takes_value ? " " + o.metavar : "");
      os << "  --" << left << std::string(width - left.size() + 2, ' ') << o.help << '\n';
    }
    os << "  -h, --help" << std::string(width > 6 ? width - 6 : 0, ' ') << "show this help\n";
  }
  if (!syntax.description.empty()) os << '\n' << syntax.description << '\n';
  return os.str();
}

}  // namespace tessik::cli
