// The dynamic value tree (mapping order, equality, truth, deep trees) and
// JSON text to Value and back.
#include <algorithm>
#include <cmath>
#include <string>

#include <gtest/gtest.h>

#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/json.hpp>
#include <tessik/foundation/text.hpp>
#include <tessik/foundation/value.hpp>

#include "failure.hpp"

namespace tessik {
namespace {

// Sets "k0" to "k<count - 1>" to their numbers. (Appending, not "k" +
// std::to_string(i): that inlines std::string's replace path, where GCC 12's
// optimiser raises a false -Wrestrict, GCC bug 105329.)
void set_numbered(Value::Mapping& m, int count) {
  for (int i = 0; i < count; ++i) m.set(Value(std::string("k").append(std::to_string(i))), i);
}

TEST(Mapping, RepeatedKeyKeepsFirstPositionAndLastValue) {
  Value::Mapping m{{"b", 1}, {"a", 2}, {"b", 3}};
  ASSERT_EQ(m.size(), 2u);
  EXPECT_EQ(m.begin()->first, Value("b"));
  EXPECT_EQ(m.begin()->second, Value(3));
  // Past the hashing threshold the same holds.
  set_numbered(m, 100);
  m.set(Value("a"), Value("again"));
  EXPECT_EQ((m.begin() + 1)->first, Value("a"));
  EXPECT_EQ(*m.find("a"), Value("again"));
  EXPECT_EQ(m.find("k99")->as_int(), 99);
  EXPECT_EQ(m.find("absent"), nullptr);
}

TEST(Mapping, AbsentAndNullAreDifferent) {
  const Value v = Value::Mapping{{"present", Value()}};
  ASSERT_NE(v.find("present"), nullptr);
  EXPECT_TRUE(v.find("present")->is_null());
  EXPECT_EQ(v.find("absent"), nullptr);
  EXPECT_EQ(Value(3).find("x"), nullptr);
  const testing::Failure f = testing::failure_of([&] { (void)v.as_mapping().at("absent"); });
  EXPECT_EQ(f.kind + ": " + f.message, "ValueError: key not found: 'absent'");
}

TEST(Mapping, CopiesAndSlotsKeepLookupsRight) {
  // Below and well past the size where lookups switch to hashing: a copy
  // must find every key, and a slot fills an existing key in place.
  for (const int size : {3, 200}) {
    Value::Mapping original;
    set_numbered(original, size);
    Value::Mapping copy = original;
    original.slot("k1") = Value("changed");
    EXPECT_EQ(copy.find("k1")->as_int(), 1) << size;
    EXPECT_EQ(original.find("k1")->as_string(), "changed") << size;
    copy.slot("new") = Value(true);
    EXPECT_EQ(copy.size(), static_cast<std::size_t>(size) + 1) << size;
    EXPECT_EQ((copy.end() - 1)->first, Value("new")) << size;
    EXPECT_EQ(copy.find(Value("k" + std::to_string(size - 1)))->as_int(), size - 1) << size;
    EXPECT_EQ(original.find("new"), nullptr) << size;
    copy = original;
    EXPECT_EQ(copy.find("new"), nullptr) << size;
    EXPECT_EQ(copy.at("k1").as_string(), "changed") << size;
  }
  Value::Mapping numbers{{1, "one"}};
  EXPECT_EQ(numbers.find("1"), nullptr);
  EXPECT_EQ(numbers.slot("1").kind(), Value::Kind::null);
  EXPECT_EQ(numbers.size(), 2u);
}

TEST(Value, EqualityIsStructural) {
  EXPECT_EQ(Value(1), Value(1.0));
  EXPECT_NE(Value(true), Value(1));
  EXPECT_NE(Value(std::nan("")), Value(std::nan("")));
  EXPECT_NE(Value(9007199254740993), Value(9007199254740992.0));
  EXPECT_EQ(Value(Value::Mapping{{"a", 1}, {"b", 2}}), Value(Value::Mapping{{"b", 2}, {"a", 1}}));
  EXPECT_NE(Value(Value::Sequence{1, 2}), Value(Value::Sequence{2, 1}));
  EXPECT_NE(Value(Value::Sequence{}), Value(Value::Mapping{}));
  // 1 and 1.0 are the same mapping key.
  Value::Mapping m{{1, "int"}};
  m.set(Value(1.0), "float");
  EXPECT_EQ(m.size(), 1u);
}

TEST(Value, TruthValue) {
  for (const Value& v : {Value(), Value(false), Value(0), Value(0.0), Value(""),
                         Value(Value::Sequence{}), Value(Value::Mapping{})}) {
    EXPECT_FALSE(v.truthy()) << v;
  }
  for (const Value& v : {Value(true), Value(-1), Value(0.5), Value("false"), Value("0"),
                         Value(Value::Sequence{Value()}), Value(std::nan(""))}) {
    EXPECT_TRUE(v.truthy()) << v;
  }
}

TEST(Value, AccessorsRefuseOtherKinds) {
  EXPECT_THROW(Value("1").as_int(), TypeError);
  EXPECT_THROW(Value(1).as_float(), TypeError);
  EXPECT_THROW(Value(true).as_int(), TypeError);
  EXPECT_TRUE(Value(3).is_number());
  EXPECT_FALSE(Value(true).is_number());
  EXPECT_THROW(Value(static_cast<unsigned long long>(1) << 63), OverflowError);
}

TEST(Value, DeepTreesAndTheirJsonDoNotUseTheCallStack) {
  constexpr int kDepth = 100000;
  Value deep;
  for (int i = 0; i < kDepth; ++i) {
    Value::Sequence s;
    s.push_back(std::move(deep));
    deep = Value(std::move(s));
  }
  Value mapping_chain;
  for (int i = 0; i < kDepth; ++i) {
    Value::Mapping m;
    m.set("a", std::move(mapping_chain));
    mapping_chain = Value(std::move(m));
  }
  const Value copy = deep;
  EXPECT_EQ(copy, deep);
  EXPECT_EQ(repr(deep).size(), 2u * kDepth + 4);  // "[[...[None]...]]"
  EXPECT_EQ(text_form(mapping_chain).substr(0, 6), "{'a': ");
  const std::string json = to_json(mapping_chain);
  EXPECT_EQ(json.size(), 7u * kDepth + 4);  // {"a": ... null ... }
  EXPECT_EQ(json.find("null"), 6u * kDepth);
  Value moved = std::move(mapping_chain);
  moved = deep;  // destroys the old deep tree while assigning
  EXPECT_EQ(moved, deep);
}

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

}  // namespace
}  // namespace tessik
