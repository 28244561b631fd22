#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <tessik/foundation/detail/regex.hpp>

#include "failure.hpp"

namespace tessik::detail {
namespace {

TEST(Regex, WhiteSpaceIsTheLibrarySet) {
  const std::string cls(WHITE_SPACE_CLASS);
  const std::string members = cls.substr(1, cls.size() - 2);
  EXPECT_EQ(with_white_space_class("a\\s*[\\s,]\\\\s"), "a" + cls + "*[" + members + ",]\\\\s");
  EXPECT_THROW(with_white_space_class("\\S"), std::logic_error);

  const Regex ws("ws", "^\\s+$", {.anchored = true});
  EXPECT_TRUE(
      ws.find("\x1C\x1F \t\n\v\f\r\u0085\u00A0\u1680\u2000\u200A\u2028\u2029\u202F"
              "\u205F\u3000"));
  EXPECT_FALSE(ws.find("\u200B"));
  EXPECT_FALSE(Regex("any", "a.c").find("a\377c"));  // invalid UTF-8: no match, no failure
}

TEST(Regex, LimitsFailWithTheirName) {
  const struct {
    const char* name;
    const char* pattern;
    std::string subject;
    RegexLimits limits;
    const char* message;
  } cases[] = {
      {"catastrophic backtracking", "^(a+)+$", std::string(40, 'a') + "!",
       RegexLimits::for_subject(41), "match limit"},
      {"deep lazy repetition", "^(?:a|b)*?$", std::string(10'000, 'a'),
       RegexLimits::for_subject(10'000), "depth limit"},
      {"a tiny heap", "^(?:a|b)*?$", std::string(10'000, 'a'), RegexLimits{1'000'000, 1'000'000, 1},
       "memory limit"},
  };
  for (const auto& c : cases) {
    const testing::Failure f =
        testing::failure_of([&] { Regex("pathological", c.pattern).find(c.subject, 0, c.limits); });
    EXPECT_EQ(f.kind, "ValueError") << c.name;
    EXPECT_NE(f.message.find("pattern pathological gave up"), std::string::npos) << f.message;
    EXPECT_NE(f.message.find(c.message), std::string::npos) << c.name << ": " << f.message;
  }
}

}  // namespace
}  // namespace tessik::detail
