// JSON text to Value and back.
#include <algorithm>
#include <cmath>
#include <string>

#include <gtest/gtest.h>

#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/json.hpp>
#include <tessik/foundation/text.hpp>

#include "failure.hpp"

namespace tessik {
namespace {

TEST(ParseJson, RepeatedKeysAmongMany) {
  // Enough keys that some share the builder's quick repeat test, and past
  // the size where a mapping gets an index; every key is repeated once,
  // the repeats in reverse order.
  std::string text = "{";
  for (int i = 0; i < 100; ++i)
    text += "\"k" + std::to_string(i) + "\": " + std::to_string(i) + ",";
  text += R"("": 0, "a": 1, "b": [1], )";
  for (int i = 99; i >= 0; --i)
    text += "\"k" + std::to_string(i) + "\": -" + std::to_string(i) + ",";
  text += R"("": "e", "b": {"x": 1}})";
  const Value v = parse_json(text);
  const Value::Mapping& m = v.as_mapping();
  ASSERT_EQ(m.size(), 103u);
  auto it = m.begin();
  for (int i = 0; i < 100; ++i, ++it) {
    EXPECT_EQ(it->first, Value("k" + std::to_string(i)));
    EXPECT_EQ(it->second, Value(-i));
  }
  EXPECT_EQ(repr(it->first), "''");
  EXPECT_EQ(repr(it->second), "'e'");
  EXPECT_EQ(repr(*m.find("b")), "{'x': 1}");
  EXPECT_EQ(repr(parse_json(R"({"ab": 1, "b": 2, "ab": 3, "": 4, "": 5})")),
            "{'ab': 3, 'b': 2, '': 5}");
}

// "ValueError: <message>" when `text` is refused, "" when it parses.
std::string refusal(const std::string& text) {
  const testing::Failure f = testing::failure_of([&] { parse_json(text); });
  return f.kind.empty() ? "" : f.kind + ": " + f.message;
}

TEST(ParseJson, EdgeTextsKeepTheirValues) {
  struct Case {
    const char* name;
    std::string text;
    const char* repr;
  } const cases[] = {
      {"order kept, the last duplicate taken", R"({"b": 1, "a": [true, null, 2.5, "x"], "b": 3})",
       "{'b': 3, 'a': [True, None, 2.5, 'x']}"},
      {"an integer stays an integer", "1", "1"},
      {"a point makes a double", "1.0", "1.0"},
      {"the smallest 64-bit integer", "-9223372036854775808", "-9223372036854775808"},
      {"one past the signed range", "9223372036854775808", "9.223372036854776e+18"},
      {"byte-order mark", "\xEF\xBB\xBF[1]", "[1]"},
      {"above the unsigned 64-bit range", "18446744073709551616", "1.8446744073709552e+19"},
      {"below the signed range", "[-9223372036854775809]", "[-9.223372036854776e+18]"},
      {"thirty digits", "123456789012345678901234567890", "1.2345678901234568e+29"},
      {"underflow", "1e-400", "0.0"},
      {"negative zero integer", "-0", "0"},
      {"negative zero double", "-0.0", "-0.0"},
      {"surrogate pair", R"("\ud83d\ude00")", "'\xF0\x9F\x98\x80'"},
      {"escaped NUL", R"("a\u0000b")", "'a\\x00b'"},
      {"white space around", " \t\r\n{ } \n", "{}"},
      {"nested repeated key", R"({"a": {"x": 1}, "b": 0, "a": [2]})", "{'a': [2], 'b': 0}"},
      {"non-ASCII key and value", "{\"\xC3\xA9t\xC3\xA9\": \"\xE2\x82\xAC\"}",
       "{'\xC3\xA9t\xC3\xA9': '\xE2\x82\xAC'}"},
  };
  for (const Case& c : cases) {
    const testing::Failure f =
        testing::failure_of([&] { EXPECT_EQ(repr(parse_json(c.text)), c.repr) << c.name; });
    EXPECT_EQ(f.kind, "") << c.name << ": " << f.message;
  }
}

TEST(ParseJson, MalformedTextIsAnInvalidValueWithItsPosition) {
  struct Case {
    const char* name;
    std::string text;
  } const cases[] = {
      {"trailing comma", "[1,]"},
      {"comment", "{} // x"},
      {"single quotes", "{'a': 1}"},
      {"empty", ""},
      {"truncated", R"({"a": )"},
      {"invalid UTF-8 in a string", "\"\xff\""},
      {"two values", "1 2"},
      {"NUL inside the value", std::string("[1,\0 2]", 7)},
      {"lone high surrogate", R"(["\ud800"])"},
      {"lone low surrogate", R"("\udc00")"},
      {"high surrogate then a letter", R"("\ud800\u0041")"},
      {"overlong slash", "\"\xC0\xAF\""},
      {"encoded surrogate", "\"\xED\xA0\x80\""},
      {"truncated sequence", "[\"\xE2\x82\"]"},
      {"above U+10FFFF", "\"\xF4\x90\x80\x80\""},
      {"raw control character", "\"a\x01\""},
      {"raw line break in a string", "\"a\nb\""},
      {"leading zero", "[01]"},
      {"bare minus", "[-]"},
      {"byte-order mark after a blank",
       " \xEF\xBB\xBF"
       "1"},
      {"form feed", "\x0C[]"},
      {"truncated word", "[tru]"},
      {"bad escape", R"("\x")"},
      {"missing colon", R"({"a" 1})"},
      {"only a byte-order mark", "\xEF\xBB\xBF"},
  };
  for (const Case& c : cases) {
    const std::string r = refusal(c.text);
    EXPECT_TRUE(r.starts_with("ValueError: malformed JSON: ")) << c.name << ": " << r;
    const auto line = 1 + std::count(c.text.begin(), c.text.end(), '\n');
    EXPECT_NE(r.find(" at line " + std::to_string(line) + ", column "), std::string::npos)
        << c.name << ": " << r;
  }
  // Past the end of a number or of the text, the position is a byte offset.
  for (const auto& [text, message] :
       {std::pair{std::string("1\0", 2), "NUL byte at byte 2"},
        {std::string("[1]\0", 4), "NUL byte at byte 4"},
        {std::string("[1e400]"), "number overflow parsing '1e400' at byte 6"},
        {std::string("[-1e400]"), "number overflow parsing '-1e400' at byte 7"}}) {
    EXPECT_EQ(refusal(text), std::string("ValueError: malformed JSON: ") + message);
  }
}

TEST(ParseJson, LargeAndSmallTextsInTurn) {
  // The parser's buffers are kept between calls up to a size and made for
  // one call above it; each text must still read whole and alone.
  const auto array_of = [](std::size_t count) {
    std::string text = "[";
    for (std::size_t i = 0; i < count; ++i) text += i == 0 ? "\"abcdefgh\"" : ",\"abcdefgh\"";
    return text + "]";
  };
  const std::string large = array_of(500000);  // over 5 MiB
  const std::string medium = array_of(1000);
  EXPECT_EQ(parse_json(medium).as_sequence().size(), 1000u);
  EXPECT_EQ(parse_json(large).as_sequence().size(), 500000u);
  EXPECT_NE(refusal("[1,"), "");
  EXPECT_EQ(parse_json(medium).as_sequence().back(), Value("abcdefgh"));
  EXPECT_EQ(repr(parse_json("7")), "7");
}

TEST(ParseJson, NestingLimit) {
  const auto nested = [](std::size_t depth) {
    return std::string(depth, '[') + std::string(depth, ']');
  };
  EXPECT_EQ(refusal(nested(kJsonMaxDepth)), "");
  EXPECT_EQ(refusal(nested(kJsonMaxDepth + 1)), "ValueError: JSON nesting deeper than 512 levels");
  EXPECT_TRUE(refusal(nested(1000000)).starts_with("ValueError: "));
}

TEST(ToJson, RoundTripsAndSpellsEdgeValues) {
  const char* text = R"({"a": [1, 2.5, "q\"\n"], "b": {}, "c": null, "d": false})";
  EXPECT_EQ(to_json(parse_json(text)), text);
  EXPECT_EQ(to_json(Value(Value::Mapping{{1, std::nan("")}})), R"({"1": null})");
  EXPECT_EQ(to_json(Value(Value::Sequence{1, Value::Sequence{}}), 2), "[\n  1,\n  []\n]");
  EXPECT_EQ(to_json(Value(std::string("\xff", 1))), "\"\xef\xbf\xbd\"");
  EXPECT_EQ(to_json(Value(Value::Mapping{{true, 1}, {Value(), 2}, {2.5, 3}})),
            R"({"true": 1, "null": 2, "2.5": 3})");
  EXPECT_THROW(to_json(Value(Value::Mapping{{Value::Sequence{1}, 1}})), TypeError);
}

TEST(ToJson, DeepTreeUsesNoCallStack) {
  constexpr std::size_t kDepth = 100000;
  Value deep;
  for (std::size_t i = 0; i < kDepth; ++i) {
    Value::Mapping level;
    level.set("a", std::move(deep));
    deep = Value(std::move(level));
  }
  const std::string json = to_json(deep);
  EXPECT_EQ(json.size(), kDepth * 7 + 4);  // {"a": ... null ... }
  EXPECT_EQ(json.find("null"), kDepth * 6);
}

}  // namespace
}  // namespace tessik
