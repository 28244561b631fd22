#include <tessik/agent_loader/verdict/agent_verdict.hpp>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace tessik {
namespace {

AIReview finding(std::int64_t line) {
  return AIReview{
      .file_path = "a.py", .line_number = line, .severity = "low", .agent_name = "wynn"};
}

std::vector<std::int64_t> lines_of(const std::vector<AIReview>& findings) {
  std::vector<std::int64_t> lines;
  for (const AIReview& f : findings) lines.push_back(f.line_number);
  return lines;
}

// No field can be changed through a verdict: every accessor and the
// iterators give const access only.
static_assert(
    std::is_const_v<std::remove_reference_t<decltype(std::declval<AgentVerdict&>().findings())>>);
static_assert(
    std::is_const_v<std::remove_reference_t<decltype(*std::declval<AgentVerdict&>().begin())>>);
static_assert(std::is_const_v<std::remove_reference_t<decltype(std::declval<AgentVerdict&>()[0])>>);
static_assert(
    std::is_const_v<std::remove_reference_t<decltype(std::declval<AgentVerdict&>().status())>>);

TEST(AgentVerdictSequence, IteratesAndIndexesFromBothEnds) {
  const AgentVerdict v = AgentVerdict::from_findings({finding(10), finding(20), finding(30)});
  EXPECT_EQ(v.size(), 3u);
  EXPECT_EQ(lines_of(std::vector<AIReview>(v.begin(), v.end())),
            (std::vector<std::int64_t>{10, 20, 30}));
  EXPECT_EQ(v[0].line_number, 10);
  EXPECT_EQ(v[2].line_number, 30);
  EXPECT_EQ(v[-1].line_number, 30);
  EXPECT_EQ(v[-3].line_number, 10);
  for (std::ptrdiff_t outside : {std::ptrdiff_t{3}, std::ptrdiff_t{-4}, PTRDIFF_MAX, PTRDIFF_MIN}) {
    EXPECT_THROW(v[outside], std::out_of_range) << outside;
  }
  const AgentVerdict clean = AgentVerdict::from_clean("nothing", 0.9);
  EXPECT_TRUE(clean.empty());
  EXPECT_EQ(clean.begin(), clean.end());
  EXPECT_THROW(clean[0], std::out_of_range);
  EXPECT_THROW(clean[-1], std::out_of_range);
}

TEST(AgentVerdictSequence, SliceClampsLikeAHalfOpenRange) {
  const AgentVerdict v = AgentVerdict::from_findings({finding(0), finding(1), finding(2)});
  struct Case {
    const char* name;
    std::ptrdiff_t start, stop;
    std::vector<std::int64_t> expected;
  };
  const Case cases[] = {
      {"whole range", 0, 3, {0, 1, 2}},
      {"stop is exclusive", 1, 2, {1}},
      {"negative start counts from the end", -2, PTRDIFF_MAX, {1, 2}},
      {"negative stop counts from the end", 0, -1, {0, 1}},
      {"bounds past both ends are clamped", -100, 100, {0, 1, 2}},
      {"extreme bounds do not overflow", PTRDIFF_MIN, PTRDIFF_MAX, {0, 1, 2}},
      {"start after stop is empty", 2, 1, {}},
      {"start at the end is empty", 3, 5, {}},
      {"equal bounds are empty", -1, 2, {}},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(lines_of(v.slice(c.start, c.stop)), c.expected) << c.name;
  }
}

}  // namespace
}  // namespace tessik
