// Request bodies and reply decoding of the Messages protocol.
#ifndef TESSIK_CLIENTS_DETAIL_MESSAGES_WIRE_HPP_
#define TESSIK_CLIENTS_DETAIL_MESSAGES_WIRE_HPP_

#include <cstdint>
#include <string_view>
#include <vector>

#include <tessik/clients/detail/tool_loop.hpp>
#include <tessik/clients/messages_client.hpp>
#include <tessik/foundation/value.hpp>

namespace tessik::clients::detail {

// The parts of one request. Pointers may be null (left out of the body).
struct MessagesRequest {
  const Value* messages = nullptr;
  const Value* system = nullptr;
  std::int64_t max_tokens = 0;
  const Value* tools = nullptr;
  const Value* output_config = nullptr;  // {"name", "schema"} as finding_schema.hpp builds it
  bool reasoning = false;
  bool tools_off = false;  // tool_choice "none": the tools stay defined but unusable
};

// The JSON body: model, max_tokens, system (unchanged), messages, then
// tools (with tool_choice when tools_off), thinking and output_config when
// they apply.
Value messages_request_body(const MessagesClientOptions& options, const MessagesRequest& request);

// The thinking budget a call gets (0: thinking off); see
// MessagesClientOptions::thinking_budget_tokens.
std::int64_t thinking_budget(std::int64_t configured, std::int64_t max_tokens) noexcept;

// Decodes a 2xx reply body. Throws InvalidValueError naming what is wrong:
// not JSON (with the first bytes), not an object, no content array, a
// content block of the wrong shape.
DecodedReply decode_messages_reply(std::string_view body);

// The same for a reply already parsed (a streamed reply's message, put
// together); `body` is only quoted in messages.
DecodedReply decode_messages_message(const Value& root, std::string_view body);

// Appends the assistant turn of `reply` and one user turn of tool_result
// blocks to `conversation`.
void append_messages_tool_results(Value& conversation, const DecodedReply& reply,
                                  const std::vector<ToolOutcome>& outcomes);

}  // namespace tessik::clients::detail

#endif  // TESSIK_CLIENTS_DETAIL_MESSAGES_WIRE_HPP_
