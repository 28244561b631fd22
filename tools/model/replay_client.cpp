#include "model/replay_client.hpp"

#include "model/recording_client.hpp"

#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/json.hpp>
#include <tessik/foundation/text.hpp>

namespace tessik::cli {
namespace {

// The entry `key` of the meta object when it is present and not null,
// checked to be of the expected kind.
const Value* meta_entry(const Value& meta, const char* key, Value::Kind kind, const char* expected,
                        const std::filesystem::path& file) {
  const Value* v = meta.find(key);
  if (v == nullptr || v->is_null()) return nullptr;
  if (v->kind() != kind) {
    throw InvalidValueError(path_text(file) + ": \"" + key + "\" must be " + expected + ", not " +
                            repr(*v));
  }
  return v;
}

}  // namespace

CompletionResult ReplayClient::replay(const std::string& agent_name, int call) const {
  std::string stem = recording_stem(agent_name, call);
  if (!std::filesystem::exists(directory_ / (stem + ".json"))) stem = agent_name;
  CompletionResult result;
  result.text = read_text_file(directory_ / (stem + ".json"));
  const std::filesystem::path meta_path = directory_ / (stem + ".meta.json");
  if (!std::filesystem::exists(meta_path)) return result;
  const Value meta = parse_json(read_text_file(meta_path));
  if (!meta.is_mapping()) throw InvalidValueError(path_text(meta_path) + ": not a JSON object");
  using K = Value::Kind;
  if (const Value* v = meta_entry(meta, "stop_reason", K::string, "a string", meta_path)) {
    result.stop_reason = v->as_string();
  }
  if (const Value* v = meta_entry(meta, "iterations_used", K::integer, "an integer", meta_path)) {
    result.iterations_used = v->as_int();
  }
  if (const Value* v =
          meta_entry(meta, "hit_iteration_cap", K::boolean, "true or false", meta_path)) {
    result.hit_iteration_cap = v->as_bool();
  }
  return result;
}

CompletionResult ReplayClient::complete(const Value&, const CompleteOptions& options) {
  int call = 0;
  {
    const std::lock_guard lock(mutex_);
    call = ++calls_[options.agent_name];
  }
  return replay(options.agent_name, call);
}

CompletionResult OfflineClient::complete(const Value&, const CompleteOptions& options) {
  throw InvalidValueError("agent " + options.agent_name +
                          " asked for a completion, but this command has no model client");
}

}  // namespace tessik::cli
