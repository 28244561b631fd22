// The dynamic value tree: mapping order, equality, truth and deep trees.
#include <cmath>
#include <string>

#include <gtest/gtest.h>

#include <tessik/errors.hpp>
#include <tessik/text.hpp>
#include <tessik/value.hpp>

namespace tessik {
namespace {

TEST(Mapping, RepeatedKeyKeepsFirstPositionAndLastValue) {
  Value::Mapping m{{"b", 1}, {"a", 2}, {"b", 3}};
  ASSERT_EQ(m.size(), 2u);
  EXPECT_EQ(m.begin()->first, Value("b"));
  EXPECT_EQ(m.begin()->second, Value(3));
  // Past the hashing threshold the same holds.
  for (int i = 0; i < 100; ++i) m.set(Value("k" + std::to_string(i)), i);
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
  EXPECT_THROW(v.as_mapping().at("absent"), InvalidValueError);
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
