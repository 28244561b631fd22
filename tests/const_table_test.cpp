#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <tessik/foundation/detail/const_table.hpp>

namespace tessik::detail {
namespace {

// Written out of key order on purpose: lookups must not depend on it.
constexpr ConstStringMap kMap(
    {{"pear", "green"}, {"apple", "red"}, {"fig", "purple"}, {"", "empty"}, {"Apple", "upper"}});
constexpr ConstStringSet kSet({"on", "yes", "On", "true"});

static_assert(kMap.size() == 5 && kMap.contains("fig") && !kMap.contains("figs"));
static_assert(kSet.contains("On") && !kSet.contains("ON"));

TEST(ConstTable, FindsEveryKeyExactlyWhateverTheWrittenOrder) {
  const struct {
    std::string_view key;
    const char* expected;  // nullptr: absent
  } cases[] = {
      {"pear", "green"},  {"apple", "red"},   {"fig", "purple"},   {"", "empty"},
      {"Apple", "upper"}, {"APPLE", nullptr}, {"apple ", nullptr}, {"appl", nullptr},
      {"zzz", nullptr},   {"a", nullptr},
  };
  for (const auto& c : cases) {
    const auto it = kMap.find(c.key);
    if (c.expected == nullptr) {
      EXPECT_EQ(it, kMap.end()) << c.key;
      EXPECT_EQ(kMap.value_or(c.key, "none"), "none") << c.key;
      EXPECT_THROW((void)kMap.at(c.key), std::out_of_range) << c.key;
    } else {
      ASSERT_NE(it, kMap.end()) << c.key;
      EXPECT_EQ(it->first, c.key);
      EXPECT_EQ(it->second, c.expected);
      EXPECT_EQ(kMap.at(c.key), c.expected);
      EXPECT_EQ(kMap.value_or(c.key, "none"), c.expected);
    }
    EXPECT_EQ(kMap.count(c.key), c.expected ? 1u : 0u) << c.key;
  }
}

TEST(ConstTable, IteratesInWrittenOrder) {
  std::vector<std::string_view> keys;
  for (const auto& [key, value] : kMap) keys.push_back(key);
  EXPECT_EQ(keys, (std::vector<std::string_view>{"pear", "apple", "fig", "", "Apple"}));
  EXPECT_EQ(std::vector<std::string_view>(kSet.begin(), kSet.end()),
            (std::vector<std::string_view>{"on", "yes", "On", "true"}));
  EXPECT_EQ(*kSet.find("true"), "true");
}

TEST(ConstTable, ARepeatedKeyIsRefused) {
  // Outside constant evaluation the refusal is an exception.
  const std::string_view members[] = {"a", "b", "a"};
  EXPECT_THROW(ConstStringSet<3>{members}, std::logic_error);
  const std::pair<std::string_view, std::string_view> entries[] = {{"k", "1"}, {"k", "2"}};
  EXPECT_THROW(ConstStringMap<2>{entries}, std::logic_error);
  const std::string_view distinct[] = {"a", "b", "ab"};
  EXPECT_NO_THROW(ConstStringSet<3>{distinct});
}

}  // namespace
}  // namespace tessik::detail
