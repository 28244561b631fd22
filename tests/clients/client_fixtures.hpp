// Shared pieces of the client tests: options pointing at a stub server with
// millisecond backoff, system blocks shaped like the agents', and reply
// bodies of both protocols.
#ifndef TESSIK_TESTS_CLIENTS_CLIENT_FIXTURES_HPP_
#define TESSIK_TESTS_CLIENTS_CLIENT_FIXTURES_HPP_

#include <algorithm>
#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <tessik/ai_client.hpp>
#include <tessik/clients/chat_client.hpp>
#include <tessik/clients/messages_client.hpp>
#include <tessik/detail/ai_client.hpp>
#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/json.hpp>
#include <tessik/foundation/value.hpp>

#include "stub_server.hpp"

namespace tessik::testing {

using namespace std::chrono_literals;

inline const std::string kApiKey = "sk-test-7f3a9c-very-secret";

inline clients::TransportOptions fast_transport() {
  return {.connect_timeout = 2000ms,
          .request_timeout = 10'000ms,
          .backoff_initial = 1ms,
          .backoff_max = 4ms,
          .retry_after_max = 3000ms};
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

// `text` in up to `count` pieces, cut between code points.
inline std::vector<std::string> pieces(const std::string& text, std::size_t count = 3) {
  std::vector<std::string> out;
  std::size_t at = 0;
  for (std::size_t left = count; left > 0 && at < text.size(); --left) {
    std::size_t end = left == 1 ? text.size() : at + (text.size() - at) / left;
    while (end < text.size() && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) ++end;
    if (end > at) out.push_back(text.substr(at, end - at));
    at = end;
  }
  return out;
}

// The events a Messages server streams for the whole reply `reply` (as
// messages_text and messages_tool_use build it), a ping and a comment among
// them; each text in `count` pieces.
inline std::vector<std::string> messages_events(const Value& reply, std::size_t count = 3) {
  auto event = [](const std::string& name, Value::Mapping data) {
    data.set("type", name);
    return "event: " + name + "\ndata: " + to_json(Value(std::move(data))) + "\n\n";
  };
  Value::Mapping usage_in, usage_out;
  for (const auto& [key, value] : reply.find("usage")->as_mapping()) {
    (key == Value("output_tokens") ? usage_out : usage_in).set(key, value);
  }
  std::vector<std::string> out{
      event("message_start", {{"message", Value::Mapping{{"id", "msg_1"},
                                                         {"type", "message"},
                                                         {"role", "assistant"},
                                                         {"content", Value::Sequence{}},
                                                         {"stop_reason", Value()},
                                                         {"usage", Value(usage_in)}}}}),
      ": keep-alive\n\nevent: ping\ndata: {\"type\": \"ping\"}\n\n"};
  std::int64_t index = 0;
  for (const Value& block : reply.find("content")->as_sequence()) {
    Value start = block;
    const bool text = *block.find("type") == Value("text");
    const char* key = text ? "text" : "input";
    const std::string whole = text ? block.find(key)->as_string() : to_json(*block.find(key));
    start.as_mapping().set(key, text ? Value("") : Value(Value::Mapping{}));
    out.push_back(event("content_block_start", {{"index", index}, {"content_block", start}}));
    for (const std::string& piece : pieces(whole, count)) {
      const Value delta =
          text ? Value::Mapping{{"type", "text_delta"}, {"text", piece}}
               : Value::Mapping{{"type", "input_json_delta"}, {"partial_json", piece}};
      out.push_back(event("content_block_delta", {{"index", index}, {"delta", delta}}));
    }
    out.push_back(event("content_block_stop", {{"index", index++}}));
  }
  out.push_back(event("message_delta",
                      {{"delta", Value::Mapping{{"stop_reason", *reply.find("stop_reason")}}},
                       {"usage", Value(usage_out)}}));
  out.push_back(event("message_stop", {}));
  return out;
}

// The chunks a chat completions server streams for the whole reply `reply`
// (as chat_text and chat_tool_calls build it), with CR LF line ends; each
// text in `count` pieces.
inline std::vector<std::string> chat_events(const Value& reply, std::size_t count = 3) {
  auto chunk = [](Value delta, Value finish = Value()) {
    return "data: " +
           to_json(Value::Mapping{
               {"object", "chat.completion.chunk"},
               {"choices", Value::Sequence{Value::Mapping{
                               {"index", 0}, {"delta", delta}, {"finish_reason", finish}}}}}) +
           "\r\n\r\n";
  };
  const Value& choice = reply.find("choices")->as_sequence()[0];
  const Value& message = *choice.find("message");
  std::vector<std::string> out{chunk(Value::Mapping{{"role", "assistant"}})};
  if (const Value* content = message.find("content"); content->is_string()) {
    for (const std::string& piece : pieces(content->as_string(), count)) {
      out.push_back(chunk(Value::Mapping{{"content", piece}}));
    }
  }
  std::int64_t index = 0;
  const Value* calls = message.find("tool_calls");
  for (const Value& call : calls ? calls->as_sequence() : Value::Sequence{}) {
    const Value& function = *call.find("function");
    auto call_delta = [&](Value::Mapping item) {
      item.set("index", index);
      return chunk(Value::Mapping{{"tool_calls", Value::Sequence{Value(std::move(item))}}});
    };
    out.push_back(call_delta(
        {{"id", *call.find("id")},
         {"type", "function"},
         {"function", Value::Mapping{{"name", *function.find("name")}, {"arguments", ""}}}}));
    for (const std::string& piece : pieces(function.find("arguments")->as_string(), count)) {
      out.push_back(call_delta({{"function", Value::Mapping{{"arguments", piece}}}}));
    }
    ++index;
  }
  out.push_back(chunk(Value::Mapping{}, *choice.find("finish_reason")));
  if (const Value* usage = reply.find("usage")) {
    out.push_back(
        "data: " + to_json(Value::Mapping{{"choices", Value::Sequence{}}, {"usage", *usage}}) +
        "\r\n\r\n");
  }
  out.push_back("data: [DONE]\r\n\r\n");
  return out;
}

// A stub entry streaming `events`: the first after `first` seconds, the
// others spread evenly so that the last leaves `last` seconds after the
// request; plus extra fields.
inline Value streamed(const std::vector<std::string>& events, double first = 0, double last = 0,
                      Value::Mapping extra = {}) {
  Value::Sequence chunks;
  const double step =
      events.size() > 1 ? std::max(0.0, last - first) / static_cast<double>(events.size() - 1) : 0;
  for (std::size_t i = 0; i < events.size(); ++i) {
    chunks.push_back(Value::Sequence{i == 0 ? first : step, events[i]});
  }
  extra.set("stream", Value(std::move(chunks)));
  return Value(std::move(extra));
}

// A read-file handler over fixed contents, recording its inputs.
class FileTool {
 public:
  using Files = std::map<std::string, std::string>;
  explicit FileTool(Files files = {{"a.py", "x = 1\n"}}) : files_(std::move(files)) {}
  ToolHandler handler() {
    return [this](const Value& input) -> Value {
      const std::lock_guard lock(mutex_);
      inputs_.push_back(input);
      const Value* path = input.find("path");
      const std::string name = path && path->is_string() ? path->as_string() : "";
      if (!files_.contains(name)) throw InvalidValueError("no file " + name);
      return files_.at(name);
    };
  }
  std::vector<Value> inputs() const {
    const std::lock_guard lock(mutex_);
    return inputs_;
  }

 private:
  Files files_;
  mutable std::mutex mutex_;
  std::vector<Value> inputs_;
};

template <class Client, auto options>
std::unique_ptr<AIClient> make_client(const std::string& server, bool stream,
                                      clients::TransportOptions transport,
                                      clients::ProgressObserver progress) {
  auto o = options(server);
  o.stream = stream;
  o.transport = std::move(transport);
  o.progress = std::move(progress);
  return std::make_unique<Client>(std::move(o));
}

// One protocol, for the tests run against both: its client, a reply whose
// text is "done ü", a tool round reading a.py and missing.py, and the events
// a server streams for a reply.
struct ClientProtocol {
  const char* name;
  bool chat;
  std::unique_ptr<AIClient> (*make)(const std::string& server, bool stream,
                                    clients::TransportOptions, clients::ProgressObserver);
  std::vector<std::string> (*events)(const Value& reply, std::size_t count);
  Value text_reply, tool_reply;
  std::string endpoint_suffix;  // the client's endpoint is the server's URL and this
  std::string path;             // what the client appends to its endpoint
  const char* key_header;
  const char* stream_members;  // what a streaming request adds to the body

  std::string endpoint(const std::string& server) const { return server + endpoint_suffix; }
  // The message of a failure: "model server at <endpoint>: <said>", URL in
  // `said` standing for the URL the client posts to.
  std::string failure(const std::string& server, std::string said) const {
    if (const auto at = said.find("URL"); at != std::string::npos) {
      said.replace(at, 3, endpoint(server) + path);
    }
    return "model server at " + endpoint(server) + ": " + said;
  }
  const clients::UsageLedger& usage(const AIClient& client) const {
    if (chat) return dynamic_cast<const clients::ChatCompletionsClient&>(client).usage();
    return dynamic_cast<const clients::MessagesClient&>(client).usage();
  }
};

inline const std::vector<ClientProtocol>& client_protocols() {
  static const std::vector<ClientProtocol> all{
      {"messages", false, &make_client<clients::MessagesClient, &messages_options>,
       &messages_events, messages_text("done ü"),
       messages_tool_use({{"t1", "read_file", Value::Mapping{{"path", "a.py"}}},
                          {"t2", "read_file", Value::Mapping{{"path", "missing.py"}}}}),
       "", "/v1/messages", "x-api-key", R"({"stream": true})"},
      {"chat", true, &make_client<clients::ChatCompletionsClient, &chat_options>, &chat_events,
       chat_text("done ü"),
       chat_tool_calls({{"c1", "read_file", R"({"path": "a.py"})"},
                        {"c2", "read_file", R"({"path": "missing.py"})"}}),
       "/v1", "/chat/completions", "authorization",
       R"({"stream": true, "stream_options": {"include_usage": true}})"}};
  return all;
}

// `what`, for comparing with `expected`: when that ends in "...", only as
// much of `what` as comes before it, then "...".
inline std::string up_to(const std::string& what, const std::string& expected) {
  if (!expected.ends_with("...")) return what;
  return what.substr(0, expected.size() - 3) + "...";
}

// A result's fields, to compare at once.
inline auto fields(const CompletionResult& r) {
  return std::tuple(r.text, r.stop_reason, r.iterations_used, r.hit_iteration_cap);
}

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
