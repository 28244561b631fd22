// A reply body as a model server might send it, through the decoders of
// both client protocols and the error-message reader. The decoders may
// refuse a body only with a tessik::Error; whatever they accept is run
// through the tool-result step the way a tool-use exchange would.
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <tessik/clients/detail/chat_wire.hpp>
#include <tessik/clients/detail/messages_wire.hpp>
#include <tessik/clients/detail/reply_text.hpp>
#include <tessik/foundation/errors.hpp>

#include "fuzz_support.hpp"

namespace {

using namespace tessik::clients::detail;

void answer_calls(const DecodedReply& reply, bool messages_protocol) {
  static const std::map<std::string, tessik::ToolHandler> handlers{
      {"read_file", [](const tessik::Value& input) { return input; }}};
  std::vector<ToolOutcome> outcomes;
  for (const ToolCall& call : reply.tool_calls)
    outcomes.push_back(answer_tool_call(handlers, call));
  tessik::Value conversation = tessik::Value::Sequence{};
  if (messages_protocol) {
    append_messages_tool_results(conversation, reply, outcomes);
  } else {
    append_chat_tool_results(conversation, reply, outcomes);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tessik::fuzz::silence_logs();
  const auto body = tessik::fuzz::as_text(data, size);
  try {
    answer_calls(decode_messages_reply(body), true);
  } catch (const tessik::Error&) {
  }
  try {
    answer_calls(decode_chat_reply(body), false);
  } catch (const tessik::Error&) {
  }
  (void)http_failure(500, 2, body);
  return 0;
}
