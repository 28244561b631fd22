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

TEST(ConstTable, FindsEveryKeyExactlyAndIteratesInWrittenOrder) {
  std::vector<std::string_view> keys;
  for (const auto& [key, value] : kMap) {
    keys.push_back(key);
    EXPECT_EQ(kMap.at(key), value);
    EXPECT_EQ(kMap.find(key)->first, key);
  }
  EXPECT_EQ(keys, (std::vector<std::string_view>{"pear", "apple", "fig", "", "Apple"}));
  for (std::string_view absent : {"APPLE", "apple ", "appl", "zzz", "a"}) {
    EXPECT_EQ(kMap.find(absent), kMap.end()) << absent;
    EXPECT_EQ(kMap.value_or(absent, "none"), "none") << absent;
    EXPECT_EQ(kMap.count(absent), 0u) << absent;
    EXPECT_THROW((void)kMap.at(absent), std::out_of_range) << absent;
  }
  EXPECT_EQ(kMap.value_or("fig", "none"), "purple");
  EXPECT_EQ(std::vector<std::string_view>(kSet.begin(), kSet.end()),
            (std::vector<std::string_view>{"on", "yes", "On", "true"}));
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
