#include "config/effective_settings.hpp"

#include <charconv>
#include <cmath>
#include <stdexcept>

#include <tessik/foundation/detail/value_words.hpp>
#include <tessik/foundation/text.hpp>

#include "config/config_file.hpp"

namespace tessik::cli {
namespace {

using detail::describe_value;
using detail::quoted_text;

// What a value of `s` must be, as the end of "<who> must be ...".
std::string expectation(const Setting& s) {
  switch (s.type) {
    case SettingType::text:
      if (s.choices.empty()) return "a non-empty text";
      {
        std::string words;
        for (std::size_t i = 0; i < s.choices.size(); ++i) {
          if (i > 0) words += i + 1 == s.choices.size() ? " or " : ", ";
          words += s.choices[i];
        }
        return words;
      }
    case SettingType::path:
      return "the name of a file or folder";
    case SettingType::whole_number:
      return "a whole number from " + std::to_string(s.min) + " to " + std::to_string(s.max);
    case SettingType::seconds:
      return "a number of seconds above 0 and at most " + std::to_string(s.max);
    case SettingType::on_off:
      return "true or false";
    case SettingType::text_list:
      return "a list of non-empty texts";
    case SettingType::fraction:
      return "a number from 0 to 1";
  }
  return "";
}

[[noreturn]] void refuse(const Setting& s, const std::string& who, const std::string& found) {
  throw UsageError(who + " must be " + expectation(s) + ", not " + found);
}

bool acceptable(const Setting& s, const Value& v) {
  auto non_empty_text = [](const Value& x) { return x.is_string() && !x.as_string().empty(); };
  switch (s.type) {
    case SettingType::text:
      if (!non_empty_text(v)) return false;
      for (std::string_view c : s.choices) {
        if (c == v.as_string()) return true;
      }
      return s.choices.empty();
    case SettingType::path:
      return non_empty_text(v);
    case SettingType::whole_number:
      return v.is_int() && v.as_int() >= s.min && v.as_int() <= s.max;
    case SettingType::seconds: {
      if (!v.is_number()) return false;
      const double x = v.is_int() ? static_cast<double>(v.as_int()) : v.as_float();
      return std::isfinite(x) && x > 0 && x <= static_cast<double>(s.max);
    }
    case SettingType::on_off:
      return v.is_bool();
    case SettingType::text_list:
      if (!v.is_sequence()) return false;
      for (const Value& item : v.as_sequence()) {
        if (!non_empty_text(item)) return false;
      }
      return true;
    case SettingType::fraction: {
      if (!v.is_number()) return false;
      const double x = v.is_int() ? static_cast<double>(v.as_int()) : v.as_float();
      return x >= 0 && x <= 1;
    }
  }
  return false;
}

// The value a flag's or a variable's text gives, checked.
Value from_text(const Setting& s, const std::string& text, const std::string& who) {
  Value v(text);
  const char* end = text.data() + text.size();
  if (s.type == SettingType::whole_number) {
    std::int64_t n = 0;
    const auto [stop, ec] = std::from_chars(text.data(), end, n);
    if (ec == std::errc{} && stop == end) v = Value(n);
  } else if (s.type == SettingType::seconds || s.type == SettingType::fraction) {
    double x = 0;
    const auto [stop, ec] = std::from_chars(text.data(), end, x);
    if (ec == std::errc{} && stop == end) v = Value(x);
  } else if (s.type == SettingType::on_off) {
    const std::string low = lower(text);
    if (low == "true" || low == "1" || low == "yes" || low == "on") v = Value(true);
    if (low == "false" || low == "0" || low == "no" || low == "off") v = Value(false);
  }
  if (!acceptable(s, v)) refuse(s, who, quoted_text(text));
  return v;
}

// The file's value of `s`, checked; a relative path is taken from the
// file's folder.
Value from_file(const Setting& s, const ConfigFile& file, const FileValue& entry) {
  const std::string who = file_place(file.shown, entry.at) + ": " + std::string(s.key);
  if (acceptable(s, entry.value)) {
    if (s.type != SettingType::path) return entry.value;
    const std::filesystem::path named(entry.value.as_string());
    if (named.is_absolute()) return entry.value;
    return {path_text(file.path.parent_path() / named)};
  }
  if (s.type == SettingType::text_list && entry.value.is_sequence()) {
    const Value::Sequence& items = entry.value.as_sequence();
    for (std::size_t i = 0; i < items.size(); ++i) {
      if (items[i].is_string() && !items[i].as_string().empty()) continue;
      const TextPosition at = i < entry.items.size() ? entry.items[i] : entry.at;
      throw UsageError(file_place(file.shown, at) + ": " + std::string(s.key) +
                       " must hold non-empty texts, not " + describe_value(items[i]));
    }
  }
  refuse(s, who, describe_value(entry.value));
}

EffectiveSetting resolve_one(const Setting& s, const ParsedArgs& args, const Environment& env,
                             const ConfigFile* file) {
  EffectiveSetting e{.setting = &s,
                     .value = s.default_value,
                     .source = SettingSource::default_value,
                     .where = "default"};
  if (file != nullptr) {
    if (const auto it = file->values.find(std::string(s.key)); it != file->values.end()) {
      e = {&s, from_file(s, *file, it->second), SettingSource::file,
           file_place(file->shown, it->second.at)};
    }
  }
  if (!s.env.empty()) {
    const std::string var(s.env);
    if (const std::optional<std::string> text = env(var); text && !text->empty()) {
      e = {&s, from_text(s, *text, var), SettingSource::environment, var};
    }
  }
  if (s.flag.empty() || !args.flag(std::string(s.flag))) return e;
  const std::string flag(s.flag), who = "--" + flag;
  if (s.type == SettingType::on_off) return {&s, Value(s.flag_sets), SettingSource::flag, who};
  if (s.type != SettingType::text_list) {
    return {&s, from_text(s, *args.value(flag), who), SettingSource::flag, who};
  }
  Value::Sequence items;
  std::string where = who;
  if (s.flag_adds && e.source == SettingSource::file) {
    items = e.value.as_sequence();
    where = e.where + " and " + who;
  }
  for (const std::string& item : args.values(flag)) items.emplace_back(item);
  return {&s, Value(std::move(items)), SettingSource::flag, where};
}

}  // namespace

std::string_view source_word(SettingSource source) noexcept {
  switch (source) {
    case SettingSource::default_value:
      return "default";
    case SettingSource::file:
      return "file";
    case SettingSource::environment:
      return "environment";
    case SettingSource::flag:
      return "flag";
  }
  return "default";
}

const EffectiveSetting& EffectiveSettings::get(std::string_view key) const {
  for (const EffectiveSetting& e : all) {
    if (e.setting->key == key) return e;
  }
  throw std::out_of_range("no setting named " + std::string(key));
}

std::optional<std::string> EffectiveSettings::text(std::string_view key) const {
  const Value& v = get(key).value;
  if (v.is_null()) return std::nullopt;
  return v.as_string();
}

std::optional<std::int64_t> EffectiveSettings::number(std::string_view key) const {
  const Value& v = get(key).value;
  if (v.is_null()) return std::nullopt;
  return v.as_int();
}

std::optional<double> EffectiveSettings::seconds(std::string_view key) const {
  const Value& v = get(key).value;
  if (v.is_null()) return std::nullopt;
  return v.is_int() ? static_cast<double>(v.as_int()) : v.as_float();
}

bool EffectiveSettings::on(std::string_view key) const { return get(key).value.truthy(); }

std::vector<std::string> EffectiveSettings::list(std::string_view key) const {
  std::vector<std::string> out;
  for (const Value& item : get(key).value.as_sequence()) out.push_back(item.as_string());
  return out;
}

std::vector<OptionSyntax> setting_options() {
  std::vector<OptionSyntax> options;
  for (const Setting& s : all_settings()) {
    if (s.flag.empty()) continue;
    std::string help(s.description);
    if (s.type == SettingType::on_off && !s.flag_sets) {
      help = std::string(s.flag_help) + " (sets " + std::string(s.key) + " to false)";
    } else if (s.type != SettingType::on_off && !s.default_value.is_null() &&
               !s.default_value.is_sequence()) {
      help += " (default: " + text_form(s.default_value) + ")";
    }
    options.push_back({.name = std::string(s.flag),
                       .takes_value = s.type != SettingType::on_off,
                       .metavar = std::string(s.metavar),
                       .help = std::move(help)});
  }
  return options;
}

EffectiveSettings resolve_settings(const ParsedArgs& args, const Environment& env) {
  EffectiveSettings out;
  std::optional<ConfigFile> file;
  if (const std::optional<std::filesystem::path> path =
          locate_config_file(args.value("config"), args.value("repo").value_or("."))) {
    file = read_config_file(*path);
    out.file = file->shown;
    out.warnings = file->warnings;
  }
  for (const Setting& s : all_settings()) {
    out.all.push_back(resolve_one(s, args, env, file ? &*file : nullptr));
  }
  return out;
}

ModelFlags model_flags(const EffectiveSettings& settings) {
  return {.provider = settings.text("provider"),
          .endpoint = settings.text("endpoint"),
          .model = settings.text("model"),
          .api_key_env = settings.text("api_key_env"),
          .max_tokens = settings.number("max_tokens"),
          .timeout_seconds = settings.seconds("timeout")};
}

}  // namespace tessik::cli
