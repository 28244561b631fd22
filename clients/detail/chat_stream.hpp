// A streamed chat completion: "chat.completion.chunk" objects, each with
// the first choice's delta (content, refusal, tool-call pieces keyed by
// index), the finish reason in a late chunk, the usage in a last chunk
// without choices, then "[DONE]". An object with an "error" fails the reply.
#ifndef TESSIK_CLIENTS_DETAIL_CHAT_STREAM_HPP_
#define TESSIK_CLIENTS_DETAIL_CHAT_STREAM_HPP_

#include <memory>

#include <tessik/clients/detail/reply_stream.hpp>

namespace tessik::clients::detail {

// A fresh assembler for one streamed chat completion. The reply it builds is
// what decode_chat_reply builds from the same completion sent whole. The
// server has taken the request at the first chunk. The reply is whole at
// "[DONE]", or at the end of the stream once a finish reason arrived (some
// local servers send no "[DONE]"). A tool-call piece for an index that was
// never opened with a function name is refused.
// Chunks that only extend the text or a call's arguments are read in place
// (see event_scan.hpp); every other chunk is parsed whole.
std::unique_ptr<ReplyStream> chat_reply_stream();

// The same assembler parsing every chunk whole: what the in-place reading
// is checked against.
std::unique_ptr<ReplyStream> chat_reply_stream_parsed();

}  // namespace tessik::clients::detail

#endif  // TESSIK_CLIENTS_DETAIL_CHAT_STREAM_HPP_
