#include <tessik/clients/detail/messages_wire.hpp>

#include <algorithm>
#include <string>

#include <tessik/clients/detail/reply_text.hpp>
#include <tessik/clients/detail/wire_values.hpp>
#include <tessik/foundation/errors.hpp>

namespace tessik::clients::detail {
namespace {

constexpr std::int64_t kMinThinkingBudget = 1024;

// One content block; text is collected, tool_use becomes a call.
void decode_block(const Value& block, std::size_t index, DecodedReply& reply) {
  if (!block.is_mapping()) {
    throw InvalidValueError("content block " + std::to_string(index) + " of the reply is " +
                            kind_phrase(block) + ", not an object");
  }
  const std::string type = text_at(block, "type");
  if (type == "text") {
    const Value* text = block.find("text");
    if (!text || !text->is_string()) {
      throw InvalidValueError("text block " + std::to_string(index) + " of the reply has no text");
    }
    reply.text += text->as_string();
  } else if (type == "tool_use") {
    ToolCall call{.id = text_at(block, "id"), .name = text_at(block, "name"), .input = {}};
    if (call.id.empty() || call.name.empty()) {
      throw InvalidValueError("tool_use block " + std::to_string(index) +
                              " of the reply lacks its id or name");
    }
    if (const Value* input = block.find("input")) call.input = *input;
    if (!call.input.is_mapping()) {
      call.problem =
          "the input of tool '" + call.name + "' must be an object, not " + kind_phrase(call.input);
    }
    reply.tool_calls.push_back(std::move(call));
  }
  // Thinking and other block kinds carry nothing the caller reads; they stay
  // in the assistant turn that is sent back.
}

}  // namespace

std::int64_t thinking_budget(std::int64_t configured, std::int64_t max_tokens) noexcept {
  const std::int64_t budget = std::min(configured, max_tokens - 1);
  return budget >= kMinThinkingBudget ? budget : 0;
}

Value messages_request_body(const MessagesClientOptions& options, const MessagesRequest& r) {
  Value::Mapping body;
  body.set("model", options.model);
  body.set("max_tokens", r.max_tokens);
  if (r.system && !r.system->is_null()) body.set("system", *r.system);
  body.set("messages", r.messages ? *r.messages : Value(Value::Sequence{}));
  if (r.tools && r.tools->is_sequence() && !r.tools->as_sequence().empty()) {
    body.set("tools", *r.tools);
    if (r.tools_off) body.set("tool_choice", Value::Mapping{{"type", "none"}});
  }
  if (r.reasoning) {
    if (const std::int64_t budget = thinking_budget(options.thinking_budget_tokens, r.max_tokens)) {
      body.set("thinking", Value::Mapping{{"type", "enabled"}, {"budget_tokens", budget}});
    }
  }
  if (r.output_config && r.output_config->is_mapping()) {
    if (const Value* schema = r.output_config->find("schema")) {
      body.set(
          "output_config",
          Value::Mapping{{"format", Value::Mapping{{"type", "json_schema"}, {"schema", *schema}}}});
    }
  }
  return body;
}

DecodedReply decode_messages_reply(std::string_view body) {
  return decode_messages_message(parse_reply(body), body);
}

DecodedReply decode_messages_message(const Value& root, std::string_view body) {
  if (!root.is_mapping()) {
    throw InvalidValueError("the reply is " + kind_phrase(root) +
                            ", not an object; it begins: " + excerpt(body));
  }
  const Value* content = root.find("content");
  if (!content || !content->is_sequence()) {
    throw InvalidValueError("the reply has no content array; it begins: " + excerpt(body));
  }
  DecodedReply reply;
  std::size_t index = 0;
  for (const Value& block : content->as_sequence()) decode_block(block, ++index, reply);
  if (const Value* stop = root.find("stop_reason"); stop && stop->is_string()) {
    reply.stop_reason = stop->as_string();
  }
  const Value* usage = mapping_at(root, "usage");
  reply.usage = {.input_tokens = count_at(usage, "input_tokens"),
                 .output_tokens = count_at(usage, "output_tokens"),
                 .cache_write_tokens = count_at(usage, "cache_creation_input_tokens"),
                 .cache_read_tokens = count_at(usage, "cache_read_input_tokens"),
                 .requests = 1};
  reply.assistant = Value::Mapping{{"role", "assistant"}, {"content", *content}};
  return reply;
}

void append_messages_tool_results(Value& conversation, const DecodedReply& reply,
                                  const std::vector<ToolOutcome>& outcomes) {
  Value::Sequence results;
  results.reserve(outcomes.size());
  for (std::size_t i = 0; i < outcomes.size() && i < reply.tool_calls.size(); ++i) {
    Value::Mapping result{{"type", "tool_result"},
                          {"tool_use_id", reply.tool_calls[i].id},
                          {"content", outcomes[i].content}};
    if (outcomes[i].is_error) result.set("is_error", true);
    results.push_back(std::move(result));
  }
  conversation.as_sequence().push_back(reply.assistant);
  conversation.as_sequence().push_back(
      Value::Mapping{{"role", "user"}, {"content", Value(std::move(results))}});
}

}  // namespace tessik::clients::detail
