// JSON text to Value and back.
#include <cmath>
#include <string>

#include <gtest/gtest.h>

#include <tessik/errors.hpp>
#include <tessik/json.hpp>
#include <tessik/text.hpp>

namespace tessik {
namespace {

TEST(ParseJson, KeepsOrderAndTakesTheLastDuplicate) {
  const Value v = parse_json(R"({"b": 1, "a": [true, null, 2.5, "x"], "b": 3})");
  ASSERT_TRUE(v.is_mapping());
  EXPECT_EQ(repr(v), "{'b': 3, 'a': [True, None, 2.5, 'x']}");
}

TEST(ParseJson, NumbersKeepTheirKinds) {
  EXPECT_TRUE(parse_json("1").is_int());
  EXPECT_TRUE(parse_json("1.0").is_float());
  EXPECT_EQ(parse_json("-9223372036854775808").as_int(), INT64_MIN);
  EXPECT_TRUE(parse_json("9223372036854775808").is_float());
  try {
    parse_json(std::string("1\0", 2));
    ADD_FAILURE() << "a NUL after a complete value is refused";
  } catch (const InvalidValueError& e) {
    EXPECT_STREQ(e.what(), "malformed JSON: NUL byte at byte 2");
  }
  try {
    parse_json("[1e400]");
    ADD_FAILURE() << "a number beyond the double range is refused";
  } catch (const InvalidValueError& e) {
    EXPECT_STREQ(e.what(), "malformed JSON: number overflow parsing '1e400' at byte 6");
  }
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
    try {
      parse_json(c.text);
      ADD_FAILURE() << c.name;
    } catch (const InvalidValueError& e) {
      EXPECT_EQ(std::string(e.what()).rfind("malformed JSON: ", 0), 0u) << c.name << e.what();
      EXPECT_NE(std::string(e.what()).find("line 1, column"), std::string::npos) << c.name;
    }
  }
}

TEST(ParseJson, NestingLimit) {
  const auto nested = [](std::size_t depth) {
    return std::string(depth, '[') + std::string(depth, ']');
  };
  EXPECT_NO_THROW(parse_json(nested(kJsonMaxDepth)));
  try {
    parse_json(nested(kJsonMaxDepth + 1));
    FAIL();
  } catch (const InvalidValueError& e) {
    EXPECT_STREQ(e.what(), "JSON nesting deeper than 512 levels");
  }
  EXPECT_THROW(parse_json(nested(1000000)), InvalidValueError);
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
