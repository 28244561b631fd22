// A finding item read from a reply: category, severity, code replacement,
// conversions, and the language its path names.
#include <tessik/agent_loader/findings/code_replacement.hpp>
#include <tessik/agent_loader/findings/detail/category.hpp>
#include <tessik/agent_loader/findings/detail/code_replacement.hpp>
#include <tessik/agent_loader/findings/detail/finding_item.hpp>
#include <tessik/diff_parser.hpp>
#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/text.hpp>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "failure.hpp"

namespace tessik {
namespace {

using detail::parse_finding_item;
using Lines = std::optional<std::vector<std::string>>;

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// A finding item with one key set.
Value item_with(const char* key, Value value) {
  Value::Mapping m;
  m.set(key, std::move(value));
  return m;
}

TEST(DetectLanguage, ByNameThenExtension) {
  struct Case {
    const char* name;
    Value path;
    const char* expected;
  };
  const Case cases[] = {
      {"extension", "src/app/main.py", "python"},
      {"extension case is ignored", "MAIN.PY", "python"},
      {"last extension decides", "types/index.d.ts", "typescript"},
      {"C header counts as C", "include/x.h", "c"},
      {"C++ header", "include/x.hpp", "cpp"},
      {"backslash separates components", "win\\src\\lib.rs", "rust"},
      {"Dockerfile by name", "deploy/Dockerfile", "dockerfile"},
      {"Dockerfile variant", "Dockerfile.dev", "dockerfile"},
      {"Dockerfile by extension", "ci/app.dockerfile", "dockerfile"},
      {"Makefile by name", "Makefile", "makefile"},
      {"lower-case makefile", "sub/makefile", "makefile"},
      {"CMakeLists.txt is not text", "lib/CMakeLists.txt", "cmake"},
      {"other .txt is text", "notes.txt", "text"},
      {"dotfile by name", "home/.bashrc", "shell"},
      {"dotfile with extension", ".eslintrc.json", "json"},
      {"invalid UTF-8 around the extension", "\xff\xfe.go", "go"},
      {"placeholder path", "unknown", "unknown"},
      {"empty path", "", "unknown"},
      {"unknown extension", "archive.tar.gz", "unknown"},
      {"directory extension does not count", "pkg.py/README", "unknown"},
      {"trailing dot", "file.", "unknown"},
      {"trailing separator", "src/", "unknown"},
      {"dotfile alone is no extension", ".py", "unknown"},
      {"name table needs the whole name", "makefile.py", "python"},
      {"null path", Value(), "unknown"},
      {"number path", 42, "unknown"},
      {"sequence path", Value::Sequence{"a.py"}, "unknown"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(detect_language(c.path), c.expected) << c.name;
  }
}

TEST(NormaliseCategory, KnownWinsElseAgentElseCodeQuality) {
  struct Case {
    const char* name;
    const char* raw;
    const char* agent;
    const char* expected;
  };
  const Case cases[] = {
      {"surrounding white space is trimmed", " Security\n", "corvin", "security"},
      {"upper case is lowered", "CODE-QUALITY", "wynn", "code-quality"},
      {"no-break space counts as white space", "security\u00a0", "corvin", "security"},
      {"inner blank is not repaired", "code quality", "wynn", "performance"},
      {"inner underscore is not repaired", "code_quality", "corvin", "architecture"},
      {"empty gives the agent's category", "", "hesper", "security"},
      {"misspelling is not guessed at", "perf", "corvin", "architecture"},
      {"custom agent falls back to code-quality", "nonsense", "my-agent", "code-quality"},
      {"agent name is case-sensitive", "nonsense", "Wynn", "code-quality"},
      {"agent name is not trimmed", "nonsense", " wynn", "code-quality"},
      {"known category beats the agent's own", "architecture", "wynn", "architecture"},
      {"invalid UTF-8 falls back", "\xff\xfesecurity", "wynn", "performance"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(detail::normalise_category(c.raw, c.agent), c.expected) << c.name;
  }
}

TEST(FilterCodeReplacement, KeepsStringLinesAndNeutralisesFences) {
  struct Case {
    const char* name;
    Value raw;
    Lines expected;
  };
  const Case cases[] = {
      {"null is no replacement", Value(), std::nullopt},
      {"bare string is not split into lines", "return x\nreturn y", std::nullopt},
      {"mapping is no replacement", Value::Mapping{{"0", "a"}}, std::nullopt},
      {"empty sequence gives null, never empty", Value::Sequence{}, std::nullopt},
      {"only non-strings gives null", Value::Sequence{1, Value(), 2.5, true}, std::nullopt},
      {"non-strings are dropped in order",
       Value::Sequence{"a", 1, Value(), Value::Sequence{"x"}, "b"}, Lines{{"a", "b"}}},
      {"empty strings are kept", Value::Sequence{"", ""}, Lines{{"", ""}}},
      {"opening and closing fences", Value::Sequence{"```ts", "x = 1", "```"},
       Lines{{"~~~ts", "x = 1", "~~~"}}},
      {"indentation survives", Value::Sequence{"    ```", "\t```js"},
       Lines{{"    ~~~", "\t~~~js"}}},
      {"only the first three backticks change", Value::Sequence{"````"}, Lines{{"~~~`"}}},
      {"mid-line backticks stay", Value::Sequence{"s = \"```\"  # fence"},
       Lines{{"s = \"```\"  # fence"}}},
      {"fence after an embedded line break stays", Value::Sequence{"x\n```"}, Lines{{"x\n```"}}},
      {"trailing blanks stay", Value::Sequence{"  y = 2  "}, Lines{{"  y = 2  "}}},
      {"unicode indentation is indentation", Value::Sequence{"\u00a0\u2003```"},
       Lines{{"\u00a0\u2003~~~"}}},
      {"two backticks are not a fence", Value::Sequence{"``x"}, Lines{{"``x"}}},
      {"invalid UTF-8 passes through", Value::Sequence{"\xff```"}, Lines{{"\xff```"}}},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(filter_code_replacement(c.raw), c.expected) << c.name;
    // The overload that takes the lines out of a tree it is given.
    EXPECT_EQ(filter_code_replacement(Value(c.raw)), c.expected) << c.name;
  }
}

TEST(ParseFindingItem, EmptyItemGetsEveryDefault) {
  const AIReview expected{.file_path = "unknown",
                          .line_number = 0,
                          .severity = "low",
                          .issue = "",
                          .suggestion = "",
                          .confidence = 0.7,
                          .category = "performance",
                          .agent_name = "wynn",
                          .code_replacement = std::nullopt,
                          .replacement_line_count = 1,
                          .language = "unknown"};
  EXPECT_EQ(parse_finding_item(Value::Mapping{}, "wynn"), expected);
}

TEST(ParseFindingItem, NullIsPresentNotAbsent) {
  const Value item = Value::Mapping{
      {"file_path", Value()}, {"issue", Value()}, {"category", Value()}, {"severity", Value()}};
  const std::optional<AIReview> f = parse_finding_item(item, "hesper", "major");
  ASSERT_TRUE(f);
  EXPECT_TRUE(f->file_path.is_null());
  EXPECT_TRUE(f->issue.is_null());
  EXPECT_EQ(f->language, "unknown");
  EXPECT_EQ(f->category, "security");
  EXPECT_EQ(f->severity, "medium");
  EXPECT_THROW(parse_finding_item(item_with("line_number", Value()), "hesper"), TypeError);
  EXPECT_THROW(parse_finding_item(item_with("confidence", Value()), "hesper"), TypeError);
}

TEST(ParseFindingItem, SeverityGoesThroughTheTable) {
  struct Case {
    const char* name;
    std::optional<Value> severity;  // nullopt: key absent
    Value agent_default;
    const char* expected;
  };
  const Case cases[] = {
      {"older word is mapped after lowering", Value("Critical"), "minor", "high"},
      {"upper case is lowered", Value("SUGGESTION"), "minor", "info"},
      {"current scale maps to itself", Value("HIGH"), "minor", "high"},
      {"leading blank is not trimmed", Value(" High"), "minor", "low"},
      {"unknown word is low", Value("warning"), "critical", "low"},
      {"number uses the mapped default", Value(3), "major", "medium"},
      {"null uses the mapped default", Value(), "Suggestion", "info"},
      {"absent uses the mapped default", std::nullopt, "major", "medium"},
      {"unknown default is low", std::nullopt, "severe", "low"},
      {"string severity never needs the default", Value("info"), Value(7), "info"},
  };
  for (const Case& c : cases) {
    const Value item = c.severity ? item_with("severity", *c.severity) : Value::Mapping{};
    const std::optional<AIReview> f = parse_finding_item(item, "wynn", c.agent_default);
    ASSERT_TRUE(f) << c.name;
    EXPECT_EQ(f->severity, c.expected) << c.name;
  }
  EXPECT_THROW(parse_finding_item(Value::Mapping{}, "wynn", Value(7)), TypeError);
  EXPECT_THROW(parse_finding_item(item_with("severity", 1), "wynn", Value()), TypeError);
}

TEST(ParseFindingItem, ReplacementLineCountRules) {
  struct Case {
    const char* name;
    std::optional<Value> count;  // nullopt: key absent
    std::int64_t expected;
  };
  const Case cases[] = {
      {"plain count", Value(3), 3},
      {"count above the cap", Value(250), 100},
      {"largest integer is capped, not wrapped", Value(INT64_MAX), 100},
      {"fraction is truncated", Value(2.9), 2},
      {"positive fraction below one truncates to zero", Value(0.5), 0},
      {"huge double is capped without overflow", Value(1e300), 100},
      {"positive infinity gets the cap", Value(kInf), 100},
      {"zero", Value(0), 1},
      {"negative", Value(-4), 1},
      {"negative infinity", Value(-kInf), 1},
      {"NaN", Value(kNaN), 1},
      {"boolean is not a number", Value(true), 1},
      {"numeric string is not a number", Value("3"), 1},
      {"null", Value(), 1},
      {"sequence", Value(Value::Sequence{5}), 1},
      {"absent", std::nullopt, 1},
  };
  for (const Case& c : cases) {
    Value::Mapping m{{"code_replacement", Value::Sequence{"a", "b"}}};
    if (c.count) m.set("replacement_line_count", *c.count);
    const std::optional<AIReview> f = parse_finding_item(m, "wynn");
    ASSERT_TRUE(f) << c.name;
    EXPECT_EQ(f->replacement_line_count, c.expected) << c.name;
  }
  // The count is only read when a code replacement survives filtering.
  for (const Value& replacement : {Value(), Value(Value::Sequence{1, 2}), Value("x = 1")}) {
    const Value item =
        Value::Mapping{{"code_replacement", replacement}, {"replacement_line_count", 5}};
    EXPECT_EQ(parse_finding_item(item, "wynn")->replacement_line_count, 1) << replacement;
  }
}

TEST(ParseFindingItem, ConversionsKeepTheirFailureKind) {
  EXPECT_EQ(parse_finding_item(item_with("line_number", "17"), "w")->line_number, 17);
  EXPECT_EQ(parse_finding_item(item_with("line_number", 17.8), "w")->line_number, 17);
  EXPECT_EQ(parse_finding_item(item_with("confidence", "0.9"), "w")->confidence, 0.9);
  EXPECT_EQ(parse_finding_item(item_with("confidence", 1.7), "w")->confidence, 1.7);
  EXPECT_TRUE(std::isnan(parse_finding_item(item_with("confidence", kNaN), "w")->confidence));

  EXPECT_THROW(parse_finding_item(item_with("line_number", "seventeen"), "w"), InvalidValueError);
  EXPECT_THROW(parse_finding_item(item_with("line_number", kNaN), "w"), InvalidValueError);
  EXPECT_THROW(parse_finding_item(item_with("line_number", kInf), "w"), OverflowError);
  EXPECT_THROW(parse_finding_item(item_with("line_number", Value::Mapping{}), "w"), TypeError);
  EXPECT_THROW(parse_finding_item(item_with("confidence", "high"), "w"), InvalidValueError);
  EXPECT_THROW(parse_finding_item(item_with("confidence", Value::Sequence{}), "w"), TypeError);
}

TEST(ParseFindingItem, FirstFailingValueIsReported) {
  const Value both = Value::Mapping{{"confidence", "x"}, {"line_number", "y"}};
  const auto failure = [&](const Value& agent_default) {
    return testing::failure_of([&] { parse_finding_item(both, "wynn", agent_default); });
  };
  EXPECT_NE(failure("minor").message.find("\"line_number\""), std::string::npos)
      << failure("minor").message;
  // The severity is settled before any conversion.
  EXPECT_EQ(failure(5).kind, "TypeError") << failure(5).message;
}

TEST(ParseFindingItem, PassesValuesThroughAndDetectsLanguage) {
  const Value item = Value::Mapping{{"file_path", "src/app.ts"},
                                    {"issue", Value::Sequence{"not", "a string"}},
                                    {"suggestion", 12},
                                    {"category", 5},
                                    {"ignored", "x"}};
  const std::optional<AIReview> f = parse_finding_item(item, "corvin");
  ASSERT_TRUE(f);
  EXPECT_EQ(f->file_path, Value("src/app.ts"));
  EXPECT_EQ(f->language, "typescript");
  EXPECT_EQ(f->issue, Value(Value::Sequence{"not", "a string"}));
  EXPECT_EQ(f->suggestion, Value(12));
  EXPECT_EQ(f->category, "architecture");
  EXPECT_EQ(f->agent_name, "corvin");
}

// Only a mapping is a finding; a read item is left alone, and one given
// away gives the same finding.
TEST(ParseFindingItem, AnItemGivenAwayGivesTheSameFinding) {
  const Value items[] = {
      Value::Mapping{{"file_path", "src/Db.PY"},
                     {"line_number", "7"},
                     {"severity", "Critical"},
                     {"issue", std::string(40, 'i')},
                     {"suggestion", Value::Mapping{{"a", std::string(30, 's')}}},
                     {"confidence", 0.25},
                     {"category", " Security "},
                     {"code_replacement", Value::Sequence{"```py", 3, std::string(20, 'x')}},
                     {"replacement_line_count", 2.9}},
      // Keys that only look like the ones read, and one that is not text.
      Value::Mapping{{"issues", "x"}, {"Issue", "y"}, {"file_pat", "z"}, {5, "w"}},
      Value::Mapping{{"file_path", Value()}, {"code_replacement", Value::Sequence{1}}},
  };
  std::vector<AIReview> appended;
  for (const Value& item : items) {
    const Value kept = item;
    const std::optional<AIReview> read = parse_finding_item(item, "hesper");
    EXPECT_EQ(item, kept) << "a read item is left as it was";
    EXPECT_EQ(parse_finding_item(Value(item), "hesper"), read) << item;
    ASSERT_TRUE(detail::append_finding_item(Value(item), "hesper", Value("minor"), appended));
    EXPECT_EQ(appended.back(), *read) << item;
  }
  for (const Value& item : {Value("finding"), Value(3), Value(), Value(Value::Sequence{})}) {
    EXPECT_EQ(parse_finding_item(item, "hesper"), std::nullopt) << item;
    EXPECT_FALSE(detail::append_finding_item(Value(item), "hesper", Value("minor"), appended));
  }
  EXPECT_THROW(detail::append_finding_item(item_with("line_number", "seven"), "hesper",
                                           Value("minor"), appended),
               InvalidValueError);
  EXPECT_EQ(appended.size(), std::size(items)) << "a skipped or failing item adds nothing";
  const std::optional<AIReview> f = parse_finding_item(items[0], "hesper");
  ASSERT_TRUE(f);
  EXPECT_EQ(f->language, "python");
  EXPECT_EQ(f->code_replacement, (Lines{{"~~~py", std::string(20, 'x')}}));
  EXPECT_EQ(f->replacement_line_count, 2);
  EXPECT_EQ(f->issue, Value(std::string(40, 'i')));
  EXPECT_EQ(parse_finding_item(items[1], "hesper")->issue, Value(""));
  EXPECT_EQ(parse_finding_item(items[1], "hesper")->file_path, Value("unknown"));
}

TEST(ParseFindingItem, HostileValuesDoNotCrash) {
  Value deep;
  for (int i = 0; i < 20000; ++i) {
    Value::Sequence wrapper;
    wrapper.push_back(std::move(deep));  // a braced list would copy the whole tree
    deep = std::move(wrapper);
  }
  const Value item = Value::Mapping{{"issue", deep},
                                    {"severity", "\xff\xc3"},
                                    {"category", "\xe2\x80"},
                                    {"file_path", "\xff/\xfe.py"},
                                    {"code_replacement", Value::Sequence{deep, "ok"}}};
  const std::optional<AIReview> f = parse_finding_item(item, "\xff");
  ASSERT_TRUE(f);
  EXPECT_EQ(f->severity, "low");
  EXPECT_EQ(f->category, "code-quality");
  EXPECT_EQ(f->language, "python");
  EXPECT_EQ(f->code_replacement, Lines{{"ok"}});
  EXPECT_EQ(f->issue, deep);
}

}  // namespace
}  // namespace tessik
