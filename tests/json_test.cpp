// JSON text to Value and back.
#include <cmath>
#include <string>

#include <gtest/gtest.h>

#include <tessik/errors.hpp>
#include <tessik/json.hpp>
#include <tessik/text.hpp>

#include "failure.hpp"

namespace tessik {
namespace {

TEST(ParseJson, KeepsOrderAndTakesTheLastDuplicate) {
  const Value v = parse_json(R"({"b": 1, "a": [true, null, 2.5, "x"], "b": 3})");
  ASSERT_TRUE(v.is_mapping());
  EXPECT_EQ(repr(v), "{'b': 3, 'a': [True, None, 2.5, 'x']}");
}

// "ValueError: <message>" when `text` is refused, "" when it parses.
std::string refusal(const std::string& text) {
  const testing::Failure f = testing::failure_of([&] { parse_json(text); });
  return f.kind.empty() ? "" : f.kind + ": " + f.message;
}

TEST(ParseJson, NumbersKeepTheirKinds) {
  EXPECT_TRUE(parse_json("1").is_int());
  EXPECT_TRUE(parse_json("1.0").is_float());
  EXPECT_EQ(parse_json("-9223372036854775808").as_int(), INT64_MIN);
  EXPECT_TRUE(parse_json("9223372036854775808").is_float());
  EXPECT_EQ(refusal(std::string("1\0", 2)), "ValueError: malformed JSON: NUL byte at byte 2");
  EXPECT_EQ(refusal("[1e400]"),
            "ValueError: malformed JSON: number overflow parsing '1e400' at byte 6");
}

TEST(ParseJson, MalformedTextIsAnInvalidValueWithItsPosition) {
  struct Case {
    const char* name;
    std::string text;
  } const cases[] = {
      {"trailing comma", "[1,]"},    {"comment", "{} // x"},
      {"single quotes", "{'a': 1}"}, {"empty", ""},
      {"truncated", R"({"a": )"},    {"invalid UTF-8 in a string", "\"\xff\""},
      {"two values", "1 2"},         {"NUL inside the value", std::string("[1,\0 2]", 7)},
  };
  for (const Case& c : cases) {
    const std::string r = refusal(c.text);
    EXPECT_TRUE(r.starts_with("ValueError: malformed JSON: ")) << c.name << ": " << r;
    EXPECT_NE(r.find("line 1, column"), std::string::npos) << c.name << ": " << r;
  }
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
