// The bridge from the transport to a protocol's ReplyStream: decodes the
// event stream's bytes as they arrive, feeds the events to a fresh
// assembler per attempt, and reports the call's progress.
#ifndef TESSIK_CLIENTS_DETAIL_REPLY_RECEIVER_HPP_
#define TESSIK_CLIENTS_DETAIL_REPLY_RECEIVER_HPP_

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include <tessik/clients/call_progress.hpp>
#include <tessik/clients/detail/http_transport.hpp>
#include <tessik/clients/detail/reply_stream.hpp>
#include <tessik/clients/detail/sse_decoder.hpp>

namespace tessik::clients::detail {

// Sends `stage` to `observer` (which may be empty) for `agent`.
void report(const ProgressObserver& observer, std::string_view agent, CallStage stage,
            std::int64_t pieces = 0);

// How often a call reports `writing` at most: the first piece at once, then
// the count so far when this long has passed since the last report and a
// piece arrived (a display redraws no faster; an observer's lock is not
// taken once per token).
inline constexpr std::chrono::milliseconds kWritingEvery{50};

// One call's receiver. Not thread-safe: one per request, used by the
// transport on the calling thread. `observer` and `agent` must outlive it.
class ReplyReceiver final : public StreamReceiver {
 public:
  ReplyReceiver(ReplyStreamFactory make, const ProgressObserver& observer, std::string_view agent)
      : make_(make), observer_(observer), agent_(agent) {}

  void start() override;
  void receive(std::string_view bytes) override;
  bool complete() const override { return stream_ && stream_->finished(); }

  // The reply of the last attempt; only after the transport answered with
  // HttpResponse::streamed. Throws InvalidValueError as ReplyStream::reply.
  DecodedReply reply() { return stream_->reply(); }

 private:
  ReplyStreamFactory make_;
  const ProgressObserver& observer_;
  std::string_view agent_;
  SseDecoder decoder_;
  std::unique_ptr<ReplyStream> stream_;
  bool accepted_ = false;
  std::int64_t pieces_ = 0;  // as last reported
  std::chrono::steady_clock::time_point last_writing_{};
};

}  // namespace tessik::clients::detail

#endif  // TESSIK_CLIENTS_DETAIL_REPLY_RECEIVER_HPP_
