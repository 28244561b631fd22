#include "run/agent_set.hpp"

#include <algorithm>
#include <istream>
#include <iterator>

#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/json.hpp>
#include <tessik/foundation/text.hpp>

#include "change/diff_split.hpp"

namespace tessik::cli {
namespace {

// At most `max_bytes` of `in`; InvalidValueError naming the limit past it.
std::string read_stream_bytes(std::istream& in, std::size_t max_bytes) {
  std::string text;
  char buffer[65536];
  while (in.read(buffer, sizeof buffer) || in.gcount() > 0) {
    const auto n = static_cast<std::size_t>(in.gcount());
    if (n > max_bytes - text.size()) {
      throw InvalidValueError("standard input holds more than the text-file limit of " +
                              std::to_string(max_bytes) + " bytes");
    }
    text.append(buffer, n);
  }
  return text;
}

}  // namespace

const LoadedAgent* AgentSet::find(const std::string& name) const {
  auto it = std::find_if(agents.begin(), agents.end(),
                         [&](const LoadedAgent& a) { return a.name() == name; });
  return it == agents.end() ? nullptr : &*it;
}

bool AgentSet::overrides_builtin(const std::string& name) const {
  return custom_names.contains(name) && builtin_names.contains(name);
}

std::string AgentSet::origin(const std::string& name) const {
  if (!custom_names.contains(name)) return "built-in";
  return overrides_builtin(name) ? "custom, overrides built-in" : "custom";
}

AgentSet load_agent_set(const ParsedArgs& args, const std::shared_ptr<AIClient>& client,
                        const ReviewerTools& tools, std::int64_t max_tokens) {
  return load_agent_set(args.value("builtin"), args.value("custom"), client, tools, max_tokens);
}

AgentSet load_agent_set(const std::optional<std::string>& builtin,
                        const std::optional<std::string>& custom,
                        const std::shared_ptr<AIClient>& client, const ReviewerTools& tools,
                        std::int64_t max_tokens) {
  const AIConfig config{.ai_max_tokens = max_tokens, .custom_agents_dir = custom};
  AgentSet set;
  {
    ScopedLogCapture capture(Log::agent, LogLevel::warning);
    set.agents = load_all_agents(config, client, builtin, tools);
    set.warnings = capture.messages();
  }
  // Where each agent came from: the built-in set alone, and the enabled
  // custom definitions. Their log lines repeat the ones above. Without
  // custom definitions the set just loaded is the built-in set.
  if (!custom) {
    for (const LoadedAgent& a : set.agents) set.builtin_names.insert(a.name());
    return set;
  }
  ScopedLogCapture quiet(Log::agent, LogLevel::warning);
  for (const LoadedAgent& a :
       load_all_agents(AIConfig{.ai_max_tokens = max_tokens, .custom_agents_dir = std::nullopt},
                       client, builtin)) {
    set.builtin_names.insert(a.name());
  }
  for (const AgentDefinition& d : load_custom_agents(config.custom_agents_dir)) {
    if (d.enabled) set.custom_names.insert(d.name);
  }
  return set;
}

std::string read_diff_bytes(const std::string& source, std::istream& in) {
  // A diff is bytes: CR LF line ends and bytes that are not UTF-8 reach the
  // agents unchanged, whichever way the diff comes in.
  return source == "-" ? read_stream_bytes(in, kMaxTextFileBytes) : read_file_bytes(source);
}

std::vector<FileChange> split_change(std::string_view text, const std::string& described) {
  std::vector<FileChange> changes = split_unified_diff(text);
  if (changes.empty() && text.find("\x1b[") != std::string_view::npos) {
    throw InvalidValueError(described +
                            " holds a coloured diff (terminal colour codes) and no file changes "
                            "this tool can read: write it again with --no-color "
                            "(git diff --no-color)");
  }
  if (changes.empty()) {
    throw InvalidValueError(described +
                            " holds no file changes: expected a unified diff as `git diff` "
                            "writes it");
  }
  return changes;
}

std::vector<FileChange> read_changes(const ParsedArgs& args, std::istream& in) {
  const std::optional<std::string> source = args.value("diff");
  if (!source) throw UsageError("--diff FILE is required");
  return split_change(read_diff_bytes(*source, in), *source == "-" ? "standard input" : *source);
}

std::optional<SharedAnalysisResult> read_shared(const ParsedArgs& args) {
  const std::optional<std::string> file = args.value("shared");
  if (!file) return std::nullopt;
  const Value data = parse_json(read_text_file(*file));
  if (!data.is_mapping()) throw InvalidValueError(*file + ": expected a JSON object");
  auto texts = [&](const char* key) {
    std::vector<std::string> out;
    const Value* v = data.find(key);
    if (v == nullptr || v->is_null()) return out;
    if (!v->is_sequence()) throw InvalidValueError(*file + ": \"" + key + "\" must be a list");
    for (const Value& item : v->as_sequence()) {
      if (!item.is_string()) {
        throw InvalidValueError(*file + ": \"" + key + "\" must hold strings, not " + repr(item));
      }
      out.push_back(item.as_string());
    }
    return out;
  };
  SharedAnalysisResult shared{
      .languages = texts("languages"), .risk_areas = texts("risk_areas"), .summary = ""};
  if (const Value* s = data.find("summary"); s != nullptr && !s->is_null()) {
    if (!s->is_string()) throw InvalidValueError(*file + ": \"summary\" must be a string");
    shared.summary = s->as_string();
  }
  return shared;
}

}  // namespace tessik::cli
