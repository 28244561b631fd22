#include "lint/definition_lints.hpp"

#include <algorithm>
#include <array>

#include <tessik/agent_loader/findings/detail/category.hpp>
#include <tessik/agent_loader/findings/detail/finding_item.hpp>
#include <tessik/foundation/detail/value_words.hpp>
#include <tessik/foundation/text.hpp>

#include "lint/closest_key.hpp"

namespace tessik::lint {
namespace {

using detail::describe_value;
using detail::quoted_text;

constexpr std::array<std::string_view, 11> kDefinitionKeys{
    "name",          "display_name",       "role",
    "system_prompt", "focus_areas",        "trigger_patterns",
    "expertise",     "severity_default",   "enabled",
    "version",       "max_tool_iterations"};

// Collects the diagnostics of one file.
class Linter {
 public:
  Linter(const std::string& file, const DefinitionSource& source)
      : file_(file),
        source_(source),
        keys_(source.document->value),
        place_(source.document->place) {}

  std::vector<Diagnostic> run() {
    unknown_keys();
    enabled();
    lists();
    version();
    iterations();
    severity();
    prompt();
    name();
    return std::move(out_);
  }

 private:
  const Value* value(std::string_view key) const {
    return keys_.is_mapping() ? keys_.as_mapping().find(key) : nullptr;
  }
  TextPosition value_at(std::string_view key) const {
    const YamlPlace* place = find_place(keys_, place_, key);
    return place != nullptr ? place->value : place_.value;
  }
  void add(TextPosition at, std::string code, std::string message) {
    out_.push_back({file_, at, rule(code).severity, std::move(message), std::move(code)});
  }

  void unknown_keys() {
    if (!keys_.is_mapping()) return;
    std::size_t i = 0;
    for (const auto& [key, v] : keys_.as_mapping()) {
      const std::size_t index = i++;
      const TextPosition at =
          index < place_.children.size() ? place_.children[index].key : place_.value;
      if (!key.is_string()) {
        add(at, "W201",
            "the key " + describe_value(key) + " is not a text, so it is no definition key");
        continue;
      }
      const std::string& text = key.as_string();
      if (std::find(kDefinitionKeys.begin(), kDefinitionKeys.end(), text) !=
          kDefinitionKeys.end()) {
        continue;
      }
      const std::string close = closest_definition_key(text);
      add(at, "W201",
          "unknown key " + quoted_text(text) +
              (close.empty() ? "; it is ignored" : "; did you mean '" + close + "'?"));
    }
  }

  void enabled() {
    const Value* v = value("enabled");
    if (v == nullptr || v->is_bool()) return;
    const std::string counts = v->truthy() ? "true" : "false";
    std::string message = "enabled: " + describe_value(*v);
    if (v->is_string() && v->truthy()) {
      message =
          "enabled: " + quoted_text(v->as_string()) + " is a non-empty text and so counts as true";
    } else {
      message += " counts as " + counts;
    }
    add(value_at("enabled"), "W202", message + "; write true or false");
  }

  void lists() {
    for (const char* key : {"focus_areas", "trigger_patterns"}) {
      const Value* v = value(key);
      if (v == nullptr) continue;
      if (v->is_string()) {
        add(value_at(key), "W203",
            std::string(key) +
                ": a text becomes a list of its single characters; write a list of texts");
      } else if (v->is_mapping()) {
        add(value_at(key), "W203",
            std::string(key) + ": a mapping becomes the list of its keys; write a list of texts");
      }
    }
  }

  void version() {
    const Value* v = value("version");
    if (v == nullptr || !(v->is_int() || v->is_float())) return;
    const TextPosition at = value_at("version");
    const std::string stored = text_form(*v);
    std::string_view written = source_line(source_, at.line);
    written = written.substr(std::min(written.size(), at.column - 1));
    written = written.substr(0, std::min(written.find(" #"), written.find_first_of(",}]")));
    written = strip(written);
    if (!written.empty() && written != stored) {
      add(at, "W204",
          "version: YAML reads " + std::string(written) + " as a number, so it becomes '" + stored +
              "'; quote it (\"" + std::string(written) + "\")");
    } else {
      add(at, "W204",
          "version: YAML reads " + stored + " as a number; quote it to keep the text as written");
    }
  }

  void iterations() {
    const Value* v = value("max_tool_iterations");
    if (v == nullptr) return;
    std::int64_t n = 0;
    try {
      n = to_int(*v);
    } catch (const std::exception&) {
      return;  // the loader refuses it
    }
    if (n <= 0) {
      add(value_at("max_tool_iterations"), "W205",
          "max_tool_iterations: " + std::to_string(n) +
              " leaves the agent no tool iterations; use 1 or more");
    }
  }

  void severity() {
    const Value* v = value("severity_default");
    if (v == nullptr) return;
    const TextPosition at = value_at("severity_default");
    if (!v->is_string()) {
      add(at, "W206", "severity_default: expected a severity word, got " + describe_value(*v));
    } else if (!detail::SEV_MAP.contains(lower(v->as_string()))) {
      add(at, "W206",
          "severity_default: " + quoted_text(v->as_string()) +
              " is not a severity (critical, major, minor, suggestion, high, medium, low or "
              "info); findings without a severity of their own get 'low'");
    }
  }

  void prompt() {
    const Value* v = value("system_prompt");
    if (v != nullptr && source_.body_at) {
      add(*source_.body_at, "W208",
          "the Markdown body is ignored because the front-matter sets system_prompt");
    }
    const bool from_body = v == nullptr && source_.body_at.has_value();
    if (from_body) return;
    if (v == nullptr) {
      add(place_.value, "W207",
          source_.markdown ? "the system prompt is empty: no system_prompt and no Markdown body"
                           : "the system prompt is empty: there is no system_prompt");
    } else if (!v->truthy() || (v->is_string() && strip(v->as_string()).empty())) {
      add(value_at("system_prompt"), "W207", "the system prompt is empty");
    }
  }

  void name() {
    const Value* v = value("name");
    if (v == nullptr || !v->is_string()) return;
    const std::string& name = v->as_string();
    const TextPosition at = value_at("name");
    if (detail::AGENT_CANONICAL_CATEGORY.contains(name)) {
      add(at, "N301", "'" + name + "' replaces the built-in agent of that name");
    } else if (const std::string low = lower(name);
               detail::AGENT_CANONICAL_CATEGORY.contains(low)) {
      add(at, "W209",
          "name " + quoted_text(name) + " differs from the built-in agent '" + low +
              "' only in letter case: it replaces nothing and gets no guard rails");
    }
  }

  const std::string& file_;
  const DefinitionSource& source_;
  const Value& keys_;
  const YamlPlace& place_;
  std::vector<Diagnostic> out_;
};

}  // namespace

std::string closest_definition_key(std::string_view key) {
  return closest_key(key, kDefinitionKeys);
}

std::vector<Diagnostic> lint_definition(const std::string& file, const DefinitionSource& source) {
  return Linter(file, source).run();
}

}  // namespace tessik::lint
