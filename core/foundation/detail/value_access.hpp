// Direct construction of Value trees for the library's parsers: strings and
// containers are built in place instead of through temporary Values, and a
// parser that has already ruled out a repeated key appends without a scan.
// Code that owns a tree can also take a string out of it without a copy.
// Not for use outside the library.
#ifndef TESSIK_FOUNDATION_DETAIL_VALUE_ACCESS_HPP_
#define TESSIK_FOUNDATION_DETAIL_VALUE_ACCESS_HPP_

#include <cstddef>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <variant>

#include <tessik/foundation/value.hpp>

namespace tessik {

// A mapping of this many entries or more keeps a hash index of its keys;
// below it a linear scan of the keys beats hashing them, and most mappings
// (definition files, finding items) are smaller.
inline constexpr std::size_t kMappingIndexThreshold = 24;

struct ValueAccess {
  // Each `make_*` turns a null `v` into the given kind and returns the new
  // content. `v` must be null: nothing it held would be freed safely.
  static void make_string(Value& v, std::string_view s) { v.data_.emplace<std::string>(s); }
  // `T` is bool, std::int64_t or double.
  template <class T>
  static void make_scalar(Value& v, T scalar) {
    v.data_.emplace<T>(scalar);
  }
  static Value::Sequence& make_sequence(Value& v, std::size_t capacity) {
    Value::Sequence& out = v.data_.emplace<Value::Sequence>();
    out.reserve(capacity);
    return out;
  }
  static Value::Mapping& make_mapping(Value& v, std::size_t capacity) {
    Value::Mapping& out = v.data_.emplace<Value::Mapping>();
    out.reserve(capacity);
    return out;
  }

  // The string of `v`, which must be a string, moved out; `v` becomes null.
  static std::string take_string(Value& v) {
    std::string out = std::move(std::get<std::string>(v.data_));
    v.data_.emplace<std::monostate>();
    return out;
  }

  // A new null value under the string `key`, placed last. The caller
  // guarantees that `key` is not in `m` yet.
  static Value& append_new_key(Value::Mapping& m, std::string_view key) {
    m.entries_.emplace_back(std::piecewise_construct, std::forward_as_tuple(key),
                            std::forward_as_tuple());
    if (m.index_ != nullptr || m.entries_.size() >= kMappingIndexThreshold) m.added_last();
    return m.entries_.back().second;
  }
};

}  // namespace tessik

#endif  // TESSIK_FOUNDATION_DETAIL_VALUE_ACCESS_HPP_
