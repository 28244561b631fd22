// Request bodies and reply decoding of OpenAI-compatible chat completions.
#ifndef TESSIK_CLIENTS_DETAIL_CHAT_WIRE_HPP_
#define TESSIK_CLIENTS_DETAIL_CHAT_WIRE_HPP_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <tessik/clients/chat_client.hpp>
#include <tessik/clients/detail/tool_loop.hpp>
#include <tessik/foundation/value.hpp>

namespace tessik::clients::detail {

// The parts of one request. Pointers may be null (left out of the body).
struct ChatRequest {
  const Value* messages = nullptr;  // the conversation, without the system message
  const Value* system = nullptr;    // the system blocks
  std::int64_t max_tokens = 0;
  const Value* tools = nullptr;            // tool definitions as agents give them
  const Value* response_schema = nullptr;  // {"name", "schema"}, sent as response_format
};

// The system blocks' texts in order, joined by a blank line. A text system
// is taken as it is; blocks without text are skipped.
std::string joined_system_text(const Value& system);

// One function tool for a tool definition ({"name", "description",
// "input_schema"}).
Value function_tool(const Value& definition);

// The JSON body: model, max_tokens, messages (the system message first),
// then tools and response_format when they apply.
Value chat_request_body(const ChatCompletionsClientOptions& options, const ChatRequest& request);

// The common stop reason for a finish reason ("stop" -> "end_turn", ...).
std::optional<std::string> common_stop_reason(const Value* finish_reason);

// Decodes a 2xx reply body (the first choice). Throws InvalidValueError
// naming what is wrong.
DecodedReply decode_chat_reply(std::string_view body);

// The same for a completion already parsed (a streamed reply's chunks, put
// together); `body` is only quoted in messages.
DecodedReply decode_chat_completion(const Value& root, std::string_view body);

// Appends the assistant message of `reply` and one tool message per call.
void append_chat_tool_results(Value& conversation, const DecodedReply& reply,
                              const std::vector<ToolOutcome>& outcomes);

}  // namespace tessik::clients::detail

#endif  // TESSIK_CLIENTS_DETAIL_CHAT_WIRE_HPP_
