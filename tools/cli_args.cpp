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

const OptionSpec* find_option(const CommandSpec& spec, std::string_view name) {
  auto it = std::find_if(spec.options.begin(), spec.options.end(),
                         [&](const OptionSpec& o) { return o.name == name; });
  return it == spec.options.end() ? nullptr : &*it;
}

std::string count_words(std::size_t n) {
  return n == 1 ? "1 argument" : std::to_string(n) + " arguments";
}

}  // namespace

ParsedArgs parse_args(const CommandSpec& spec, std::span<const std::string> args) {
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
    const OptionSpec* option = find_option(spec, name);
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
  for (const OptionSpec& o : spec.options) {
    if (o.required && !parsed.values_.contains(o.name)) {
      throw UsageError("--" + o.name + " " + o.metavar + " is required");
    }
  }
  const std::size_t n = parsed.positional.size();
  if (n < spec.min_positional) {
    throw UsageError(spec.name + " needs " + spec.positional);
  }
  if (n > spec.max_positional) {
    throw UsageError(spec.name + " takes at most " + count_words(spec.max_positional) + ", got " +
                     std::to_string(n));
  }
  return parsed;
}

std::string usage_text(const CommandSpec& spec) {
  std::ostringstream os;
  os << "usage: tessik-agents " << spec.name;
  for (const OptionSpec& o : spec.options) {
    os << (o.required ? " --" : " [--") << o.name;
    if (o.takes_value) os << ' ' << o.metavar;
    if (!o.required) os << ']';
  }
  if (!spec.positional.empty()) os << ' ' << spec.positional;
  os << "\n\n" << spec.summary << "\n";
  if (!spec.options.empty()) {
    os << "\noptions:\n";
    std::size_t width = 0;
    for (const OptionSpec& o : spec.options) {
      width = std::max(width, o.name.size() + (o.takes_value ? o.metavar.size() + 1 : 0));
    }
    for (const OptionSpec& o : spec.options) {
      std::string left = o.name + (o.takes_value ? " " + o.metavar : "");
      os << "  --" << left << std::string(width - left.size() + 2, ' ') << o.help << '\n';
    }
    os << "  -h, --help" << std::string(width > 6 ? width - 6 : 0, ' ') << "show this help\n";
  }
  if (!spec.description.empty()) os << '\n' << spec.description << '\n';
  return os.str();
}

}  // namespace tessik::cli
