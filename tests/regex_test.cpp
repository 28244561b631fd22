#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <tessik/errors.hpp>
#include <tessik/regex.hpp>

namespace tessik::detail {
namespace {

TEST(Regex, WhiteSpaceEscapeBecomesTheLibrarySet) {
  const std::string members(WHITE_SPACE_CLASS.substr(1, WHITE_SPACE_CLASS.size() - 2));
  struct Rewrite {
    const char* name;
    std::string pattern;
    std::string expected;
  };
  const Rewrite cases[] = {
      {"outside a class", "a\\s*b", "a" + std::string(WHITE_SPACE_CLASS) + "*b"},
      {"inside a class, no nested brackets", "[\\s,]", "[" + members + ",]"},
      {"an escaped backslash before s is no escape", "\\\\s", "\\\\s"},
      {"a leading ] is a class member", "[]\\s]x\\s",
       "[]" + members + "]x" + std::string(WHITE_SPACE_CLASS)},
      {"other escapes pass through", "\\n\\d\\.", "\\n\\d\\."},
  };
  for (const auto& c : cases) EXPECT_EQ(with_white_space_class(c.pattern), c.expected) << c.name;
  EXPECT_THROW(with_white_space_class("\\S"), std::logic_error);
}

TEST(Regex, MatchesTheLibraryWhiteSpace) {
  const Regex ws("ws", "^\\s+$", {.anchored = true});
  EXPECT_TRUE(
      ws.find("\x1C\x1D\x1E\x1F \t\n\v\f\r\u0085\u00A0\u1680\u2000\u200A\u2028\u2029"
              "\u202F\u205F\u3000"));
  EXPECT_FALSE(ws.find("\u200B"));  // zero-width space
  EXPECT_FALSE(ws.find("\u180E"));  // Mongolian vowel separator
}

TEST(Regex, InvalidUtf8NeverMatchesAndNeverFails) {
  const Regex any("any", "a.c", {.dot_all = true});
  EXPECT_FALSE(
      any.find("a\xFF"
               "c"));
  const auto m = any.find(
      "\xC3(a\xFF"
      "c abc");
  ASSERT_TRUE(m);
  EXPECT_EQ(m->group(), "abc");
}

TEST(Regex, LineStartFromAnOffsetLooksAtThePrecedingByte) {
  const Regex line("line", "^## ", {.multi_line = true});
  EXPECT_FALSE(line.find("x## a", 1));
  const auto m = line.find("x\n## a", 2);
  ASSERT_TRUE(m);
  EXPECT_EQ(m->begin(), 2u);
}

TEST(Regex, LimitsFailWithTheirName) {
  struct Limit {
    const char* name;
    const char* pattern;
    std::string subject;
    RegexLimits limits;
    const char* message;
  };
  const Limit cases[] = {
      {"catastrophic backtracking hits the match limit", "^(a+)+$", std::string(40, 'a') + "!",
       RegexLimits::for_subject(41), "match limit"},
      {"deep lazy repetition hits the depth limit", "^(?:a|b)*?$", std::string(10'000, 'a'),
       RegexLimits::for_subject(10'000), "depth limit"},
      {"a tiny heap hits the memory limit",
       "^(?:a|b)*?$",
       std::string(10'000, 'a'),
       {1'000'000, 1'000'000, 1},
       "memory limit"},
  };
  for (const auto& c : cases) {
    const Regex re("pathological", c.pattern);
    try {
      re.find(c.subject, 0, c.limits);
      ADD_FAILURE() << c.name << ": no failure";
    } catch (const InvalidValueError& e) {
      const std::string what = e.what();
      EXPECT_NE(what.find("pattern pathological"), std::string::npos) << c.name << ": " << what;
      EXPECT_NE(what.find(c.message), std::string::npos) << c.name << ": " << what;
    }
  }
}

}  // namespace
}  // namespace tessik::detail
