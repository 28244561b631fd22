// An event stream as a model server might send it, cut into pieces the way
// a network might deliver it, through the event-stream decoder and the
// reply assemblers of both protocols. They may refuse a stream only with a
// tessik::Error; a stream they call finished must give a reply or an Error.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include <tessik/clients/detail/chat_stream.hpp>
#include <tessik/clients/detail/messages_stream.hpp>
#include <tessik/clients/detail/sse_decoder.hpp>
#include <tessik/foundation/errors.hpp>

#include "fuzz_support.hpp"

namespace {

using namespace tessik::clients::detail;

// The first byte sets the piece size (1 to 256 bytes); the rest is the stream.
void decode(std::string_view input, std::unique_ptr<ReplyStream> stream) {
  if (input.empty()) return;
  const std::size_t piece = static_cast<unsigned char>(input.front()) + std::size_t{1};
  input.remove_prefix(1);
  try {
    SseDecoder decoder;
    for (std::size_t at = 0; at < input.size(); at += piece) {
      decoder.feed(input.substr(at, piece), [&](std::string_view name, std::string_view data) {
        stream->event(name, data);
      });
    }
    if (stream->finished()) (void)stream->reply();
  } catch (const tessik::Error&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tessik::fuzz::silence_logs();
  const auto input = tessik::fuzz::as_text(data, size);
  decode(input, messages_reply_stream());
  decode(input, chat_reply_stream());
  return 0;
}
