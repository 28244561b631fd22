#include <tessik/clients/detail/messages_stream.hpp>

#include <string>
#include <utility>
#include <vector>

#include <tessik/clients/detail/event_scan.hpp>
#include <tessik/clients/detail/messages_wire.hpp>
#include <tessik/clients/detail/wire_values.hpp>
#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/json.hpp>

namespace tessik::clients::detail {
namespace {

// One content block as it arrives: its start, and the pieces of each field
// that deltas extend.
struct Block {
  Value start;
  std::string text{}, thinking{}, signature{}, json{};
  Value::Sequence citations{};
  bool open = true;
  bool has_json = false;
};

// A text delta's piece at `key`; InvalidValueError when it is not text.
const std::string& piece(const Value& delta, const char* key, std::size_t index) {
  const Value* v = delta.find(key);
  if (!v || !v->is_string()) {
    throw InvalidValueError("a " + text_at(delta, "type") + " for content block " +
                            std::to_string(index) + " has no text \"" + key + "\"");
  }
  return v->as_string();
}

void append_to(Value::Mapping& block, const char* key, const std::string& more) {
  const Value* old = block.find(key);
  block.set(key, (old && old->is_string() ? old->as_string() : std::string()) + more);
}

// The block as the non-streamed reply carries it.
Value finished_block(Block& b) {
  Value::Mapping m = std::move(b.start.as_mapping());
  if (!b.text.empty()) append_to(m, "text", b.text);
  if (!b.thinking.empty()) append_to(m, "thinking", b.thinking);
  if (!b.signature.empty()) append_to(m, "signature", b.signature);
  if (!b.citations.empty()) {
    const Value* old = m.find("citations");
    Value::Sequence all = old && old->is_sequence() ? old->as_sequence() : Value::Sequence{};
    for (Value& c : b.citations) all.push_back(std::move(c));
    m.set("citations", Value(std::move(all)));
  }
  if (b.has_json) {
    try {
      m.set("input", parse_json(b.json));
    } catch (const Error&) {
      m.set("input", b.json);  // refused by the decoder as a non-object input
    }
  }
  return {std::move(m)};
}

class MessagesStream final : public ReplyStream {
 public:
  explicit MessagesStream(bool scan_deltas) : scan_deltas_(scan_deltas) {}

  void event(std::string_view name, std::string_view data) override {
    if (name == "ping") return;
    if (scan_deltas_ && name == "content_block_delta" && scanned_delta(data)) return;
    const Value e = event_json(name, data);
    if (name == "error" || text_at(e, "type") == "error") throw_reported_error(e);
    std::string type = text_at(e, "type");
    if (type.empty()) type = name;
    if (finished_) {
      throw InvalidValueError("event '" + type + "' arrived after message_stop");
    }
    if (type == "message_start") return start(e);
    if (message_.is_null()) {
      throw InvalidValueError("event '" + type + "' arrived before message_start");
    }
    if (type == "content_block_start") return open_block(e);
    if (type == "content_block_delta") return delta(e);
    if (type == "content_block_stop") return (void)(open(e, type).open = false);
    if (type == "message_delta") return message_delta(e);
    if (type == "message_stop") return stop();
    // Event kinds added to the protocol later carry nothing read here.
  }

  bool accepted() const noexcept override { return !message_.is_null(); }
  std::int64_t pieces() const noexcept override { return pieces_; }
  bool finished() const noexcept override { return finished_; }

  DecodedReply reply() override {
    Value::Sequence content;
    content.reserve(blocks_.size());
    for (Block& b : blocks_) content.push_back(finished_block(b));
    message_.as_mapping().set("content", Value(std::move(content)));
    return decode_messages_message(message_, "");
  }

 private:
  void start(const Value& e) {
    const Value* message = mapping_at(e, "message");
    if (!message) throw InvalidValueError("message_start has no message object");
    if (!message_.is_null()) throw InvalidValueError("a second message_start arrived");
    message_ = *message;
  }

  void open_block(const Value& e) {
    const Value* index = e.find("index");
    if (!index || !index->is_int() ||
        index->as_int() != static_cast<std::int64_t>(blocks_.size())) {
      throw InvalidValueError("content block " + (index ? to_json(*index) : std::string("?")) +
                              " started out of order: block " + std::to_string(blocks_.size()) +
                              " was next");
    }
    const Value* block = mapping_at(e, "content_block");
    if (!block) throw InvalidValueError("content_block_start has no content_block object");
    blocks_.push_back({.start = *block});
  }

  Block& open(const Value& e, const std::string& type) {
    const Value* index = e.find("index");
    const std::int64_t i = index && index->is_int() ? index->as_int() : -1;
    if (i < 0 || i >= static_cast<std::int64_t>(blocks_.size()) ||
        !blocks_[static_cast<std::size_t>(i)].open) {
      throw InvalidValueError(type + " for content block " +
                              (index ? to_json(*index) : std::string("?")) + ", which is not open");
    }
    return blocks_[static_cast<std::size_t>(i)];
  }

  void delta(const Value& e) {
    Block& b = open(e, "content_block_delta");
    const Value* d = mapping_at(e, "delta");
    if (!d) throw InvalidValueError("content_block_delta has no delta object");
    const std::string kind = text_at(*d, "type");
    const auto index = static_cast<std::size_t>(&b - blocks_.data());
    if (kind == "text_delta") {
      b.text += piece(*d, "text", index);
    } else if (kind == "input_json_delta") {
      b.json += piece(*d, "partial_json", index);
      b.has_json = true;
    } else if (kind == "thinking_delta") {
      b.thinking += piece(*d, "thinking", index);
    } else if (kind == "signature_delta") {
      b.signature += piece(*d, "signature", index);
    } else if (kind == "citations_delta") {
      if (const Value* c = d->find("citation")) b.citations.push_back(*c);
    }
    ++pieces_;
  }

  // A text or tool-input delta for an open block, read in place; false,
  // with nothing changed, for any other event and any delta in another
  // shape, which then takes the full path.
  bool scanned_delta(std::string_view data) {
    if (finished_ || message_.is_null()) return false;
    EventScan scan(data);
    std::string_view type, kind, piece;
    std::int64_t index = -1;
    bool json = false;
    SeenMembers seen;
    const auto delta_member = [&](std::string_view key) {
      if (key == "type") return seen.first(8) && scan.string(kind);
      json = key == "partial_json";
      return (json || key == "text") && seen.first(16) && scan.string(piece);
    };
    const bool read = scan.object([&](std::string_view key) {
      if (key == "type") return seen.first(1) && scan.string(type);
      if (key == "index") return seen.first(2) && scan.integer(index);
      return key == "delta" && seen.first(4) && scan.object(delta_member);
    });
    if (!read || !scan.at_end() || !seen.all(31) || type != "content_block_delta" ||
        kind != (json ? "input_json_delta" : "text_delta") ||
        index >= static_cast<std::int64_t>(blocks_.size()) ||
        !blocks_[static_cast<std::size_t>(index)].open) {
      return false;
    }
    Block& b = blocks_[static_cast<std::size_t>(index)];
    append_unescaped(json ? b.json : b.text, piece);
    b.has_json = b.has_json || json;
    ++pieces_;
    return true;
  }

  void message_delta(const Value& e) {
    Value::Mapping& m = message_.as_mapping();
    if (const Value* d = mapping_at(e, "delta")) {
      for (const auto& [key, value] : d->as_mapping()) m.set(key, value);
    }
    // The counts are running totals: each replaces the one before.
    if (const Value* usage = mapping_at(e, "usage")) {
      const Value* old = mapping_at(message_, "usage");
      Value::Mapping merged = old ? old->as_mapping() : Value::Mapping{};
      for (const auto& [key, value] : usage->as_mapping()) {
        if (!value.is_null()) merged.set(key, value);
      }
      m.set("usage", Value(std::move(merged)));
    }
  }

  void stop() {
    for (std::size_t i = 0; i < blocks_.size(); ++i) {
      if (blocks_[i].open) {
        throw InvalidValueError("message_stop arrived while content block " + std::to_string(i) +
                                " was still open");
      }
    }
    finished_ = true;
  }

  bool scan_deltas_;
  Value message_;  // null until message_start
  std::vector<Block> blocks_;
  std::int64_t pieces_ = 0;
  bool finished_ = false;
};

}  // namespace

std::unique_ptr<ReplyStream> messages_reply_stream() {
  return std::make_unique<MessagesStream>(true);
}

std::unique_ptr<ReplyStream> messages_reply_stream_parsed() {
  return std::make_unique<MessagesStream>(false);
}

}  // namespace tessik::clients::detail
