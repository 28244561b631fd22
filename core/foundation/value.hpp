// A dynamic data tree: what YAML definition text and JSON model replies load
// into, and what fields of unknown kind are stored as.
//
//   Value def = Value::Mapping{{"name", "wynn"}, {"enabled", true}};
//   if (const Value* name = def.find("name")) std::cout << name->as_string();
//   for (const auto& [key, value] : def.as_mapping()) { ... }
//
// A Value is null, a boolean, a 64-bit integer, a double, a string (bytes,
// UTF-8 in practice), a sequence of Values, or a mapping from Value keys
// (strings in practice) to Values that keeps insertion order. A mapping tells
// an absent key (`find` returns nullptr) from a key present with null.
//
// Equality is structural. Integers and doubles compare by numeric value
// (1 == 1.0, so they are also the same mapping key); booleans equal only
// booleans; NaN equals nothing; mappings are equal when they hold the same
// keys with equal values, in any order; sequences compare element-wise.
//
// Deep trees: copying, comparing and destroying never recurse on the call
// stack, so a tree nested 100,000 levels deep (built by hand) is safe to copy,
// compare and destroy. The loaders refuse to build trees deeper than their own
// documented limits.
//
// Thread safety: like a standard container. Concurrent const access is safe;
// any mutation needs exclusive access.
#ifndef TESSIK_FOUNDATION_VALUE_HPP_
#define TESSIK_FOUNDATION_VALUE_HPP_

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace tessik {

// The library's own tree builders' access to a Value's content; defined in
// an internal header.
struct ValueAccess;

class Value {
 public:
  enum class Kind { null, boolean, integer, floating, string, sequence, mapping };
  using Sequence = std::vector<Value>;

  // An insertion-ordered mapping. Setting an existing key replaces its value
  // and keeps its position. A small mapping is a plain vector of entries
  // searched in order; a hash index is allocated only once it grows past a
  // few dozen entries, so lookups stay constant time on average.
  class Mapping {
   public:
    using Entry = std::pair<Value, Value>;
    using const_iterator = std::vector<Entry>::const_iterator;

    Mapping() noexcept;
    // Later entries with a repeated key replace the value of the first.
    Mapping(std::initializer_list<Entry> entries);
    Mapping(const Mapping& other);
    Mapping(Mapping&& other) noexcept;
    Mapping& operator=(const Mapping& other);
    Mapping& operator=(Mapping&& other) noexcept;
    ~Mapping();

    std::size_t size() const noexcept { return entries_.size(); }
    bool empty() const noexcept { return entries_.empty(); }
    const_iterator begin() const noexcept { return entries_.begin(); }
    const_iterator end() const noexcept { return entries_.end(); }
    // Room for `count` entries without reallocating; a builder that knows
    // the size calls it first.
    void reserve(std::size_t count) { entries_.reserve(count); }

    // The value stored under `key`, or nullptr when the key is absent.
    const Value* find(const Value& key) const;
    Value* find(const Value& key);
    const Value* find(std::string_view key) const;
    Value* find(std::string_view key);
    const Value* find(const char* key) const { return find(std::string_view(key)); }
    Value* find(const char* key) { return find(std::string_view(key)); }
    bool contains(const Value& key) const { return find(key) != nullptr; }
    bool contains(std::string_view key) const { return find(key) != nullptr; }
    bool contains(const char* key) const { return find(key) != nullptr; }

    // Stores `value` under `key`: a new key goes last, an existing key keeps
    // its position and takes the new value.
    void set(Value key, Value value);

    // The value under the string `key` for a builder to fill: the existing
    // value when the key is present, else a new null value placed last. The
    // reference stays valid until the next entry is added (or for good when
    // `reserve` made room).
    Value& slot(std::string_view key);

    // The value under `key`; throws InvalidValueError naming the key when it
    // is absent.
    const Value& at(const Value& key) const;
    const Value& at(std::string_view key) const;
    const Value& at(const char* key) const { return at(std::string_view(key)); }

   private:
    friend class Value;
    friend struct ValueAccess;
    struct Index;
    std::ptrdiff_t index_of(const Value& key) const;
    std::ptrdiff_t index_of(std::string_view key) const;
    void added_last();

    std::vector<Entry> entries_;
    // Key hash -> positions in entries_; null while the mapping is small.
    std::unique_ptr<Index> index_;
  };

  Value() noexcept = default;
  Value(std::nullptr_t) noexcept {}                       // NOLINT(google-explicit-constructor)
  Value(bool b) noexcept : data_(b) {}                    // NOLINT(google-explicit-constructor)
  Value(double d) noexcept : data_(d) {}                  // NOLINT(google-explicit-constructor)
  Value(std::string s) noexcept : data_(std::move(s)) {}  // NOLINT(google-explicit-constructor)
  Value(std::string_view s) : data_(std::string(s)) {}    // NOLINT(google-explicit-constructor)
  Value(const char* s) : data_(std::string(s)) {}         // NOLINT(google-explicit-constructor)
  Value(Sequence s) noexcept : data_(std::move(s)) {}     // NOLINT(google-explicit-constructor)
  Value(Mapping m) noexcept : data_(std::move(m)) {}      // NOLINT(google-explicit-constructor)
  // Any integer type except bool. Throws OverflowError for an unsigned value
  // above the 64-bit signed range.
  template <class T>
  requires(std::is_integral_v<T> && !std::is_same_v<T, bool>) Value(T i)
      : data_(checked_int(i)) {}  // NOLINT(google-explicit-constructor)

  Value(const Value& other);
  // A moved-from Value is null.
  Value(Value&& other) noexcept : data_(std::move(other.data_)) {
    other.data_.template emplace<std::monostate>();
  }
  Value& operator=(const Value& other);
  Value& operator=(Value&& other) noexcept {
    // A scalar holds nothing `other` could live in, so it takes the content
    // directly; a container goes the careful way.
    if (kind() >= Kind::sequence) return assign_to_container(std::move(other));
    data_ = std::move(other.data_);
    other.data_.template emplace<std::monostate>();
    return *this;
  }
  ~Value() {
    if (kind() >= Kind::sequence) release_children();
  }

  Kind kind() const noexcept { return static_cast<Kind>(data_.index()); }
  bool is_null() const noexcept { return kind() == Kind::null; }
  bool is_bool() const noexcept { return kind() == Kind::boolean; }
  bool is_int() const noexcept { return kind() == Kind::integer; }
  bool is_float() const noexcept { return kind() == Kind::floating; }
  // An integer or a double; never a boolean.
  bool is_number() const noexcept { return is_int() || is_float(); }
  bool is_string() const noexcept { return kind() == Kind::string; }
  bool is_sequence() const noexcept { return kind() == Kind::sequence; }
  bool is_mapping() const noexcept { return kind() == Kind::mapping; }

  // Each accessor throws TypeError when the value is of another kind.
  bool as_bool() const { return get<bool>(Kind::boolean); }
  std::int64_t as_int() const { return get<std::int64_t>(Kind::integer); }
  double as_float() const { return get<double>(Kind::floating); }
  const std::string& as_string() const { return get<std::string>(Kind::string); }
  const Sequence& as_sequence() const { return get<Sequence>(Kind::sequence); }
  Sequence& as_sequence() { return get<Sequence>(Kind::sequence); }
  const Mapping& as_mapping() const { return get<Mapping>(Kind::mapping); }
  Mapping& as_mapping() { return get<Mapping>(Kind::mapping); }

  // The truth value: false, null, 0, 0.0, "", an empty sequence and an empty
  // mapping are false; everything else is true.
  bool truthy() const noexcept;

  // Mapping lookup; nullptr when the key is absent or this is not a mapping.
  const Value* find(std::string_view key) const;

  friend bool operator==(const Value& a, const Value& b);

  // The kind's name as shown in messages: "NoneType", "bool", "int",
  // "float", "str", "list", "dict".
  static std::string_view kind_name(Kind kind) noexcept;

 private:
  template <class T>
  static std::int64_t checked_int(T i) {
    if constexpr (std::is_unsigned_v<T> && sizeof(T) >= sizeof(std::int64_t)) {
      if (i > static_cast<T>(INT64_MAX)) throw_unsigned_overflow();
    }
    return static_cast<std::int64_t>(i);
  }
  [[noreturn]] static void throw_unsigned_overflow();
  [[noreturn]] void throw_kind(Kind wanted) const;
  // The content as a `T`, which is the kind `kind`; throws TypeError for
  // another kind.
  template <class T>
  const T& get(Kind kind) const {
    if (const T* content = std::get_if<T>(&data_)) return *content;
    throw_kind(kind);
  }
  template <class T>
  T& get(Kind kind) {
    if (T* content = std::get_if<T>(&data_)) return *content;
    throw_kind(kind);
  }
  bool has_nested_containers() const noexcept;
  friend struct ValueAccess;
  void copy_from(const Value& other);
  Value& assign_to_container(Value&& other) noexcept;
  void release_children() noexcept;
  static void release_nested(Value& v, int budget, std::vector<Value>& pending) noexcept;

  std::variant<std::monostate, bool, std::int64_t, double, std::string, Sequence, Mapping> data_;
};

// Hash consistent with equality (1 and 1.0 hash alike), seeded per process so that keys cannot be
// chosen to collide. Containers hash by kind and size only, so hashing is constant-depth.
std::size_t hash_value(const Value& v) noexcept;

}  // namespace tessik

#endif  // TESSIK_FOUNDATION_VALUE_HPP_
