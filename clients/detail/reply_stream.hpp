// A streamed reply put together event by event. Each protocol has one
// (messages_stream.hpp, chat_stream.hpp); both hand back exactly the reply
// the protocol's non-streamed decoder builds from the same answer, so
// nothing after the transport knows whether the reply was streamed.
#ifndef TESSIK_CLIENTS_DETAIL_REPLY_STREAM_HPP_
#define TESSIK_CLIENTS_DETAIL_REPLY_STREAM_HPP_

#include <cstdint>
#include <memory>
#include <string_view>

#include <tessik/clients/detail/tool_loop.hpp>
#include <tessik/foundation/value.hpp>

namespace tessik::clients::detail {

class ReplyStream {
 public:
  virtual ~ReplyStream() = default;

  // One decoded server-sent event. Throws InvalidValueError, saying what
  // was wrong, for data that is not JSON, an event the protocol does not
  // allow at this point (a delta before its block or call was opened,
  // anything after the final event) and an error the server reported in
  // the stream.
  virtual void event(std::string_view name, std::string_view data) = 0;

  // True once an event shows that the server has taken the request (its
  // prompt is then in the provider's cache).
  virtual bool accepted() const noexcept = 0;
  // Pieces of text, thinking or tool input received so far: roughly one
  // token each.
  virtual std::int64_t pieces() const noexcept = 0;
  // True once the reply is whole: its final event arrived.
  virtual bool finished() const noexcept = 0;

  // The reply. Only after finished(); throws InvalidValueError as the
  // non-streamed decoder would.
  virtual DecodedReply reply() = 0;
};

// The JSON of an event's data. Throws InvalidValueError "event '<name>'
// holds data that is not JSON (<reason>): <excerpt>".
Value event_json(std::string_view name, std::string_view data);

// Throws InvalidValueError "the server reported an error in the stream:
// <message> (<type>)" for an error object ({"error": {"message", "type"}}
// or {"message", "type"}).
[[noreturn]] void throw_reported_error(const Value& error);

using ReplyStreamFactory = std::unique_ptr<ReplyStream> (*)();

}  // namespace tessik::clients::detail

#endif  // TESSIK_CLIENTS_DETAIL_REPLY_STREAM_HPP_
