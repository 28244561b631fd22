// JSON text to Value through nlohmann-json's SAX interface, for the texts
// the fast parser refuses.
#include <tessik/foundation/detail/json_sax.hpp>

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/json.hpp>

namespace tessik::detail {
namespace {

using Json = nlohmann::json;

// Builds a Value from SAX events with an explicit stack, so no input can
// recurse on the call stack; the nesting depth is capped.
class ValueBuilder final : public nlohmann::json_sax<Json> {
 public:
  bool null() override { return add(Value()); }
  bool boolean(bool b) override { return add(Value(b)); }
  bool number_integer(number_integer_t i) override { return add(Value(std::int64_t{i})); }
  bool number_unsigned(number_unsigned_t u) override {
    if (u > static_cast<number_unsigned_t>(INT64_MAX)) return add(Value(static_cast<double>(u)));
    return add(Value(static_cast<std::int64_t>(u)));
  }
  bool number_float(number_float_t d, const string_t& /*text*/) override { return add(Value(d)); }
  bool string(string_t& s) override { return add(Value(std::move(s))); }
  bool binary(binary_t& /*b*/) override { return false; }

  bool start_object(std::size_t /*n*/) override { return open(Value(Value::Mapping{})); }
  bool key(string_t& k) override {
    keys_.back() = Value(std::move(k));
    return true;
  }
  bool end_object() override { return close(); }
  bool start_array(std::size_t /*n*/) override { return open(Value(Value::Sequence{})); }
  bool end_array() override { return close(); }

  bool parse_error(std::size_t position, const std::string& /*token*/,
                   const nlohmann::detail::exception& ex) override {
    std::string what = ex.what();
    // Drop the library's "[json.exception.parse_error.101] " tag.
    if (const std::size_t tag_end = what.find("] ");
        !what.empty() && what[0] == '[' && tag_end != std::string::npos) {
      what.erase(0, tag_end + 2);
    }
    error_ = "malformed JSON: " + what;
    // Syntax errors name their line and column; the others (a number too
    // large for a double) get the byte position.
    if (dynamic_cast<const nlohmann::detail::parse_error*>(&ex) == nullptr) {
      error_ += " at byte " + std::to_string(position);
    }
    return false;
  }

  Value take_result() { return std::move(result_); }
  const std::string& error() const { return error_; }

 private:
  bool add(Value v) {
    if (stack_.empty()) {
      result_ = std::move(v);
      return true;
    }
    Value& top = stack_.back();
    if (top.is_sequence()) {
      top.as_sequence().push_back(std::move(v));
    } else {
      top.as_mapping().set(std::move(keys_.back()), std::move(v));
    }
    return true;
  }
  bool open(Value container) {
    if (stack_.size() >= kJsonMaxDepth) {
      error_ = "JSON nesting deeper than " + std::to_string(kJsonMaxDepth) + " levels";
      return false;
    }
    stack_.push_back(std::move(container));
    keys_.emplace_back();
    return true;
  }
  bool close() {
    Value done = std::move(stack_.back());
    stack_.pop_back();
    keys_.pop_back();
    return add(std::move(done));
  }

  std::vector<Value> stack_;
  std::vector<Value> keys_;
  Value result_;
  std::string error_;
};

}  // namespace

Value parse_json_events(std::string_view text) {
  // The library's lexer takes a NUL byte for the end of input, which would
  // accept "1<NUL>junk"; a raw NUL is never valid JSON, so the text is
  // parsed up to it and the NUL refused after.
  const std::size_t nul = text.find('\0');
  const std::string_view before_nul = text.substr(0, nul);
  ValueBuilder builder;
  const bool ok = Json::sax_parse(before_nul.begin(), before_nul.end(), &builder,
                                  nlohmann::detail::input_format_t::json, /*strict=*/true);
  if (!ok) {
    throw InvalidValueError(builder.error().empty() ? "malformed JSON" : builder.error());
  }
  if (nul != std::string_view::npos) {
    throw InvalidValueError("malformed JSON: NUL byte at byte " + std::to_string(nul + 1));
  }
  return builder.take_result();
}

}  // namespace tessik::detail
