// Small string tables built at compile time.
//
// The fixed tables of finding normalisation (severity words, categories,
// built-in agent names) are `constexpr` objects of these types. Being
// constant-initialised, they exist before any code runs and are never
// destroyed, so every static initialiser and destructor of the program may
// use them, whatever the order in which translation units are initialised;
// and no code can change them.
//
//   inline constexpr detail::ConstStringMap kColours({{"red", "#f00"}, {"green", "#0f0"}});
//   if (auto it = kColours.find(word); it != kColours.end()) use(it->second);
//   for (const auto& [name, hex] : kColours) ...   // in table order
//
// Both types read like a const `std::map`/`std::set` keyed by strings:
// `find`, `contains`, `count`, `at`, `begin`/`end` and `size`. Keys compare
// byte for byte (case-sensitive, no trimming), iteration follows the order in
// which the table was written, and a lookup scans the table, which is the
// fastest choice for a handful of entries. A table with a repeated key does
// not compile. Safe to read from several threads.
#ifndef TESSIK_AGENT_LOADER_CONST_TABLE_HPP_
#define TESSIK_AGENT_LOADER_CONST_TABLE_HPP_

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace tessik::detail {

// An immutable mapping from string keys to string values.
template <std::size_t N>
class ConstStringMap {
 public:
  using key_type = std::string_view;
  using mapped_type = std::string_view;
  using value_type = std::pair<std::string_view, std::string_view>;
  using const_iterator = const value_type*;

  // Takes the entries in the order iteration will give them. Fails to
  // compile (or throws std::logic_error outside constant evaluation) when a
  // key repeats.
  constexpr explicit ConstStringMap(const value_type (&entries)[N]) {
    for (std::size_t i = 0; i < N; ++i) {
      for (std::size_t j = 0; j < i; ++j) {
        if (entries[j].first == entries[i].first) throw std::logic_error("repeated table key");
      }
      entries_[i] = entries[i];
    }
  }

  constexpr const_iterator begin() const noexcept { return entries_; }
  constexpr const_iterator end() const noexcept { return entries_ + N; }
  constexpr std::size_t size() const noexcept { return N; }
  constexpr bool empty() const noexcept { return N == 0; }

  // The entry whose key equals `key` exactly, or `end()`.
  constexpr const_iterator find(std::string_view key) const noexcept {
    for (const value_type& entry : entries_) {
      if (entry.first == key) return &entry;
    }
    return end();
  }
  constexpr bool contains(std::string_view key) const noexcept { return find(key) != end(); }
  constexpr std::size_t count(std::string_view key) const noexcept { return contains(key); }

  // The value under `key`; throws std::out_of_range naming the key when it
  // is absent.
  constexpr std::string_view at(std::string_view key) const {
    const_iterator it = find(key);
    if (it == end()) throw std::out_of_range("no table entry for \"" + std::string(key) + "\"");
    return it->second;
  }

 private:
  value_type entries_[N]{};
};

// An immutable set of strings.
template <std::size_t N>
class ConstStringSet {
 public:
  using key_type = std::string_view;
  using value_type = std::string_view;
  using const_iterator = const std::string_view*;

  // Takes the members in the order iteration will give them; like
  // ConstStringMap, a repeated member does not compile.
  constexpr explicit ConstStringSet(const std::string_view (&members)[N]) {
    for (std::size_t i = 0; i < N; ++i) {
      for (std::size_t j = 0; j < i; ++j) {
        if (members[j] == members[i]) throw std::logic_error("repeated table member");
      }
      members_[i] = members[i];
    }
  }

  constexpr const_iterator begin() const noexcept { return members_; }
  constexpr const_iterator end() const noexcept { return members_ + N; }
  constexpr std::size_t size() const noexcept { return N; }
  constexpr bool empty() const noexcept { return N == 0; }

  // The member equal to `key` exactly, or `end()`.
  constexpr const_iterator find(std::string_view key) const noexcept {
    for (const std::string_view& member : members_) {
      if (member == key) return &member;
    }
    return end();
  }
  constexpr bool contains(std::string_view key) const noexcept { return find(key) != end(); }
  constexpr std::size_t count(std::string_view key) const noexcept { return contains(key); }

 private:
  std::string_view members_[N]{};
};

}  // namespace tessik::detail

#endif  // TESSIK_AGENT_LOADER_CONST_TABLE_HPP_
