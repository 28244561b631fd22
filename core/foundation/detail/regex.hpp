// A compiled PCRE2 pattern with bounded matching.
//
//   static const detail::Regex kHeading("heading", "^## ", {.multi_line = true});
//   if (auto m = kHeading.find(text, from)) use(m->begin());
//
// Patterns are compiled once (typically into a function-local static) and
// are immutable afterwards; every `find` makes its own match data, so one
// `Regex` may be used from many threads at the same time.
//
// Patterns run in UTF mode on UTF-8 subjects. Invalid UTF-8 in a subject is
// no error: such bytes never match anything, not even ".". Line ends are LF
// only.
//
// White space: in a pattern given to `Regex`, "\s" means the library's
// white-space set (`is_space` in text.hpp, which includes U+001C..U+001F and
// U+0085 and so differs from PCRE2's own "\s"). The constructor rewrites
// every "\s" into the explicit class `WHITE_SPACE_CLASS`, inside a bracketed
// class too. "\S" is refused rather than given a meaning of its own.
//
// Every match runs under explicit limits (`RegexLimits`): PCRE2's match
// limit (steps per start position), depth limit (nested backtracking) and
// heap limit. By default the step budget grows with the subject's length,
// since the patterns of this library are linear; a search that exceeds a
// limit throws InvalidValueError naming the pattern and the limit, and never
// crashes or runs away.
#ifndef TESSIK_FOUNDATION_DETAIL_REGEX_HPP_
#define TESSIK_FOUNDATION_DETAIL_REGEX_HPP_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <tessik/foundation/limits.hpp>
#include <vector>

namespace tessik::detail {

// The library's white-space set as a PCRE2 character class (UTF mode).
inline constexpr std::string_view WHITE_SPACE_CLASS =
    "[\\x{9}-\\x{D}\\x{1C}-\\x{20}\\x{85}\\x{A0}\\x{1680}\\x{2000}-\\x{200A}"
    "\\x{2028}\\x{2029}\\x{202F}\\x{205F}\\x{3000}]";

// Compile-time options of a pattern.
struct RegexOptions {
  bool anchored = false;    // match only at the start position, never search on
  bool dot_all = false;     // "." also matches a line feed
  bool multi_line = false;  // "^" also matches after every line feed
  // Compiles the pattern to machine code as well, when PCRE2 can (else it is
  // interpreted as usual). Only for patterns that stay linear on any
  // subject: compiled code honours the match-step limit but not the depth
  // and memory limits, and reports running out of its own stack as a
  // failure of the pattern.
  bool compiled = false;
};

// Bounds of one `find`. `match_steps` bounds PCRE2's internal match calls
// per start position, `depth` its backtracking depth, `heap_kib` the memory
// it may take for backtracking frames.
struct RegexLimits {
  std::uint32_t match_steps;
  std::uint32_t depth;
  std::uint32_t heap_kib;

  // The default limits for a subject of `subject_size` bytes: a fixed base
  // plus `REGEX_STEPS_PER_BYTE` steps per byte, enough for any pattern that
  // scans its subject a few times, far too little for one that backtracks
  // quadratically on a large text.
  static RegexLimits for_subject(std::size_t subject_size) noexcept;
};
inline constexpr std::uint32_t REGEX_BASE_STEPS = limits::kRegexBaseSteps;
inline constexpr std::uint32_t REGEX_STEPS_PER_BYTE = limits::kRegexStepsPerByte;
inline constexpr std::uint32_t REGEX_DEPTH_LIMIT = limits::kRegexDepth;
inline constexpr std::uint32_t REGEX_HEAP_LIMIT_KIB = limits::kRegexHeapKiB;

class Regex {
 public:
  // The spans of one match in the subject given to `find`. Views into that
  // subject: valid as long as it is.
  class Match {
   public:
    // Start and end byte offsets of group `i` (0: the whole match), or
    // `std::string_view::npos` for both when the group did not take part.
    std::size_t begin(std::size_t i = 0) const { return offsets_.at(2 * i); }
    std::size_t end(std::size_t i = 0) const { return offsets_.at(2 * i + 1); }
    // The text of group `i`; empty when the group did not take part.
    std::string_view group(std::size_t i = 0) const;

   private:
    friend class Regex;
    std::string_view subject_;
    std::vector<std::size_t> offsets_;
  };

  // Compiles `pattern` (with "\s" rewritten, see above). `name` identifies
  // the pattern in error messages. Throws std::logic_error when the pattern
  // does not compile: patterns are part of the program, not of its input.
  Regex(std::string name, std::string_view pattern, RegexOptions options = {});
  ~Regex();
  // A compiled pattern is shared by reference, never copied.
  Regex(const Regex&) = delete;
  Regex& operator=(const Regex&) = delete;

  // The leftmost match that starts at or after byte offset `start` (exactly
  // at `start` for an anchored pattern), or nullopt. "^" in multi-line mode
  // sees the byte before `start`, so a search from the middle of a text
  // treats line starts as the whole text would. Throws InvalidValueError
  // when a limit is reached or PCRE2 reports another matching error;
  // std::out_of_range when `start` lies beyond the subject.
  std::optional<Match> find(std::string_view subject, std::size_t start = 0) const;
  std::optional<Match> find(std::string_view subject, std::size_t start,
                            const RegexLimits& limits) const;

  const std::string& name() const noexcept { return name_; }

 private:
  std::string name_;
  void* code_ = nullptr;  // pcre2_code_8, kept opaque so that this header needs no pcre2.h
};

// Rewrites every "\s" of a PCRE2 pattern into `WHITE_SPACE_CLASS` (its
// members only, inside a bracketed class). Throws std::logic_error for "\S".
std::string with_white_space_class(std::string_view pattern);

}  // namespace tessik::detail

#endif  // TESSIK_FOUNDATION_DETAIL_REGEX_HPP_
