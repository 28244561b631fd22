#include <tessik/clients/detail/chat_stream.hpp>

#include <map>
#include <string>
#include <utility>

#include <tessik/clients/detail/chat_wire.hpp>
#include <tessik/clients/detail/wire_values.hpp>
#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/json.hpp>

namespace tessik::clients::detail {
namespace {

struct CallPieces {
  std::string id, name, arguments;
  Value whole_arguments;  // set when a server sends the arguments as an object
};

class ChatStream final : public ReplyStream {
 public:
  void event(std::string_view name, std::string_view data) override {
    if (done_) throw InvalidValueError("an event arrived after [DONE]");
    if (data == "[DONE]") {
      done_ = true;
      return;
    }
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

  std::string text_, refusal_;
  bool has_text_ = false;
  std::map<std::int64_t, CallPieces> calls_;  // by index, in index order
  Value finish_, usage_;
  std::int64_t pieces_ = 0;
  bool chunks_ = false, done_ = false;
};

}  // namespace

std::unique_ptr<ReplyStream> chat_reply_stream() { return std::make_unique<ChatStream>(); }

}  // namespace tessik::clients::detail
