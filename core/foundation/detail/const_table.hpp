// Small string-keyed tables built at compile time.
//
// Every fixed table of the library (severity words, categories, built-in
// agent names, languages by file name and extension, YAML's boolean words)
// is a `constexpr` object of one type, `ConstTable`. Being constant-
// initialised, a table exists before any code runs and is never destroyed,
// so every static initialiser and destructor of the program may use it,
// whatever the order in which translation units are initialised; and no
// code can change it.
//
//   inline constexpr detail::ConstStringMap kColours({{"red", "#f00"}, {"green", "#0f0"}});
//   if (auto it = kColours.find(word); it != kColours.end()) use(it->second);
//   for (const auto& [name, hex] : kColours) ...   // in table order
//   inline constexpr detail::ConstStringSet kWords({"yes", "on"});
//   kWords.contains("on");                          // true
//
// A table reads like a const `std::map` (entries are key/value pairs) or
// `std::set` (entries are the keys themselves): `find`, `contains`, `count`,
// `begin`/`end` and `size`, and `at` and `value_or` for a map. Keys compare byte for byte
// (case-sensitive, no trimming); iteration follows the order in which the
// table was written; a lookup hashes the key once and compares it with the
// one or two entries of its slot chain in an open-addressing index built
// with the table (at least twice as many slots as entries). A table with a
// repeated key does not compile. Safe to read from several threads.
#ifndef TESSIK_FOUNDATION_DETAIL_CONST_TABLE_HPP_
#define TESSIK_FOUNDATION_DETAIL_CONST_TABLE_HPP_

#include <bit>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include <tessik/foundation/detail/short_key_hash.hpp>

namespace tessik::detail {

// `Entry` is std::string_view (a set) or std::pair<std::string_view, V> (a
// map from strings to V).
template <class Entry, std::size_t N>
class ConstTable {
 public:
  static constexpr bool kIsSet = std::is_same_v<Entry, std::string_view>;
  using key_type = std::string_view;
  using value_type = Entry;
  using const_iterator = const Entry*;

  // Takes the entries in the order iteration will give them. Fails to
  // compile (or throws std::logic_error outside constant evaluation) when a
  // key repeats.
  constexpr explicit ConstTable(const Entry (&entries)[N]) {
    for (std::size_t i = 0; i < N; ++i) {
      entries_[i] = entries[i];
      const std::string_view key = key_of(entries[i]);
      std::size_t slot = hash(key) & (kSlots - 1);
      while (slots_[slot] != 0) {
        if (key_of(entries_[slots_[slot] - 1]) == key) throw std::logic_error("repeated table key");
        slot = (slot + 1) & (kSlots - 1);
      }
      slots_[slot] = static_cast<Slot>(i + 1);
    }
  }

  constexpr const_iterator begin() const noexcept { return entries_; }
  constexpr const_iterator end() const noexcept { return entries_ + N; }
  constexpr std::size_t size() const noexcept { return N; }
  constexpr bool empty() const noexcept { return N == 0; }

  // The entry whose key equals `key` exactly, or `end()`.
  constexpr const_iterator find(std::string_view key) const noexcept {
    for (std::size_t slot = hash(key) & (kSlots - 1);; slot = (slot + 1) & (kSlots - 1)) {
      const Slot at = slots_[slot];
      if (at == 0) return end();
      const std::string_view candidate = key_of(entries_[at - 1]);
      if (candidate == key) return entries_ + (at - 1);
    }
  }
  constexpr bool contains(std::string_view key) const noexcept { return find(key) != end(); }
  constexpr std::size_t count(std::string_view key) const noexcept { return contains(key); }

  // A map's value under `key`, or `fallback` when it is absent.
  template <class Fallback>
  constexpr auto value_or(std::string_view key, Fallback&& fallback) const requires(!kIsSet) {
    using Mapped = std::remove_cvref_t<decltype(std::declval<Entry>().second)>;
    const_iterator it = find(key);
    return it != end() ? it->second : Mapped(std::forward<Fallback>(fallback));
  }

  // A map's value under `key`; throws std::out_of_range naming the key when
  // it is absent.
  constexpr const auto& at(std::string_view key) const requires(!kIsSet) {
    const_iterator it = find(key);
    if (it == end()) throw std::out_of_range("no table entry for \"" + std::string(key) + "\"");
    return it->second;
  }

 private:
  // Entry positions plus one, 0 for an empty slot; a power of two at least
  // twice the entry count, so a probe chain stays short and always ends.
  using Slot = std::uint16_t;
  static_assert(N < 0x7FFF, "a constant table holds fewer than 32767 entries");
  static constexpr std::size_t kSlots = std::bit_ceil(2 * N + 2);

  // Only the library's own keys fill slots, so whatever key a lookup is
  // given, it walks one probe chain of the table's own making.
  static constexpr std::size_t hash(std::string_view key) noexcept {
    return static_cast<std::size_t>(short_key_hash(key) >> 40);
  }

  static constexpr std::string_view key_of(const Entry& entry) noexcept {
    if constexpr (kIsSet) {
      return entry;
    } else {
      return entry.first;
    }
  }

  Entry entries_[N]{};
  Slot slots_[kSlots]{};
};

// The two shapes the library writes, spelled so that the entry count is
// deduced: `ConstStringMap({{"k", "v"}, ...})`, `ConstStringSet({"k", ...})`.
template <std::size_t N>
class ConstStringMap : public ConstTable<std::pair<std::string_view, std::string_view>, N> {
 public:
  constexpr explicit ConstStringMap(
      const std::pair<std::string_view, std::string_view> (&entries)[N])
      : ConstTable<std::pair<std::string_view, std::string_view>, N>(entries) {}
};

template <std::size_t N>
class ConstStringSet : public ConstTable<std::string_view, N> {
 public:
  constexpr explicit ConstStringSet(const std::string_view (&members)[N])
      : ConstTable<std::string_view, N>(members) {}
};

}  // namespace tessik::detail

#endif  // TESSIK_FOUNDATION_DETAIL_CONST_TABLE_HPP_
