#include <tessik/clients/detail/chat_stream.hpp>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include <tessik/clients/detail/chat_wire.hpp>
#include <tessik/clients/detail/event_scan.hpp>
#include <tessik/clients/detail/wire_values.hpp>
#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/json.hpp>

namespace tessik::clients::detail {
namespace {

struct CallPieces {
  std::string id, name, arguments;
  Value whole_arguments;  // set when a server sends the arguments as an object
};

// What a chunk read in place adds: the text and the tool-call argument
// pieces, escapes not yet undone.
struct ScannedChunk {
  std::string_view content;
  bool has_content = false;
  std::vector<std::pair<std::int64_t, std::string_view>> arguments;  // by call index
};

class ChatStream final : public ReplyStream {
 public:
  explicit ChatStream(bool scan_deltas) : scan_deltas_(scan_deltas) {}

  void event(std::string_view name, std::string_view data) override {
    if (done_) throw InvalidValueError("an event arrived after [DONE]");
    if (data == "[DONE]") {
      done_ = true;
      return;
    }
    if (scan_deltas_ && name != "error" && scanned_chunk(data)) return;
    const Value chunk = event_json(name, data);
    if (!chunk.is_mapping()) {
      throw InvalidValueError("a chunk of the stream is " + kind_phrase(chunk) + ", not an object");
    }
    if (chunk.find("error") || name == "error") throw_reported_error(chunk);
    chunks_ = true;
    if (const Value* usage = mapping_at(chunk, "usage")) usage_ = *usage;
    const Value* choices = chunk.find("choices");
    if (!choices || !choices->is_sequence() || choices->as_sequence().empty()) return;
    const Value& choice = choices->as_sequence().front();
    if (const Value* delta = mapping_at(choice, "delta")) take(*delta);
    if (const Value* f = choice.find("finish_reason"); f && !f->is_null()) finish_ = *f;
  }

  bool accepted() const noexcept override { return chunks_; }
  std::int64_t pieces() const noexcept override { return pieces_; }
  bool finished() const noexcept override { return done_ || !finish_.is_null(); }

  DecodedReply reply() override {
    Value::Mapping message{{"role", "assistant"}, {"content", has_text_ ? Value(text_) : Value()}};
    if (!refusal_.empty()) message.set("refusal", refusal_);
    if (!calls_.empty()) {
      Value::Sequence calls;
      for (auto& [index, c] : calls_) {
        Value arguments = c.whole_arguments.is_null() ? Value(c.arguments) : c.whole_arguments;
        calls.push_back(Value::Mapping{
            {"id", c.id},
            {"type", "function"},
            {"function", Value::Mapping{{"name", c.name}, {"arguments", std::move(arguments)}}}});
      }
      message.set("tool_calls", Value(std::move(calls)));
    }
    const Value root = Value::Mapping{
        {"choices",
         Value::Sequence{Value::Mapping{
             {"index", 0}, {"message", Value(std::move(message))}, {"finish_reason", finish_}}}},
        {"usage", usage_}};
    return decode_chat_completion(root, "");
  }

 private:
  // A chunk whose one choice's delta holds only a role, text or argument
  // pieces for calls already opened, without a finish reason, usage or
  // error, read in place; false, with nothing changed, for any other, which
  // then takes the full path.
  bool scanned_chunk(std::string_view data) {
    EventScan scan(data);
    ScannedChunk& got = scanned_;
    got.has_content = false;
    got.arguments.clear();
    SeenMembers seen;
    const auto delta = [&](std::string_view key) {
      if (key == "content") {
        if (!seen.first(16)) return false;
        got.has_content = !scan.null();
        return !got.has_content || scan.string(got.content);
      }
      if (key == "role") return seen.first(32) && scan.scalar();
      if (key == "refusal") return seen.first(64) && scan.null();
      return key == "tool_calls" && seen.first(128) &&
             scan.array([&] { return scanned_call(scan, got); });
    };
    const auto choice = [&](std::string_view key) {
      if (key == "index") return seen.first(256) && scan.scalar();
      if (key == "delta") return seen.first(512) && scan.object(delta);
      if (key == "finish_reason") return seen.first(1024) && scan.null();
      return key == "logprobs" && seen.first(2048) && scan.null();
    };
    const bool read = scan.object([&](std::string_view key) {
      if (key == "choices") {
        return seen.first(1) && scan.array([&] { return seen.first(2) && scan.object(choice); });
      }
      if (key == "usage") return seen.first(4) && scan.null();
      return key != "error" && scan.scalar();
    });
    if (!read || !scan.at_end() || !seen.all(2)) return false;
    chunks_ = true;
    if (got.has_content) {
      append_unescaped(text_, got.content);
      has_text_ = true;
      ++pieces_;
    }
    for (const auto& [index, arguments] : got.arguments) {
      append_unescaped(calls_.find(index)->second.arguments, arguments);
      ++pieces_;
    }
    return true;
  }

  // One tool-call piece holding only its index, type and a piece of the
  // arguments of a call already opened.
  bool scanned_call(EventScan& scan, ScannedChunk& got) const {
    std::int64_t index = -1;
    std::string_view arguments;
    SeenMembers seen;
    const auto function = [&](std::string_view key) {
      return key == "arguments" && seen.first(4) && scan.string(arguments);
    };
    const bool read = scan.object([&](std::string_view key) {
      if (key == "index") return seen.first(1) && scan.integer(index);
      if (key == "type") return seen.first(2) && scan.scalar();
      return key == "function" && seen.first(8) && scan.object(function);
    });
    if (!read || !seen.all(1 | 4 | 8) || !calls_.contains(index)) return false;
    got.arguments.emplace_back(index, arguments);
    return true;
  }

  void take(const Value& delta) {
    if (const Value* content = delta.find("content"); content && content->is_string()) {
      text_ += content->as_string();
      has_text_ = true;
      ++pieces_;
    }
    if (const Value* refusal = delta.find("refusal"); refusal && refusal->is_string()) {
      refusal_ += refusal->as_string();
    }
    const Value* calls = delta.find("tool_calls");
    if (!calls || !calls->is_sequence()) return;
    for (const Value& piece : calls->as_sequence()) take_call(piece);
  }

  void take_call(const Value& piece) {
    const Value* index = piece.find("index");
    // Without an index (some local servers) every piece is a whole call.
    const std::int64_t i =
        index && index->is_int() ? index->as_int() : static_cast<std::int64_t>(calls_.size());
    const Value* function = mapping_at(piece, "function");
    auto found = calls_.find(i);
    if (found == calls_.end()) {
      const std::string name = function ? text_at(*function, "name") : std::string();
      if (name.empty()) {
        throw InvalidValueError("a tool-call piece for index " + std::to_string(i) +
                                " arrived before that call was opened with a function name");
      }
      found = calls_.emplace(i, CallPieces{}).first;
    }
    CallPieces& c = found->second;
    if (c.id.empty()) c.id = text_at(piece, "id");
    if (!function) return;
    if (c.name.empty()) c.name = text_at(*function, "name");
    if (const Value* a = function->find("arguments")) {
      if (a->is_string()) {
        c.arguments += a->as_string();
      } else if (!a->is_null()) {
        c.whole_arguments = *a;
      }
    }
    ++pieces_;
  }

  bool scan_deltas_;
  ScannedChunk scanned_;  // kept to reuse its buffer
  std::string text_, refusal_;
  bool has_text_ = false;
  std::map<std::int64_t, CallPieces> calls_;  // by index, in index order
  Value finish_, usage_;
  std::int64_t pieces_ = 0;
  bool chunks_ = false, done_ = false;
};

}  // namespace

std::unique_ptr<ReplyStream> chat_reply_stream() { return std::make_unique<ChatStream>(true); }

std::unique_ptr<ReplyStream> chat_reply_stream_parsed() {
  return std::make_unique<ChatStream>(false);
}

}  // namespace tessik::clients::detail
