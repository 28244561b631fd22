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
// table was written; a lookup is a binary search through an index sorted
// when the table is built. A table with a repeated key does not compile.
// Safe to read from several threads.
#ifndef TESSIK_FOUNDATION_DETAIL_CONST_TABLE_HPP_
#define TESSIK_FOUNDATION_DETAIL_CONST_TABLE_HPP_

#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

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
      order_[i] = i;
    }
    std::sort(order_, order_ + N, [this](std::size_t a, std::size_t b) {
      return key_less(key_of(entries_[a]), key_of(entries_[b]));
    });
    for (std::size_t i = 0; i < N; ++i) sorted_[i] = key_of(entries_[order_[i]]);
    for (std::size_t i = 1; i < N; ++i) {
      if (sorted_[i - 1] == sorted_[i]) throw std::logic_error("repeated table key");
    }
  }

  constexpr const_iterator begin() const noexcept { return entries_; }
  constexpr const_iterator end() const noexcept { return entries_ + N; }
  constexpr std::size_t size() const noexcept { return N; }
  constexpr bool empty() const noexcept { return N == 0; }

  // The entry whose key equals `key` exactly, or `end()`.
  constexpr const_iterator find(std::string_view key) const noexcept {
    const std::string_view* at = std::lower_bound(sorted_, sorted_ + N, key, &key_less);
    return at != sorted_ + N && *at == key ? entries_ + order_[at - sorted_] : end();
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
  // Shorter keys first, then bytewise: most keys a lookup passes differ in
  // length, which settles the comparison without reading their bytes.
  static constexpr bool key_less(std::string_view a, std::string_view b) noexcept {
    return a.size() != b.size() ? a.size() < b.size() : a < b;
  }
  static constexpr std::string_view key_of(const Entry& entry) noexcept {
    if constexpr (kIsSet) {
      return entry;
    } else {
      return entry.first;
    }
  }

  Entry entries_[N]{};
  std::size_t order_[N]{};        // positions in entries_, by key_less
  std::string_view sorted_[N]{};  // the keys in that order
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
