// An event stream as a model server might send it, cut into pieces the way
// a network might deliver it, through the event-stream decoder and the
// reply assemblers of both protocols. They may refuse a stream only with a
// tessik::Error; a stream they call finished must give a reply or an Error.
// Each assembler runs twice, reading delta events in place and parsing every
// event whole, and both must end the same way.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include <tessik/clients/detail/chat_stream.hpp>
#include <tessik/clients/detail/messages_stream.hpp>
#include <tessik/clients/detail/sse_decoder.hpp>
#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/json.hpp>

#include "fuzz_support.hpp"

namespace {

using namespace tessik::clients::detail;

// The first byte sets the piece size (1 to 256 bytes); the rest is the
// stream. Returns how it ended: the error, or the reply and its pieces.
std::string decode(std::string_view input, std::unique_ptr<ReplyStream> stream) {
  if (input.empty()) return {};
  const std::size_t piece = static_cast<unsigned char>(input.front()) + std::size_t{1};
  input.remove_prefix(1);
  try {
    SseDecoder decoder;
    for (std::size_t at = 0; at < input.size(); at += piece) {
      decoder.feed(input.substr(at, piece), [&](std::string_view name, std::string_view data) {
        stream->event(name, data);
      });
    }
    std::string ended = std::to_string(stream->pieces()) + " pieces";
    if (!stream->finished()) return ended;
    const DecodedReply reply = stream->reply();
    return ended + tessik::to_json(reply.assistant) + reply.text + reply.stop_reason.value_or("-") +
           std::to_string(reply.tool_calls.size()) + ' ' +
           std::to_string(reply.usage.input_tokens) + ' ' +
           std::to_string(reply.usage.output_tokens);
  } catch (const tessik::Error& e) {
    return e.what();
  }
}

void compare(std::string_view input, ReplyStreamFactory scanned, ReplyStreamFactory parsed) {
  if (decode(input, scanned()) != decode(input, parsed())) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tessik::fuzz::silence_logs();
  const auto input = tessik::fuzz::as_text(data, size);
  compare(input, &messages_reply_stream, &messages_reply_stream_parsed);
  compare(input, &chat_reply_stream, &chat_reply_stream_parsed);
  return 0;
}
