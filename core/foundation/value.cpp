#include <tessik/foundation/value.hpp>

#include <cmath>
#include <functional>
#include <random>
#include <string>
#include <unordered_map>

#include <tessik/foundation/detail/value_access.hpp>
#include <tessik/foundation/errors.hpp>

namespace tessik {
namespace {

bool is_container(const Value& v) noexcept { return v.is_sequence() || v.is_mapping(); }

// Numeric equality across integers and doubles without losing precision
// (a double equal to 2^63 is not equal to any int64).
bool int_equals_float(std::int64_t i, double d) noexcept {
  if (!std::isfinite(d) || d != std::trunc(d)) return false;
  if (d < -9223372036854775808.0 || d >= 9223372036854775808.0) return false;
  return static_cast<std::int64_t>(d) == i;
}

// Compares two scalars (or the kind and size of two containers).
bool shallow_equal(const Value& a, const Value& b) noexcept {
  using K = Value::Kind;
  const K ka = a.kind();
  const K kb = b.kind();
  if (ka == K::integer && kb == K::floating) return int_equals_float(a.as_int(), b.as_float());
  if (ka == K::floating && kb == K::integer) return int_equals_float(b.as_int(), a.as_float());
  if (ka != kb) return false;
  switch (ka) {
    case K::null:
      return true;
    case K::boolean:
      return a.as_bool() == b.as_bool();
    case K::integer:
      return a.as_int() == b.as_int();
    case K::floating:
      return a.as_float() == b.as_float();
    case K::string:
      return a.as_string() == b.as_string();
    case K::sequence:
      return a.as_sequence().size() == b.as_sequence().size();
    case K::mapping:
      return a.as_mapping().size() == b.as_mapping().size();
  }
  return false;
}

// Keys come from untrusted files and replies: every hash goes through a
// finaliser keyed by a per-process seed, so nobody can pick keys offline that
// all land in one bucket of a mapping's index.
std::uint64_t mix(std::uint64_t x) noexcept {
  static const std::uint64_t seed = [] {
    std::random_device device;
    return (static_cast<std::uint64_t>(device()) << 32) ^ device();
  }();
  x ^= seed;
  x ^= x >> 30;
  x *= 0xbf58476d1ce4e5b9ULL;
  x ^= x >> 27;
  x *= 0x94d049bb133111ebULL;
  x ^= x >> 31;
  return x;
}

std::size_t hash_string(std::string_view s) noexcept {
  return mix(std::hash<std::string_view>{}(s));
}

}  // namespace

std::size_t hash_value(const Value& v) noexcept {
  using K = Value::Kind;
  switch (v.kind()) {
    case K::null:
      return 0x9e3779b97f4a7c15ULL;
    case K::boolean:
      return v.as_bool() ? 0x51ed27ULL : 0x51ed26ULL;
    case K::integer:
      return mix(static_cast<std::uint64_t>(v.as_int()));
    case K::floating: {
      const double d = v.as_float();
      if (std::isfinite(d) && d == std::trunc(d) && d >= -9223372036854775808.0 &&
          d < 9223372036854775808.0) {
        return mix(static_cast<std::uint64_t>(static_cast<std::int64_t>(d)));
      }
      return mix(std::hash<double>{}(d));
    }
    case K::string:
      return hash_string(v.as_string());
    case K::sequence:
      return 0x5e9ULL ^ v.as_sequence().size();
    case K::mapping:
      return 0x3a9ULL ^ v.as_mapping().size();
  }
  return 0;
}

// ---- Mapping ----------------------------------------------------------------

struct Value::Mapping::Index {
  std::unordered_multimap<std::size_t, std::size_t> positions;
};

Value::Mapping::Mapping() noexcept = default;
Value::Mapping::Mapping(Mapping&& other) noexcept = default;
Value::Mapping& Value::Mapping::operator=(Mapping&& other) noexcept = default;
Value::Mapping::~Mapping() = default;

Value::Mapping::Mapping(const Mapping& other)
    : entries_(other.entries_),
      index_(other.index_ ? std::make_unique<Index>(*other.index_) : nullptr) {}

Value::Mapping& Value::Mapping::operator=(const Mapping& other) {
  if (this != &other) *this = Mapping(other);
  return *this;
}

Value::Mapping::Mapping(std::initializer_list<Entry> entries) {
  entries_.reserve(entries.size());
  for (const Entry& e : entries) set(e.first, e.second);
}

std::ptrdiff_t Value::Mapping::index_of(const Value& key) const {
  if (key.is_string()) return index_of(std::string_view(key.as_string()));
  if (!index_) {
    for (std::size_t i = 0; i < entries_.size(); ++i) {
      if (entries_[i].first == key) return static_cast<std::ptrdiff_t>(i);
    }
    return -1;
  }
  auto [first, last] = index_->positions.equal_range(hash_value(key));
  for (auto it = first; it != last; ++it) {
    if (entries_[it->second].first == key) return static_cast<std::ptrdiff_t>(it->second);
  }
  return -1;
}

std::ptrdiff_t Value::Mapping::index_of(std::string_view key) const {
  const auto matches = [key](const Value& k) {
    const auto* s = std::get_if<std::string>(&k.data_);
    // The first byte settles most mismatches of keys of equal length.
    return s != nullptr && s->size() == key.size() &&
           (key.empty() || ((*s)[0] == key[0] && std::string_view(*s) == key));
  };
  if (!index_) {
    for (std::size_t i = 0; i < entries_.size(); ++i) {
      if (matches(entries_[i].first)) return static_cast<std::ptrdiff_t>(i);
    }
    return -1;
  }
  auto [first, last] = index_->positions.equal_range(hash_string(key));
  for (auto it = first; it != last; ++it) {
    if (matches(entries_[it->second].first)) return static_cast<std::ptrdiff_t>(it->second);
  }
  return -1;
}

// Keeps the index up to date after an entry was appended, creating it when
// the mapping has just grown past the linear-scan size.
void Value::Mapping::added_last() {
  if (index_) {
    index_->positions.emplace(hash_value(entries_.back().first), entries_.size() - 1);
  } else if (entries_.size() >= kMappingIndexThreshold) {
    index_ = std::make_unique<Index>();
    index_->positions.reserve(entries_.size() * 2);
    for (std::size_t p = 0; p < entries_.size(); ++p) {
      index_->positions.emplace(hash_value(entries_[p].first), p);
    }
  }
}

const Value* Value::Mapping::find(const Value& key) const {
  const std::ptrdiff_t i = index_of(key);
  return i < 0 ? nullptr : &entries_[static_cast<std::size_t>(i)].second;
}

Value* Value::Mapping::find(const Value& key) {
  return const_cast<Value*>(std::as_const(*this).find(key));
}

const Value* Value::Mapping::find(std::string_view key) const {
  const std::ptrdiff_t i = index_of(key);
  return i < 0 ? nullptr : &entries_[static_cast<std::size_t>(i)].second;
}

Value* Value::Mapping::find(std::string_view key) {
  return const_cast<Value*>(std::as_const(*this).find(key));
}

void Value::Mapping::set(Value key, Value value) {
  const std::ptrdiff_t i = index_of(key);
  if (i >= 0) {
    entries_[static_cast<std::size_t>(i)].second = std::move(value);
    return;
  }
  entries_.emplace_back(std::move(key), std::move(value));
  added_last();
}

Value& Value::Mapping::slot(std::string_view key) {
  const std::ptrdiff_t i = index_of(key);
  if (i >= 0) return entries_[static_cast<std::size_t>(i)].second;
  entries_.emplace_back(Value(std::string(key)), Value());
  added_last();
  return entries_.back().second;
}

const Value& Value::Mapping::at(const Value& key) const {
  if (const Value* v = find(key)) return *v;
  throw InvalidValueError(
      key.is_string() ? "key not found: '" + key.as_string() + "'"
                      : "key not found (a " + std::string(Value::kind_name(key.kind())) + " key)");
}

const Value& Value::Mapping::at(std::string_view key) const {
  if (const Value* v = find(key)) return *v;
  throw InvalidValueError("key not found: '" + std::string(key) + "'");
}

// ---- Value: copying and destruction without recursion ----------------------

bool Value::has_nested_containers() const noexcept {
  if (const auto* s = std::get_if<Sequence>(&data_)) {
    for (const Value& c : *s) {
      if (is_container(c)) return true;
    }
  } else if (const auto* m = std::get_if<Mapping>(&data_)) {
    for (const Mapping::Entry& e : m->entries_) {
      if (is_container(e.first) || is_container(e.second)) return true;
    }
  }
  return false;
}

void Value::copy_from(const Value& other) {
  if (!is_container(other) || !other.has_nested_containers()) {
    data_ = other.data_;
    return;
  }
  // Explicit work list of (source, destination) pairs: each step copies one
  // node's shell and queues its children.
  std::vector<std::pair<const Value*, Value*>> work{{&other, this}};
  while (!work.empty()) {
    auto [src, dst] = work.back();
    work.pop_back();
    if (const auto* s = std::get_if<Sequence>(&src->data_)) {
      Sequence& out = dst->data_.emplace<Sequence>(s->size());
      for (std::size_t i = 0; i < s->size(); ++i) work.emplace_back(&(*s)[i], &out[i]);
    } else if (const auto* m = std::get_if<Mapping>(&src->data_)) {
      Mapping& out = dst->data_.emplace<Mapping>();
      out.entries_.resize(m->entries_.size());
      if (m->index_) out.index_ = std::make_unique<Mapping::Index>(*m->index_);
      for (std::size_t i = 0; i < m->entries_.size(); ++i) {
        work.emplace_back(&m->entries_[i].first, &out.entries_[i].first);
        work.emplace_back(&m->entries_[i].second, &out.entries_[i].second);
      }
    } else {
      dst->data_ = src->data_;
    }
  }
}

namespace {

// How deep destruction recurses before it moves containers to a heap list:
// trees as deep as definitions and replies are freed in one walk, a deeper
// one with constant stack.
constexpr int kReleaseRecursion = 64;

}  // namespace

// Leaves `v` with no container below its direct children: the direct
// children's own subtrees are freed, recursing at most `budget` levels, and
// anything deeper is moved to `pending` to be freed later.
void Value::release_nested(Value& v, int budget, std::vector<Value>& pending) noexcept {
  const auto release_child = [&](Value& c) {
    if (!is_container(c)) return;
    if (budget == 0) {
      pending.push_back(std::move(c));
      return;
    }
    release_nested(c, budget - 1, pending);
    c.data_.emplace<std::monostate>();
  };
  if (auto* s = std::get_if<Sequence>(&v.data_)) {
    for (Value& c : *s) release_child(c);
  } else if (auto* m = std::get_if<Mapping>(&v.data_)) {
    for (Mapping::Entry& e : m->entries_) {
      release_child(e.first);
      release_child(e.second);
    }
  }
}

void Value::release_children() noexcept {
  std::vector<Value> pending;
  release_nested(*this, kReleaseRecursion, pending);
  while (!pending.empty()) {
    Value v = std::move(pending.back());
    pending.pop_back();
    release_nested(v, kReleaseRecursion, pending);
  }
}

Value::Value(const Value& other) { copy_from(other); }

Value& Value::operator=(const Value& other) {
  if (this != &other) {
    Value copy(other);
    *this = std::move(copy);
  }
  return *this;
}

Value& Value::assign_to_container(Value&& other) noexcept {
  if (this == &other) return *this;
  // `other` may live inside this tree: it is detached first, and our old
  // content goes with `taken`, whose destructor frees it.
  Value taken(std::move(other));
  data_.swap(taken.data_);
  return *this;
}

// ---- Accessors --------------------------------------------------------------

std::string_view Value::kind_name(Kind kind) noexcept {
  switch (kind) {
    case Kind::null:
      return "NoneType";
    case Kind::boolean:
      return "bool";
    case Kind::integer:
      return "int";
    case Kind::floating:
      return "float";
    case Kind::string:
      return "str";
    case Kind::sequence:
      return "list";
    case Kind::mapping:
      return "dict";
  }
  return "object";
}

void Value::throw_unsigned_overflow() {
  throw OverflowError("integer too large to convert to a 64-bit signed integer");
}

void Value::throw_kind(Kind wanted) const {
  throw TypeError("expected " + std::string(kind_name(wanted)) + ", got " +
                  std::string(kind_name(kind())));
}

bool Value::truthy() const noexcept {
  switch (kind()) {
    case Kind::null:
      return false;
    case Kind::boolean:
      return std::get<bool>(data_);
    case Kind::integer:
      return std::get<std::int64_t>(data_) != 0;
    case Kind::floating:
      return std::get<double>(data_) != 0.0;  // NaN is true
    case Kind::string:
      return !std::get<std::string>(data_).empty();
    case Kind::sequence:
      return !std::get<Sequence>(data_).empty();
    case Kind::mapping:
      return !std::get<Mapping>(data_).empty();
  }
  return false;
}

const Value* Value::find(std::string_view key) const {
  const auto* m = std::get_if<Mapping>(&data_);
  return m == nullptr ? nullptr : m->find(key);
}

bool operator==(const Value& a, const Value& b) {
  std::vector<std::pair<const Value*, const Value*>> work{{&a, &b}};
  while (!work.empty()) {
    auto [x, y] = work.back();
    work.pop_back();
    if (!shallow_equal(*x, *y)) return false;
    const auto* xs = std::get_if<Value::Sequence>(&x->data_);
    const auto* ys = std::get_if<Value::Sequence>(&y->data_);
    if (xs != nullptr && ys != nullptr) {
      for (std::size_t i = 0; i < xs->size(); ++i) work.emplace_back(&(*xs)[i], &(*ys)[i]);
      continue;
    }
    const auto* xm = std::get_if<Value::Mapping>(&x->data_);
    const auto* ym = std::get_if<Value::Mapping>(&y->data_);
    if (xm != nullptr && ym != nullptr) {
      for (const auto& [key, value] : *xm) {
        const Value* other = ym->find(key);
        if (other == nullptr) return false;
        work.emplace_back(&value, other);
      }
    }
  }
  return true;
}

}  // namespace tessik
