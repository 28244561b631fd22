// Conversions, text and literal forms, white space (and the regex class of
// it), case mapping, code points, file reading, path text and the constant
// lookup tables.
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <tessik/foundation/detail/const_table.hpp>
#include <tessik/foundation/detail/regex.hpp>
#include <tessik/foundation/detail/utf8.hpp>
#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/text.hpp>

#include "failure.hpp"
#include "temp_dir.hpp"

namespace tessik {
namespace {

const double kInf = std::numeric_limits<double>::infinity();
const double kNaN = std::numeric_limits<double>::quiet_NaN();

// Whether `convert` gives `expected`: the text form of what it returns (so
// 1 and 1.0 differ), the kind of what it throws, or that kind, ": " and the
// whole message.
template <class F>
::testing::AssertionResult gives(F convert, const std::string& expected) {
  std::string got;
  const testing::Failure f = testing::failure_of([&] { got = text_form(convert()); });
  if (!f.kind.empty()) got = f.kind + ": " + f.message;
  if (got == expected || (!f.kind.empty() && f.kind == expected)) {
    return ::testing::AssertionSuccess();
  }
  return ::testing::AssertionFailure() << "gave " << got;
}

struct Conversion {
  const char* name;
  Value input;
  const char* expected;
};

TEST(Conversions, ToIntAndToFloatConvertOrFailWithTheRightKindAndMessage) {
  const Conversion ints[] = {
      {"integer unchanged", Value(42), "42"},
      {"float truncates toward zero", Value(12.9), "12"},
      {"negative float truncates toward zero", Value(-1.5), "-1"},
      {"true is one", Value(true), "1"},
      {"false is zero", Value(false), "0"},
      {"blanks around digits", Value(" 42 "), "42"},
      {"unicode blanks around digits", Value("\u3000" + std::string("7\u00a0")), "7"},
      {"explicit plus", Value("+7"), "7"},
      {"single underscores", Value("1_000"), "1000"},
      {"int64 min", Value("-9223372036854775808"), "-9223372036854775808"},
      {"hex refused", Value("0x2A"), "ValueError"},
      {"empty refused", Value(""), "ValueError"},
      {"double underscore refused", Value("1__0"), "ValueError"},
      {"leading underscore refused", Value("_1"), "ValueError"},
      {"sign alone refused", Value("-"), "ValueError"},
      {"NUL inside refused", Value(std::string("4\0002", 3)), "ValueError"},  // octal NUL
      {"huge decimal overflows", Value("9223372036854775808"), "OverflowError"},
      {"a word", Value("five"), "ValueError: expected an integer, got the text 'five'"},
      {"a decimal", Value("42.0"), "ValueError: expected an integer, got the text '42.0'"},
      {"twenty digits", Value("99999999999999999999"),
       "OverflowError: expected an integer within the 64-bit range, got the text "
       "'99999999999999999999'"},
      {"a float past the range", Value(9223372036854775808.0),
       "OverflowError: expected an integer within the 64-bit range, got the number "
       "9.223372036854776e+18"},
      {"NaN", Value(kNaN), "ValueError: expected an integer, got the number nan"},
      {"infinity", Value(kInf), "OverflowError: expected an integer, got the number inf"},
      {"null", Value(), "TypeError: expected an integer, got null"},
      {"a list", Value(Value::Sequence{1, 2}),
       "TypeError: expected an integer, got a list of 2 items"},
      {"a mapping", Value(Value::Mapping{{"a", 1}}),
       "TypeError: expected an integer, got a mapping of 1 key"},
  };
  const Conversion floats[] = {
      {"integer", Value(3), "3.0"},
      {"float unchanged", Value(0.25), "0.25"},
      {"true", Value(true), "1.0"},
      {"plain decimal", Value("0.8"), "0.8"},
      {"leading point with blanks", Value(" .5 "), "0.5"},
      {"exponent", Value("1E-1"), "0.1"},
      {"largest double", Value("1.7976931348623157e308"), "1.7976931348623157e+308"},
      {"zero with a huge exponent", Value("0e99999999999999999999"), "0.0"},
      {"trailing point", Value("5."), "5.0"},
      {"underscores", Value("1_0.2_5"), "10.25"},
      {"infinity any case", Value("-InFiNiTy"), "-inf"},
      {"inf with plus", Value("+inf"), "inf"},
      {"overflowing literal is infinity", Value("1e999"), "inf"},
      {"underflowing literal is zero", Value("1e-999"), "0.0"},
      {"subnormal literal kept", Value("-2.5e-320"), "-2.5e-320"},
      {"underscores in the exponent", Value("1e1_0"), "10000000000.0"},
      {"underscore after the point refused", Value("1._5"), "ValueError"},
      {"infinity passes through", Value(kInf), "inf"},
      {"nan", Value("nan"), "nan"},
      {"signed NaN with blanks", Value(" -NaN "), "nan"},
      {"bare exponent refused", Value("e5"), "ValueError"},
      {"exponent without digits refused", Value("1e+"), "ValueError"},
      {"double underscore refused", Value("1__0.0"), "ValueError"},
      {"hex refused", Value("0x1p3"), "ValueError"},
      {"empty refused", Value(""), "ValueError"},
      {"lone point refused", Value("."), "ValueError"},
      {"a line break is escaped in the message", Value("x\ny"),
       "ValueError: expected a number, got the text 'x\\ny'"},
      {"null", Value(), "TypeError: expected a number, got null"},
  };
  for (const Conversion& c : ints) {
    EXPECT_TRUE(gives([&] { return Value(to_int(c.input)); }, c.expected)) << "to_int: " << c.name;
  }
  for (const Conversion& c : floats) {
    EXPECT_TRUE(gives([&] { return Value(to_float(c.input)); }, c.expected)) << c.name;
  }
}

TEST(TextForm, SpellsEveryKind) {
  struct Case {
    Value input;
    const char* expected;
  } const cases[] = {
      {Value(1.0), "1.0"},
      {Value(2.5), "2.5"},
      {Value(0.0001), "0.0001"},
      {Value(0.00001), "1e-05"},
      {Value(1e16), "1e+16"},
      {Value(1.5e16), "1.5e+16"},
      {Value(123456789012345.0), "123456789012345.0"},
      {Value(1e15), "1000000000000000.0"},
      {Value(0.1), "0.1"},
      {Value(1.1), "1.1"},
      {Value(1e-300), "1e-300"},
      {Value(kInf), "inf"},
      {Value(-kInf), "-inf"},
      {Value(kNaN), "nan"},
      {Value(-0.0), "-0.0"},
      {Value(-12), "-12"},
      {Value(true), "True"},
      {Value(false), "False"},
      {Value(), "None"},
      {Value("as is"), "as is"},
      {Value(Value::Sequence{1, "a", Value()}), "[1, 'a', None]"},
      {Value(Value::Mapping{{"k", 1.0}}), "{'k': 1.0}"},
  };
  for (const Case& c : cases) EXPECT_EQ(text_form(c.input), c.expected) << c.expected;
}

TEST(Repr, QuotesAndEscapesLikeALiteral) {
  struct Case {
    const char* name;
    Value input;
    const char* expected;
  } const cases[] = {
      {"plain", Value("abc"), "'abc'"},
      {"single quote switches to double", Value("it's"), "\"it's\""},
      {"both quotes keep single and escape it", Value("it's \"x\""), "'it\\'s \"x\"'"},
      {"escapes", Value("a\\b\n\r\t"), "'a\\\\b\\n\\r\\t'"},
      {"control byte", Value(std::string("\x01\x7f", 2)), "'\\x01\\x7f'"},
      {"NUL", Value(std::string("\0", 1)), "'\\x00'"},
      {"printable non-ASCII kept", Value("caf\u00e9 \u2014 \U0001F600"),
       "'caf\u00e9 \u2014 \U0001F600'"},
      {"latin-1 non-printable", Value("\u0085\u00a0"), "'\\x85\\xa0'"},
      {"BMP non-printable", Value("\u2028\u200b"), "'\\u2028\\u200b'"},
      {"astral non-printable", Value("\U000E0001"), "'\\U000e0001'"},
      {"invalid UTF-8 byte", Value(std::string("a\xff", 2)), "'a\\xff'"},
      {"null", Value(), "None"},
      {"boolean", Value(false), "False"},
      {"float", Value(1e-5), "1e-05"},
      {"nested", Value(Value::Mapping{{"a", Value::Sequence{}}, {1, Value::Mapping{}}}),
       "{'a': [], 1: {}}"},
      {"container keys", Value(Value::Mapping{{Value::Sequence{1, "x"}, 2}, {Value::Mapping{}, 3}}),
       "{[1, 'x']: 2, {}: 3}"},
  };
  for (const Case& c : cases) EXPECT_EQ(repr(c.input), c.expected) << c.name;
}

// Every white space character, as strip() and the regex class \s see it.
const std::string kWhiteSpace =
    "\t\n\v\f\r\x1c\x1d\x1e\x1f \u0085\u00a0\u1680\u2000\u200a\u2028\u2029\u202f\u205f\u3000";

TEST(WhiteSpace, StripsExactlyTheSet) {
  EXPECT_EQ(strip(kWhiteSpace + "x" + kWhiteSpace), "x");
  // Zero-width space and BOM are not white space.
  EXPECT_EQ(strip("\u200bx\ufeff"), "\u200bx\ufeff");
  EXPECT_EQ(lstrip("  a b  "), "a b  ");
  EXPECT_EQ(rstrip("  a b  "), "  a b");
  EXPECT_EQ(strip(std::string("\xff  ", 3)), "\xff");
  EXPECT_EQ(strip("   "), "");
}

TEST(WhiteSpace, MixedTailsAndIllFormedBytes) {
  struct Case {
    const char* name;
    std::string input;
    std::string rstripped;
    std::string lstripped;
  } const cases[] = {
      {"ASCII and non-ASCII blanks alternate", "ab\u00a0 \u3000\t\u2029 ", "ab",
       "ab\u00a0 \u3000\t\u2029 "},
      {"leading mix", " \u3000\u00a0\tx", " \u3000\u00a0\tx", "x"},
      {"ends in a non-blank letter", "x \u00e9", "x \u00e9", "x \u00e9"},
      {"only blanks", "\u00a0 \u3000", "", ""},
      {"lone lead byte before a blank", "a\xc2 ", "a\xc2", "a\xc2 "},
      {"truncated blank at the end", "a \xe3\x80", "a \xe3\x80", "a \xe3\x80"},
      {"continuation byte before a blank", "\x80\u00a0", "\x80", "\x80\u00a0"},
      {"blank after a long ASCII run", std::string(40, 'x') + "\u2000", std::string(40, 'x'),
       std::string(40, 'x') + "\u2000"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(rstrip(c.input), c.rstripped) << c.name;
    EXPECT_EQ(lstrip(c.input), c.lstripped) << c.name;
  }
}

TEST(Utf8, FirstInvalidAtEveryOffsetOfAWord) {
  // Ill-formed bytes after ASCII runs of every length around the 8-byte
  // steps of the fast path, and after a valid multi-byte character.
  for (std::size_t run = 0; run < 20; ++run) {
    const std::string ascii(run, 'a');
    EXPECT_EQ(utf8::first_invalid(ascii), std::string_view::npos) << run;
    EXPECT_EQ(utf8::first_invalid(ascii + "\xff" + ascii), run) << run;
    EXPECT_EQ(utf8::first_invalid(ascii + "\u00e9" + ascii + "\x80"), 2 * run + 2) << run;
    EXPECT_EQ(utf8::first_invalid(ascii + "\xed\xa0\x80"), run) << run;
    EXPECT_EQ(utf8::first_invalid(ascii + "\xe4\xb8"), run) << run;
  }
}

TEST(CaseMapping, LowerAndTitle) {
  struct Case {
    const char* input;
    const char* expected;
  } const titles[] = {
      {"security", "Security"},
      {"code-quality", "Code-Quality"},
      {"api_checker", "Api_Checker"},
      {"SQL bot", "Sql Bot"},
      {"x2y", "X2Y"},
      {"\u00dfa", "Ssa"},
      {"o'neil", "O'Neil"},
      {"3rd", "3Rd"},
      {"hello wORLD", "Hello World"},
      {"\u01c6emal", "\u01c5emal"},
      {"\ufb01re", "Fire"},
      {"\u03a3\u0391\u03a3 \u039f\u0394\u039f\u03a3",
       "\u03a3\u03b1\u03c2 \u039f\u03b4\u03bf\u03c2"},
      {"\u0391\u03a3'\u03a3", "\u0391\u03c3'\u03a3"},
      {"\u03a3", "\u03a3"},
      {"", ""},
  };
  for (const Case& c : titles) EXPECT_EQ(title(c.input), c.expected) << c.input;
  EXPECT_EQ(lower("HIGH \u0130\u03a3"), "high i\u0307\u03c2");
  // Invalid UTF-8 (octal 377 is the byte 0xFF) passes through.
  EXPECT_EQ(lower("A\377B"), "a\377b");
  // The sigma's context reaches back over ASCII letters.
  EXPECT_EQ(lower("AB\u03a3 CD"), "ab\u03c2 cd");
  EXPECT_EQ(lower(std::string(30, 'Q')), std::string(30, 'q'));
  EXPECT_EQ(title("a\377b"), "A\377B");
}

TEST(CodePoints, CountAndCut) {
  EXPECT_EQ(code_point_count("\u00e9\u00e9\u00e9"), 3u);
  EXPECT_EQ(code_point_count(std::string("a\xff\xfe", 3)), 3u);
  // Each byte of a truncated sequence counts on its own.
  EXPECT_EQ(code_point_count("\xe4\xb8"), 2u);
  EXPECT_EQ(first_code_points("\xe4\xb8z", 1), "\xe4");
  EXPECT_EQ(first_code_points("\u00e9a\U0001F600b", 3), "\u00e9a\U0001F600");
  EXPECT_EQ(first_code_points("ab", 80), "ab");
  // A cut never splits a multi-byte character.
  EXPECT_EQ(first_code_points("\u4e2d\u6587", 1), "\u4e2d");
}

TEST(PathText, TidiesLexically) {
  struct Case {
    const char* input;
    const char* expected;
  } const cases[] = {
      {"", "."},  {".", "."},    {"a//b/", "a/b"},   {"./a/./b", "a/b"}, {"a/../b", "a/../b"},
      {"/", "/"}, {"//x", "/x"}, {"/a/b/.", "/a/b"},
  };
  for (const Case& c : cases) EXPECT_EQ(path_text(c.input), c.expected) << c.input;
}

TEST(ReadTextFile, KeepsEveryByteButNormalisesLineEnds) {
  const testing::TempDir tmp;
  const std::string bom_and_nul = "\xef\xbb\xbf" + std::string("a\0b", 3);
  EXPECT_EQ(read_text_file(tmp.write("a.md", "a\r\nb\rc\n\r\n")), "a\nb\nc\n\n");
  EXPECT_EQ(read_text_file(tmp.write("bom.md", bom_and_nul)), bom_and_nul);
  EXPECT_EQ(read_text_file(tmp.write("fits.md", std::string(10, 'x')), 10).size(), 10u);
}

TEST(ReadTextFile, FailuresHaveTheirKinds) {
  const testing::TempDir tmp;
  const std::filesystem::path fifo = tmp / "pipe.md", missing = tmp / "missing.md";
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  const auto kind = [](const std::filesystem::path& p, std::size_t max_bytes = kMaxTextFileBytes) {
    return testing::failure_of([&] { read_text_file(p, max_bytes); }).kind;
  };
  EXPECT_EQ(kind(missing), "FileNotFoundError");
  EXPECT_EQ(testing::failure_of([&] { read_text_file(missing); }).message,
            "cannot read " + missing.string() + ": it does not exist");
  EXPECT_EQ(kind(tmp.path()), "IsADirectoryError");
  EXPECT_EQ(kind(fifo), "OSError") << "a FIFO is refused, without blocking";
  EXPECT_EQ(kind(tmp.write("big.md", std::string(11, 'x')), 10), "ValueError");
  if (::geteuid() == 0) GTEST_SKIP() << "root reads everything";
  const auto locked = tmp.write("locked.md", "x");
  std::filesystem::permissions(locked, std::filesystem::perms::none);
  EXPECT_EQ(kind(locked), "PermissionError");
}

TEST(ReadTextFile, InvalidUtf8NamesTheBytePosition) {
  const testing::TempDir tmp;
  struct Case {
    const char* name;
    std::string bytes;
    std::string message;  // after "<path> is not valid UTF-8: "
    TextPosition at;
  } const cases[] = {
      {"bad continuation", "ok\n\xc3(", "byte 0xC3 at offset 3", {2, 1}},
      {"stray continuation", "a\x80", "byte 0x80 at offset 1", {1, 2}},
      {"overlong lead", "\xc0\xaf", "byte 0xC0 at offset 0", {1, 1}},
      {"surrogate", "\xed\xa0\x80", "byte 0xED at offset 0", {1, 1}},
      {"truncated at the end",
       "ab\xe4\xb8",
       "bytes 0xE4 0xB8 at offset 2 (cut off by the end of the file)",
       {1, 3}},
      {"valid prefix then a bad byte", "\xf0\x9f\x98x", "bytes 0xF0 0x9F 0x98 at offset 0", {1, 1}},
      {"after CR LF, a lone CR and a two-byte character",
       "a\r\nb\r\xc3\xa9\xff",
       "byte 0xFF at offset 7",
       {3, 2}},
  };
  for (const Case& c : cases) {
    const std::filesystem::path file = tmp.write("bad.md", c.bytes);
    const testing::Failure f = testing::failure_of([&] { read_text_file(file); });
    EXPECT_EQ(f.kind, "UnicodeDecodeError") << c.name;
    EXPECT_EQ(f.message, file.string() + " is not valid UTF-8: " + c.message) << c.name;
    EXPECT_EQ(f.at, c.at) << c.name;
  }
}

using detail::ConstStringMap;
using detail::ConstStringSet;
using detail::Regex;
using detail::RegexLimits;

TEST(Regex, WhiteSpaceIsTheLibrarySet) {
  const std::string cls(detail::WHITE_SPACE_CLASS);
  const std::string members = cls.substr(1, cls.size() - 2);
  EXPECT_EQ(detail::with_white_space_class("a\\s*[\\s,]\\\\s"),
            "a" + cls + "*[" + members + ",]\\\\s");
  EXPECT_THROW(detail::with_white_space_class("\\S"), std::logic_error);

  const Regex ws("ws", "^\\s+$", {.anchored = true});
  EXPECT_TRUE(ws.find(kWhiteSpace));
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

// Written out of key order on purpose: lookups must not depend on it.
constexpr ConstStringMap kMap(
    {{"pear", "green"}, {"apple", "red"}, {"fig", "purple"}, {"", "empty"}, {"Apple", "upper"}});
constexpr ConstStringSet kSet({"on", "yes", "On", "true"});

static_assert(kMap.size() == 5 && kMap.contains("fig") && !kMap.contains("figs"));
static_assert(kSet.contains("On") && !kSet.contains("ON"));

TEST(ConstTable, FindsEveryKeyExactlyAndIteratesInWrittenOrder) {
  std::vector<std::string_view> keys;
  for (const auto& [key, value] : kMap) {
    keys.push_back(key);
    EXPECT_EQ(kMap.at(key), value);
    EXPECT_EQ(kMap.find(key)->first, key);
  }
  EXPECT_EQ(keys, (std::vector<std::string_view>{"pear", "apple", "fig", "", "Apple"}));
  for (std::string_view absent : {"APPLE", "apple ", "appl", "zzz", "a"}) {
    EXPECT_EQ(kMap.find(absent), kMap.end()) << absent;
    EXPECT_EQ(kMap.value_or(absent, "none"), "none") << absent;
    EXPECT_EQ(kMap.count(absent), 0u) << absent;
    EXPECT_THROW((void)kMap.at(absent), std::out_of_range) << absent;
  }
  EXPECT_EQ(kMap.value_or("fig", "none"), "purple");
  EXPECT_EQ(std::vector<std::string_view>(kSet.begin(), kSet.end()),
            (std::vector<std::string_view>{"on", "yes", "On", "true"}));
}

TEST(ConstTable, ARepeatedKeyIsRefused) {
  // Outside constant evaluation the refusal is an exception.
  const std::string_view members[] = {"a", "b", "a"};
  EXPECT_THROW(ConstStringSet<3>{members}, std::logic_error);
  const std::pair<std::string_view, std::string_view> entries[] = {{"k", "1"}, {"k", "2"}};
  EXPECT_THROW(ConstStringMap<2>{entries}, std::logic_error);
  const std::string_view distinct[] = {"a", "b", "ab"};
  EXPECT_NO_THROW(ConstStringSet<3>{distinct});
}

}  // namespace
}  // namespace tessik
