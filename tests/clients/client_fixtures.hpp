// Shared pieces of the client tests: options pointing at a stub server with
// millisecond backoff, system blocks shaped like the agents', and reply
// bodies of both protocols.
#ifndef TESSIK_TESTS_CLIENTS_CLIENT_FIXTURES_HPP_
#define TESSIK_TESTS_CLIENTS_CLIENT_FIXTURES_HPP_

#include <chrono>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <tessik/ai_client.hpp>
#include <tessik/clients/chat_client.hpp>
#include <tessik/clients/messages_client.hpp>
#include <tessik/detail/ai_client.hpp>
#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/value.hpp>

#include "stub_server.hpp"

namespace tessik::testing {

using namespace std::chrono_literals;

inline const std::string kApiKey = "sk-test-7f3a9c-very-secret";

inline clients::TransportOptions fast_transport() {
  clients::TransportOptions t;
  t.connect_timeout = 2000ms;
  t.request_timeout = 10'000ms;
  t.backoff_initial = 1ms;
  t.backoff_max = 4ms;
  t.retry_after_max = 3000ms;
  return t;
}

inline clients::MessagesClientOptions messages_options(const std::string& url) {
  return {
      .endpoint = url, .api_key = kApiKey, .model = "test-model", .transport = fast_transport()};
}

inline clients::ChatCompletionsClientOptions chat_options(const std::string& url) {
  return {.endpoint = url + "/v1",
          .api_key = kApiKey,
          .model = "local-model",
          .transport = fast_transport()};
}

// Two blocks as request assembly builds them: the diff, cacheable, then the
// agent's prompt. Quotes, a backslash and non-ASCII text test the escaping.
inline Value system_blocks() {
  Value diff = Value::Mapping{{"type", "text"}, {"text", "File: a.py\n+x = \"ü\\n\"\n"}};
  diff.as_mapping().set("cache_control", detail::CACHE_CONTROL_1H);
  Value prompt = Value::Mapping{{"type", "text"},
                                {"text", "The code diff above is what you must review. Be brief."}};
  return Value::Sequence{diff, prompt};
}

inline Value user_turn(const std::string& text) {
  return Value::Sequence{Value::Mapping{{"role", "user"}, {"content", text}}};
}

// A stub entry answering with `json` (status 200), plus extra fields.
inline Value answer(Value json, Value::Mapping extra = {}) {
  extra.set("json", std::move(json));
  return Value(std::move(extra));
}

inline Value messages_text(const std::string& text, const std::string& stop = "end_turn") {
  return Value::Mapping{
      {"type", "message"},
      {"content", Value::Sequence{Value::Mapping{{"type", "text"}, {"text", text}}}},
      {"stop_reason", stop},
      {"usage", Value::Mapping{{"input_tokens", 10},
                               {"output_tokens", 5},
                               {"cache_creation_input_tokens", 100},
                               {"cache_read_input_tokens", 7}}}};
}

// A tool_use reply: each call is {id, name, input}.
inline Value messages_tool_use(
    const std::vector<std::tuple<std::string, std::string, Value>>& calls) {
  Value::Sequence content{Value::Mapping{{"type", "text"}, {"text", "Let me look."}}};
  for (const auto& [id, name, input] : calls) {
    content.push_back(
        Value::Mapping{{"type", "tool_use"}, {"id", id}, {"name", name}, {"input", input}});
  }
  return Value::Mapping{{"content", Value(std::move(content))},
                        {"stop_reason", "tool_use"},
                        {"usage", Value::Mapping{{"input_tokens", 1}, {"output_tokens", 1}}}};
}

inline Value chat_text(const Value& content, const std::string& finish = "stop") {
  return Value::Mapping{
      {"choices", Value::Sequence{Value::Mapping{
                      {"index", 0},
                      {"message", Value::Mapping{{"role", "assistant"}, {"content", content}}},
                      {"finish_reason", finish}}}},
      {"usage", Value::Mapping{{"prompt_tokens", 30},
                               {"completion_tokens", 4},
                               {"prompt_tokens_details", Value::Mapping{{"cached_tokens", 20}}}}}};
}

// A tool_calls reply: each call is {id, name, arguments text}.
inline Value chat_tool_calls(
    const std::vector<std::tuple<std::string, std::string, std::string>>& calls) {
  Value::Sequence list;
  for (const auto& [id, name, arguments] : calls) {
    list.push_back(
        Value::Mapping{{"id", id},
                       {"type", "function"},
                       {"function", Value::Mapping{{"name", name}, {"arguments", arguments}}}});
  }
  return Value::Mapping{
      {"choices", Value::Sequence{Value::Mapping{
                      {"message", Value::Mapping{{"role", "assistant"},
                                                 {"content", Value()},
                                                 {"tool_calls", Value(std::move(list))}}},
                      {"finish_reason", "tool_calls"}}}}};
}

// A read-file handler over fixed contents, recording its inputs.
class FileTool {
 public:
  using Files = std::map<std::string, std::string>;
  explicit FileTool(Files files) : files_(std::move(files)) {}
  ToolHandler handler() {
    return [this](const Value& input) -> Value {
      std::lock_guard lock(mutex_);
      inputs_.push_back(input);
      const Value* path = input.find("path");
      if (!path || !path->is_string()) throw InvalidValueError("read_file needs a text \"path\"");
      const auto found = files_.find(path->as_string());
      if (found == files_.end()) throw InvalidValueError("no file " + path->as_string());
      return found->second;
    };
  }
  std::vector<Value> inputs() const {
    std::lock_guard lock(mutex_);
    return inputs_;
  }

 private:
  std::map<std::string, std::string> files_;
  mutable std::mutex mutex_;
  std::vector<Value> inputs_;
};

inline Value read_file_definition() {
  return Value::Mapping{
      {"name", "read_file"},
      {"description", "Reads a file of the change."},
      {"input_schema",
       Value::Mapping{{"type", "object"},
                      {"properties", Value::Mapping{{"path", Value::Mapping{{"type", "string"}}}}},
                      {"required", Value::Sequence{"path"}}}}};
}

}  // namespace tessik::testing

#endif  // TESSIK_TESTS_CLIENTS_CLIENT_FIXTURES_HPP_
