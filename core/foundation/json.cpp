// JSON text to and from Value: simdjson's parse walked once into the tree;
// nlohmann-json words the refusals and escapes strings for output.
#include <tessik/foundation/json.hpp>

#include <simdjson.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include <tessik/foundation/detail/json_sax.hpp>
#include <tessik/foundation/detail/short_key_hash.hpp>
#include <tessik/foundation/detail/tree_writer.hpp>
#include <tessik/foundation/detail/value_access.hpp>
#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/text.hpp>

namespace tessik {
namespace {

using Json = nlohmann::json;

// A parser per thread, kept between calls so that its buffers are allocated
// once; a text longer than this gets a parser of its own, freed after.
constexpr std::size_t kReusedParserBytes = std::size_t{4} << 20;

// The array or object being filled, and where its walk stands: `items` for
// an array, `fields` for an object. `keys` has one bit set per key of the
// object so far (by `key_bit`): a key whose bit is clear cannot be a repeat,
// and is appended without comparing it to the others.
struct Frame {
  Value::Sequence* items;
  Value::Mapping* fields;
  simdjson::dom::array::iterator next_item, end_item;
  simdjson::dom::object::iterator next_field, end_field;
  std::uint64_t keys;
};

// One of 64 bits for a key: the keys of one object rarely share it (those of
// a finding and of a reply never do).
std::uint64_t key_bit(std::string_view key) noexcept {
  return std::uint64_t{1} << (detail::short_key_hash(key) >> 31 & 63);
}

// Stores the element `e` in `out`, which is null. A scalar is stored whole;
// an array or object becomes an empty container with room for its items,
// and a frame to fill it is pushed when it has any.
void store(simdjson::dom::element e, Value& out, std::vector<Frame>& open) {
  using Type = simdjson::dom::element_type;
  switch (e.type()) {
    case Type::ARRAY: {
      const simdjson::dom::array items = e.get_array().value_unsafe();
      Value::Sequence& sequence = ValueAccess::make_sequence(out, items.size());
      if (items.begin() != items.end())
        open.push_back({&sequence, nullptr, items.begin(), items.end(), {}, {}, 0});
      return;
    }
    case Type::OBJECT: {
      const simdjson::dom::object fields = e.get_object().value_unsafe();
      Value::Mapping& mapping = ValueAccess::make_mapping(out, fields.size());
      if (fields.begin() != fields.end())
        open.push_back({nullptr, &mapping, {}, {}, fields.begin(), fields.end(), 0});
      return;
    }
    case Type::INT64:
      ValueAccess::make_scalar<std::int64_t>(out, e.get_int64().value_unsafe());
      return;
    case Type::UINT64:
      // Only values above the signed range are reported unsigned.
      ValueAccess::make_scalar<double>(out, static_cast<double>(e.get_uint64().value_unsafe()));
      return;
    case Type::DOUBLE:
      ValueAccess::make_scalar<double>(out, e.get_double().value_unsafe());
      return;
    case Type::STRING:
      ValueAccess::make_string(out, e.get_string().value_unsafe());
      return;
    case Type::BOOL:
      ValueAccess::make_scalar<bool>(out, e.get_bool().value_unsafe());
      return;
    case Type::NULL_VALUE:
      return;
  }
}

// The value under `key` for the object of `top` to fill, null: a new entry
// placed last, or, for a repeated key, the entry of its first occurrence,
// emptied (it takes the last value).
Value& field_slot(Frame& top, std::string_view key) {
  Value::Mapping& mapping = *top.fields;
  const std::uint64_t bit = key_bit(key);
  if ((top.keys & bit) != 0) {
    if (Value* earlier = mapping.find(key)) {
      *earlier = Value();
      return *earlier;
    }
  }
  top.keys |= bit;
  return ValueAccess::append_new_key(mapping, key);
}

// Builds the Value of a parsed document with an explicit stack of open
// containers; the parser has already capped the depth.
Value build(simdjson::dom::element root) {
  Value result;
  std::vector<Frame> open;
  // Room for the depth of a usual reply in one small allocation.
  open.reserve(8);
  store(root, result, open);
  while (!open.empty()) {
    Frame& top = open.back();
    if (top.fields != nullptr) {
      if (top.next_field == top.end_field) {
        open.pop_back();
        continue;
      }
      const simdjson::dom::key_value_pair field = *top.next_field;
      ++top.next_field;
      store(field.value, field_slot(top, field.key), open);
    } else {
      if (top.next_item == top.end_item) {
        open.pop_back();
        continue;
      }
      const simdjson::dom::element item = *top.next_item;
      ++top.next_item;
      store(item, top.items->emplace_back(), open);
    }
  }
  return result;
}

// The fast parser refused `text` with `error`. The event reader refuses it
// too and words why, naming the position; the exception is an integer beyond
// 64 bits, which the fast parser counts as a number error and the event
// reader reads as a double.
Value reread_refused(std::string_view text, simdjson::error_code error) {
  Value value = detail::parse_json_events(text);
  if (error == simdjson::NUMBER_ERROR) return value;
  throw InvalidValueError("malformed JSON: " + std::string(simdjson::error_message(error)));
}

void append_json_string(std::string_view s, std::string& out) {
  // Printable ASCII without quote or backslash needs no escaping, which is
  // what keys and most text are; the rest goes through the library.
  const bool plain = std::all_of(
      s.begin(), s.end(), [](char c) { return c >= 0x20 && c < 0x7F && c != '"' && c != '\\'; });
  if (plain) {
    out.push_back('"');
    out.append(s);
    out.push_back('"');
    return;
  }
  out += Json(std::string(s)).dump(-1, ' ', false, Json::error_handler_t::replace);
}

void append_json_scalar(const Value& v, std::string& out) {
  switch (v.kind()) {
    case Value::Kind::null:
      out += "null";
      break;
    case Value::Kind::boolean:
      out += v.as_bool() ? "true" : "false";
      break;
    case Value::Kind::integer:
      out += std::to_string(v.as_int());
      break;
    case Value::Kind::floating:
      // JSON has no spelling for NaN or the infinities.
      out += std::isfinite(v.as_float()) ? text_form(v) : "null";
      break;
    case Value::Kind::string:
      append_json_string(v.as_string(), out);
      break;
    default:
      break;
  }
}

// JSON object keys are strings: numbers are written in their text form,
// booleans and null as their JSON spelling; a container has no key form.
void append_json_key(const Value& v, std::string& out) {
  switch (v.kind()) {
    case Value::Kind::string:
      append_json_string(v.as_string(), out);
      return;
    case Value::Kind::null:
    case Value::Kind::boolean:
      out.push_back('"');
      append_json_scalar(v, out);
      out.push_back('"');
      return;
    case Value::Kind::integer:
    case Value::Kind::floating:
      append_json_string(text_form(v), out);
      return;
    default:
      throw TypeError("JSON object keys must be strings, numbers, booleans or null, not '" +
                      std::string(Value::kind_name(v.kind())) + "'");
  }
}

}  // namespace

Value parse_json(std::string_view text) {
  // A leading byte-order mark is skipped, the same as the event reader does.
  std::string_view body = text;
  if (body.starts_with("\xEF\xBB\xBF")) body.remove_prefix(3);
  thread_local simdjson::dom::parser reused;
  simdjson::dom::parser own;
  simdjson::dom::parser& parser = body.size() <= kReusedParserBytes ? reused : own;
  if (parser.capacity() < body.size() || parser.max_depth() != kJsonMaxDepth) {
    const std::size_t capacity = std::max<std::size_t>(body.size(), 4096);
    if (const simdjson::error_code error = parser.allocate(capacity, kJsonMaxDepth)) {
      return reread_refused(text, error);
    }
  }
  simdjson::dom::element root;
  if (const simdjson::error_code error = parser.parse(body.data(), body.size()).get(root)) {
    return reread_refused(text, error);
  }
  return build(root);
}

std::string to_json(const Value& v, int indent) {
  const detail::TreeStyle style{&append_json_scalar, &append_json_key, indent < 0 ? ", " : ",",
                                ": ", indent < 0 ? -1 : indent};
  std::string out;
  detail::write_tree(v, style, out);
  return out;
}

}  // namespace tessik
