#include <tessik/agent_loader/definitions/agent_definition.hpp>
#include <tessik/agent_loader/definitions/detail/dict_to_definition.hpp>

#include <string>
#include <utility>

#include <tessik/agent_loader/detail/conversion_context.hpp>
#include <tessik/foundation/detail/value_words.hpp>
#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/text.hpp>

namespace tessik::detail {
namespace {

// " in <source>", or nothing for an unnamed source, for messages that are
// ours to word.
std::string in_source(std::string_view source) {
  return source.empty() ? std::string() : " in " + std::string(source);
}

// A sequence is copied, a string gives its characters, a mapping its keys;
// null, numbers and booleans have no elements to give.
Value::Sequence to_sequence(const Value& v) {
  switch (v.kind()) {
    case Value::Kind::sequence:
      return v.as_sequence();
    case Value::Kind::string: {
      Value::Sequence chars;
      std::string_view rest = v.as_string();
      while (!rest.empty()) {
        const std::string_view one = first_code_points(rest, 1);
        chars.emplace_back(one);
        rest.remove_prefix(one.size());
      }
      return chars;
    }
    case Value::Kind::mapping: {
      Value::Sequence keys;
      keys.reserve(v.as_mapping().size());
      for (const auto& entry : v.as_mapping()) keys.push_back(entry.first);
      return keys;
    }
    default:
      throw TypeError("expected a list of texts, got " + describe_value(v));
  }
}

}  // namespace

AgentDefinition dict_to_definition(const Value& data, std::string_view source,
                                   const YamlPlace* place) {
  // Runs `step`; a failure it throws gets the position of `key`'s value.
  const auto at_key = [&](const char* key, auto step) -> decltype(step()) {
    try {
      return step();
    } catch (Error& e) {
      const YamlPlace* at = place != nullptr ? find_place(data, *place, key) : nullptr;
      if (at != nullptr && !e.position()) e.set_position(at->value);
      throw;
    }
  };
  if (!data.is_mapping()) {
    throw TypeError("Agent definition data" + in_source(source) +
                    ": expected a mapping of definition keys, got " + describe_value(data));
  }
  const Value::Mapping& keys = data.as_mapping();

  const Value* name = keys.find("name");
  Value title_name = at_key("name", [&] {
    if (name == nullptr || !name->truthy()) {
      throw InvalidValueError("Agent definition missing required 'name' field in " +
                              std::string(source));
    }
    // The default display name is computed before "display_name" is looked
    // at, so a name of the wrong kind fails even when a display name is given.
    if (!name->is_string()) {
      throw TypeError("Agent definition key 'name'" + in_source(source) +
                      ": expected a text, got " + describe_value(*name));
    }
    return title(name->as_string());
  });

  // The value of `key` passed through `convert`, or `absent` when the key is
  // missing; a key present with null is converted like any other value.
  const auto read = [&](const char* key, auto absent, auto convert) -> decltype(absent) {
    const Value* v = keys.find(key);
    if (v == nullptr) return absent;
    return at_key(key, [&] {
      return with_context(
          [&] { return "Agent definition key '" + std::string(key) + "'" + in_source(source); },
          [&] { return decltype(absent)(convert(*v)); });
    });
  };
  const auto as_is = [](const Value& v) { return v; };

  AgentDefinition def;
  def.name = name->as_string();
  def.display_name = read("display_name", std::move(title_name), as_is);
  def.role = read("role", Value(""), as_is);
  def.system_prompt = read("system_prompt", Value(""), as_is);
  def.focus_areas = read("focus_areas", Value::Sequence{}, to_sequence);
  def.trigger_patterns = read("trigger_patterns", Value::Sequence{}, to_sequence);
  def.expertise = read("expertise", std::string(), text_form);
  def.severity_default = read("severity_default", Value("minor"), as_is);
  def.enabled = read("enabled", true, [](const Value& v) { return v.truthy(); });
  def.version = read("version", std::string("1.0"), text_form);
  def.max_tool_iterations = read("max_tool_iterations", std::int64_t{5}, to_int);
  return def;
}

}  // namespace tessik::detail
