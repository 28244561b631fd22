// A streamed Messages reply: message_start, then per content block a
// content_block_start, its deltas (text, thinking and its signature, the
// tool input as pieces of JSON, citations) and content_block_stop, then
// message_delta (stop reason, output usage) and message_stop. Ping events
// are skipped; an error event fails the reply.
#ifndef TESSIK_CLIENTS_DETAIL_MESSAGES_STREAM_HPP_
#define TESSIK_CLIENTS_DETAIL_MESSAGES_STREAM_HPP_

#include <memory>

#include <tessik/clients/detail/reply_stream.hpp>

namespace tessik::clients::detail {

// A fresh assembler for one streamed Messages reply. The reply it builds is
// what decode_messages_reply builds from the same message sent whole. The
// server has taken the request at message_start. Tool input whose JSON
// never closes becomes a call with a problem, as a non-object input does.
// Text and tool-input deltas in their usual shape are read in place (see
// event_scan.hpp); every other event is parsed whole.
std::unique_ptr<ReplyStream> messages_reply_stream();

// The same assembler parsing every event whole: what the in-place reading
// is checked against.
std::unique_ptr<ReplyStream> messages_reply_stream_parsed();

}  // namespace tessik::clients::detail

#endif  // TESSIK_CLIENTS_DETAIL_MESSAGES_STREAM_HPP_
