#include <tessik/clients/detail/sse_decoder.hpp>

#include <algorithm>
#include <cstring>

#include <tessik/clients/detail/reply_text.hpp>
#include <tessik/foundation/errors.hpp>

namespace tessik::clients::detail {
namespace {

// The next place of one byte in a piece, found by memchr and kept until the
// reading passes it: each byte of a piece is searched at most once per kind
// (a piece without CR, the usual LF stream, is searched for CR once).
class NextByte {
 public:
  NextByte(char byte, const char* end) : byte_(byte), at_(end), end_(end) {}
  const char* from(const char* at) {
    if (!searched_ || at_ < at) {
      const void* found = std::memchr(at, byte_, static_cast<std::size_t>(end_ - at));
      at_ = found ? static_cast<const char*>(found) : end_;
      searched_ = true;
    }
    return at_;
  }

 private:
  char byte_;
  const char* at_;
  const char* const end_;
  bool searched_ = false;
};

}  // namespace

void SseDecoder::feed(std::string_view bytes, const EventSink& sink) {
  const char* at = bytes.data();
  const char* const end = at + bytes.size();
  if (after_cr_ && at != end) {
    if (*at == '\n') ++at;
    after_cr_ = false;
  }
  NextByte next_lf('\n', end), next_cr('\r', end);
  while (at != end) {
    const char* stop = std::min(next_lf.from(at), next_cr.from(at));
    if (stop == end) {
      line_.append(at, end);
      return;
    }
    if (line_.empty()) {
      line(std::string_view(at, static_cast<std::size_t>(stop - at)), sink);
    } else {
      line_.append(at, stop);
      line(line_, sink);  // line() leaves line_ alone; its buffer is kept for the next
      line_.clear();
    }
    at = stop + 1;
    if (*stop == '\r') {
      if (at == end) {
        after_cr_ = true;
      } else if (*at == '\n') {
        ++at;
      }
    }
  }
}

void SseDecoder::line(std::string_view text, const EventSink& sink) {
  if (!started_) {
    constexpr std::string_view kBom = "\xEF\xBB\xBF";
    if (text.substr(0, kBom.size()) == kBom) text.remove_prefix(kBom.size());
    started_ = true;
  }
  if (text.empty()) {
    if (has_data_) sink(event_.empty() ? std::string_view("message") : event_, data_);
    event_.clear();
    data_.clear();
    has_data_ = false;
    return;
  }
  if (text.front() == ':') return;  // a comment: keep-alive
  const std::size_t colon = text.find(':');
  const std::string_view field = text.substr(0, colon);
  std::string_view value;
  if (colon != std::string_view::npos) {
    value = text.substr(colon + 1);
    if (!value.empty() && value.front() == ' ') value.remove_prefix(1);
  }
  if (field == "data") {
    if (has_data_) data_ += '\n';
    data_.append(value);
    has_data_ = true;
  } else if (field == "event") {
    event_.assign(value);
  } else if (field != "id" && field != "retry") {
    throw InvalidValueError("the event stream holds a line that is not an event field: " +
                            excerpt(text));
  }
}

}  // namespace tessik::clients::detail
