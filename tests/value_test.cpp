// The dynamic value tree: mapping order, equality, truth and deep trees.
#include <cmath>
#include <string>

#include <gtest/gtest.h>

#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/text.hpp>
#include <tessik/foundation/value.hpp>

#include "failure.hpp"

namespace tessik {
namespace {

TEST(Mapping, RepeatedKeyKeepsFirstPositionAndLastValue) {
  Value::Mapping m{{"b", 1}, {"a", 2}, {"b", 3}};
  ASSERT_EQ(m.size(), 2u);
  EXPECT_EQ(m.begin()->first, Value("b"));
  EXPECT_EQ(m.begin()->second, Value(3));
  // Past the hashing threshold the same holds.
  // (Appending, not "k" + std::to_string(i): that inlines std::string's
  // replace path, where GCC 12's optimiser raises a false -Wrestrict, GCC
  // bug 105329.)
  for (int i = 0; i < 100; ++i) m.set(Value(std::string("k").append(std::to_string(i))), i);
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
    for (int i = 0; i < size; ++i) {
      // Appended rather than "k" + std::to_string(i): GCC 12's release
      // optimiser takes that concatenation for an overlapping copy (-Wrestrict).
      std::string key = "k";
      key += std::to_string(i);
      original.set(Value(std::move(key)), i);
    }
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

TEST(Value, DeepTreesDoNotUseTheCallStack) {
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
    m.set("k", std::move(mapping_chain));
    mapping_chain = Value(std::move(m));
  }
  const Value copy = deep;
  EXPECT_EQ(copy, deep);
  EXPECT_EQ(repr(deep).size(), 2u * kDepth + 4);  // "[[...[None]...]]"
  EXPECT_EQ(text_form(mapping_chain).substr(0, 6), "{'k': ");
  Value moved = std::move(mapping_chain);
  moved = deep;  // destroys the old deep tree while assigning
  EXPECT_EQ(moved, deep);
}

}  // namespace
}  // namespace tessik
