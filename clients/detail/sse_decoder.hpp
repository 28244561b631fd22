// Incremental decoding of a server-sent event stream (text/event-stream):
// the bytes arrive in pieces of any size and each complete event is handed
// on as soon as its closing blank line has arrived.
//
//   SseDecoder decoder;
//   decoder.feed(piece, [&](std::string_view name, std::string_view data) {
//     ...  // name: the "event:" field, "message" when there was none
//   });
//
// Lines end in LF, CR LF or a lone CR, also when the pair is split between
// two pieces. Several "data:" lines of one event are joined with LF. Comment
// lines (beginning with ':') and "id:" and "retry:" fields are skipped; an
// event without a "data:" line is not handed on; one leading blank after
// the colon is dropped, as the format says. A line that is neither an event
// field nor a comment (a JSON body or an HTML page in place of the stream)
// is refused, so a server that stops streaming half way is noticed at once.
#ifndef TESSIK_CLIENTS_DETAIL_SSE_DECODER_HPP_
#define TESSIK_CLIENTS_DETAIL_SSE_DECODER_HPP_

#include <functional>
#include <string>
#include <string_view>

namespace tessik::clients::detail {

class SseDecoder {
 public:
  using EventSink = std::function<void(std::string_view name, std::string_view data)>;

  // Decodes `bytes`, calling `sink` once per complete event, in order. The
  // views passed to `sink` are valid during the call only. Throws
  // InvalidValueError for a line that is not an event field, naming it;
  // whatever `sink` throws passes through. After a throw the decoder is
  // not to be fed again. Memory held is the longest unfinished event.
  void feed(std::string_view bytes, const EventSink& sink);

  // True when bytes of an unfinished line or event are pending.
  bool pending() const noexcept { return !line_.empty() || has_data_; }

 private:
  void line(std::string_view text, const EventSink& sink);

  std::string line_;   // an unfinished line carried over from the last piece
  std::string event_;  // the "event:" field of the event being read
  std::string data_;   // its "data:" lines, joined with LF
  bool has_data_ = false;
  bool after_cr_ = false;  // the last piece ended in CR: a leading LF belongs to it
  bool started_ = false;   // a leading byte-order mark has been looked for
};

}  // namespace tessik::clients::detail

#endif  // TESSIK_CLIENTS_DETAIL_SSE_DECODER_HPP_
