#include <tessik/clients/detail/reply_receiver.hpp>

namespace tessik::clients::detail {

void report(const ProgressObserver& observer, std::string_view agent, CallStage stage,
            std::int64_t pieces) {
  if (observer) observer({.agent = agent, .stage = stage, .pieces = pieces});
}

void ReplyReceiver::start() {
  decoder_ = SseDecoder();
  stream_ = make_();
  accepted_ = false;
  pieces_ = 0;
  last_writing_ = {};
}

void ReplyReceiver::receive(std::string_view bytes) {
  ReplyStream& stream = *stream_;
  decoder_.feed(
      bytes, [&stream](std::string_view name, std::string_view data) { stream.event(name, data); });
  if (!accepted_ && stream.accepted()) {
    accepted_ = true;
    report(observer_, agent_, CallStage::accepted);
  }
  if (!observer_ || stream.pieces() == pieces_) return;
  const auto now = std::chrono::steady_clock::now();
  if (pieces_ != 0 && now - last_writing_ < kWritingEvery) return;
  pieces_ = stream.pieces();
  last_writing_ = now;
  report(observer_, agent_, CallStage::writing, pieces_);
}

}  // namespace tessik::clients::detail
