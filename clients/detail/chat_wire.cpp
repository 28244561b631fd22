#include <tessik/clients/detail/chat_wire.hpp>

#include <string>

#include <tessik/clients/detail/reply_text.hpp>
#include <tessik/clients/detail/wire_values.hpp>
#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/json.hpp>

namespace tessik::clients::detail {
namespace {

ToolCall decode_tool_call(const Value& item, std::size_t index) {
  const Value* function = mapping_at(item, "function");
  ToolCall call{.id = text_at(item, "id"),
                .name = function ? text_at(*function, "name") : std::string(),
                .input = {}};
  if (call.name.empty()) {
    throw InvalidValueError("tool call " + std::to_string(index) +
                            " of the reply has no function name");
  }
  if (call.id.empty()) call.id = "call_" + std::to_string(index);
  const Value* arguments = function->find("arguments");
  if (arguments && arguments->is_string()) {
    try {
      call.input = parse_json(arguments->as_string());
    } catch (const Error& e) {
      call.problem = "the arguments of tool '" + call.name + "' are not JSON: " + e.what();
      return call;
    }
  } else if (arguments) {
    call.input = *arguments;  // some local servers send the object itself
  }
  if (!call.input.is_mapping()) {
    call.problem = "the arguments of tool '" + call.name + "' must be an object, not " +
                   kind_phrase(call.input);
  }
  return call;
}

}  // namespace

std::string joined_system_text(const Value& system) {
  if (system.is_string()) return system.as_string();
  std::string joined;
  if (!system.is_sequence()) return joined;
  bool first = true;
  for (const Value& block : system.as_sequence()) {
    const Value* text = block.is_mapping() ? block.find("text") : nullptr;
    if (!text || !text->is_string()) continue;
    if (!first) joined += "\n\n";
    joined += text->as_string();
    first = false;
  }
  return joined;
}

Value function_tool(const Value& definition) {
  Value::Mapping function;
  function.set("name", text_at(definition, "name"));
  if (const Value* d = definition.is_mapping() ? definition.find("description") : nullptr) {
    function.set("description", *d);
  }
  const Value* schema = mapping_at(definition, "input_schema");
  function.set("parameters", schema ? *schema
                                    : Value(Value::Mapping{{"type", "object"},
                                                           {"properties", Value::Mapping{}}}));
  return Value::Mapping{{"type", "function"}, {"function", Value(std::move(function))}};
}

Value chat_request_body(const ChatCompletionsClientOptions& options, const ChatRequest& r) {
  Value::Sequence messages;
  if (r.system && !r.system->is_null()) {
    messages.push_back(
        Value::Mapping{{"role", "system"}, {"content", joined_system_text(*r.system)}});
  }
  if (r.messages && r.messages->is_sequence()) {
    for (const Value& m : r.messages->as_sequence()) messages.push_back(m);
  }
  Value::Mapping body;
  body.set("model", options.model);
  body.set("max_tokens", r.max_tokens);
  body.set("messages", Value(std::move(messages)));
  if (r.tools && r.tools->is_sequence() && !r.tools->as_sequence().empty()) {
    Value::Sequence tools;
    for (const Value& definition : r.tools->as_sequence())
      tools.push_back(function_tool(definition));
    body.set("tools", Value(std::move(tools)));
  }
  if (r.response_schema && r.response_schema->is_mapping()) {
    const Value* schema = r.response_schema->find("schema");
    const std::string name = text_at(*r.response_schema, "name");
    body.set(
        "response_format",
        Value::Mapping{{"type", "json_schema"},
                       {"json_schema", Value::Mapping{{"name", name.empty() ? "reply" : name},
                                                      {"strict", true},
                                                      {"schema", schema ? *schema : Value()}}}});
  }
  return body;
}

std::optional<std::string> common_stop_reason(const Value* finish_reason) {
  if (!finish_reason || !finish_reason->is_string()) return std::nullopt;
  const std::string& r = finish_reason->as_string();
  if (r == "stop") return "end_turn";
  if (r == "length") return "max_tokens";
  if (r == "content_filter") return "refusal";
  if (r == "tool_calls" || r == "function_call") return "tool_use";
  return r;
}

DecodedReply decode_chat_reply(std::string_view body) {
  return decode_chat_completion(parse_reply(body), body);
}

DecodedReply decode_chat_completion(const Value& root, std::string_view body) {
  if (!root.is_mapping()) {
    throw InvalidValueError("the reply is " + kind_phrase(root) +
                            ", not an object; it begins: " + excerpt(body));
  }
  const Value* choices = root.find("choices");
  if (!choices || !choices->is_sequence() || choices->as_sequence().empty()) {
    throw InvalidValueError("the reply has no choices; it begins: " + excerpt(body));
  }
  const Value& choice = choices->as_sequence().front();
  const Value* message = mapping_at(choice, "message");
  if (!message) throw InvalidValueError("the reply's first choice has no message object");
  DecodedReply reply;
  if (const Value* content = message->find("content"); content && !content->is_null()) {
    if (!content->is_string()) {
      throw InvalidValueError("the reply's message content is " + kind_phrase(*content) +
                              ", not a string");
    }
    reply.text = content->as_string();
  }
  reply.stop_reason = common_stop_reason(choice.find("finish_reason"));
  if (!text_at(*message, "refusal").empty()) reply.stop_reason = "refusal";
  if (const Value* calls = message->find("tool_calls"); calls && calls->is_sequence()) {
    std::size_t index = 0;
    for (const Value& item : calls->as_sequence())
      reply.tool_calls.push_back(decode_tool_call(item, ++index));
    // Some servers finish with "stop" although they ask for tools.
    if (!reply.tool_calls.empty() && reply.stop_reason == "end_turn")
      reply.stop_reason = "tool_use";
  }
  const Value* usage = mapping_at(root, "usage");
  const std::int64_t cached =
      count_at(usage ? mapping_at(*usage, "prompt_tokens_details") : nullptr, "cached_tokens");
  const std::int64_t prompt = count_at(usage, "prompt_tokens");
  reply.usage = {.input_tokens = prompt > cached ? prompt - cached : 0,
                 .output_tokens = count_at(usage, "completion_tokens"),
                 .cache_write_tokens = 0,
                 .cache_read_tokens = cached,
                 .requests = 1};
  Value::Mapping assistant{
      {"role", "assistant"},
      {"content", message->find("content") ? *message->find("content") : Value()}};
  if (const Value* calls = message->find("tool_calls"); calls && calls->is_sequence()) {
    // Sent back with the ids the tool messages answer, including any made up above.
    Value::Sequence sent;
    for (const ToolCall& call : reply.tool_calls) {
      sent.push_back(Value::Mapping{
          {"id", call.id},
          {"type", "function"},
          {"function",
           Value::Mapping{
               {"name", call.name},
               {"arguments", call.input.is_mapping() ? to_json(call.input) : std::string("{}")}}}});
    }
    assistant.set("tool_calls", Value(std::move(sent)));
  }
  reply.assistant = Value(std::move(assistant));
  return reply;
}

void append_chat_tool_results(Value& conversation, const DecodedReply& reply,
                              const std::vector<ToolOutcome>& outcomes) {
  conversation.as_sequence().push_back(reply.assistant);
  for (std::size_t i = 0; i < outcomes.size() && i < reply.tool_calls.size(); ++i) {
    const std::string content =
        outcomes[i].is_error ? "error: " + outcomes[i].content : outcomes[i].content;
    conversation.as_sequence().push_back(Value::Mapping{
        {"role", "tool"}, {"tool_call_id", reply.tool_calls[i].id}, {"content", content}});
  }
}

}  // namespace tessik::clients::detail
