// tessik-agents config: the settings a review run would use, and where each
// came from.
#include <algorithm>
#include <ostream>

#include <tessik/foundation/json.hpp>

#include "cli/commands.hpp"
#include "config/effective_settings.hpp"

namespace tessik::cli {
namespace {

// One line per setting, written as the configuration file would hold it
// (the value in JSON, which YAML reads back), with its origin as a comment.
void print_settings(std::ostream& os, const EffectiveSettings& settings) {
  os << "# " << (settings.file ? "configuration file: " + *settings.file : "no configuration file")
     << '\n';
  std::vector<std::string> lefts;
  std::size_t width = 0;
  for (const EffectiveSetting& e : settings.all) {
    lefts.push_back(std::string(e.setting->key) + ": " + to_json(e.value));
    width = std::max(width, lefts.back().size());
  }
  for (std::size_t i = 0; i < lefts.size(); ++i) {
    os << lefts[i] << std::string(width - lefts[i].size() + 2, ' ') << "# " << settings.all[i].where
       << '\n';
  }
}

Value settings_value(const EffectiveSettings& settings) {
  Value::Mapping each;
  for (const EffectiveSetting& e : settings.all) {
    each.set(
        std::string(e.setting->key),
        Value::Mapping{
            {"value", e.value}, {"from", std::string(source_word(e.source))}, {"where", e.where}});
  }
  Value::Sequence warnings(settings.warnings.begin(), settings.warnings.end());
  return Value::Mapping{{"file", settings.file ? Value(*settings.file) : Value()},
                        {"settings", std::move(each)},
                        {"warnings", std::move(warnings)}};
}

int run_config(const ParsedArgs& args, const Io& io) {
  const EffectiveSettings settings = resolve_settings(args, process_environment);
  for (const std::string& w : settings.warnings)
    io.err << "tessik-agents config: warning: " << w << '\n';
  if (args.flag("json")) {
    io.out << to_json(settings_value(settings), 2) << '\n';
  } else {
    print_settings(io.out, settings);
  }
  return EXIT_OK;
}

std::vector<OptionSyntax> config_options() {
  std::vector<OptionSyntax> options{
      {"repo", true, "DIR", "the repository whose .tessik.yaml is read (default: .)"},
      config_option()};
  for (OptionSyntax& o : setting_options()) options.push_back(std::move(o));
  options.push_back(json_option());
  return options;
}

}  // namespace

Command config_command() {
  return {{.name = "config",
           .summary = "the review settings in effect, and where each came from",
           .options = config_options(),
           .description =
               "Each setting comes from the first of: its flag, its environment variable\n"
               "(TESSIK_...), the configuration file (.tessik.yaml at the top of the\n"
               "repository, or --config FILE), the default. The listing is itself a valid\n"
               "configuration file; each line's comment says where the value came from.\n"
               "Options take the same flags as 'review', to show what a command line gives."},
          run_config};
}

}  // namespace tessik::cli
