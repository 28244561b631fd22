#include <tessik/foundation/detail/regex.hpp>

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <algorithm>
#include <memory>
#include <stdexcept>

#include <tessik/foundation/errors.hpp>

namespace tessik::detail {
namespace {

pcre2_code* as_code(void* code) { return static_cast<pcre2_code*>(code); }

std::string pcre2_message(int error_code) {
  PCRE2_UCHAR buffer[256];
  const int n = pcre2_get_error_message(error_code, buffer, sizeof buffer);
  if (n < 0) return "PCRE2 error " + std::to_string(error_code);
  return {reinterpret_cast<const char*>(buffer), static_cast<std::size_t>(n)};
}

struct MatchDataFree {
  void operator()(pcre2_match_data* p) const noexcept { pcre2_match_data_free(p); }
};
struct MatchContextFree {
  void operator()(pcre2_match_context* p) const noexcept { pcre2_match_context_free(p); }
};

}  // namespace

std::string with_white_space_class(std::string_view pattern) {
  const std::string_view members = WHITE_SPACE_CLASS.substr(1, WHITE_SPACE_CLASS.size() - 2);
  std::string out;
  out.reserve(pattern.size());
  bool in_class = false;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    const char c = pattern[i];
    if (c == '\\' && i + 1 < pattern.size()) {
      const char next = pattern[++i];
      if (next == 'S') throw std::logic_error("\\S is not supported in library patterns");
      if (next == 's') {
        out += in_class ? members : WHITE_SPACE_CLASS;
      } else {
        out += c;
        out += next;
      }
      continue;
    }
    if (!in_class && c == '[') {
      in_class = true;
      out += c;
      // A "]" right after "[" or "[^" is a member, not the end of the class.
      if (i + 1 < pattern.size() && pattern[i + 1] == '^') out += pattern[++i];
      if (i + 1 < pattern.size() && pattern[i + 1] == ']') out += pattern[++i];
      continue;
    }
    if (in_class && c == ']') in_class = false;
    out += c;
  }
  return out;
}

RegexLimits RegexLimits::for_subject(std::size_t subject_size) noexcept {
  constexpr std::uint64_t kMax = UINT32_MAX;
  const std::uint64_t steps =
      REGEX_BASE_STEPS + std::min<std::uint64_t>(subject_size, kMax) * REGEX_STEPS_PER_BYTE;
  return {static_cast<std::uint32_t>(std::min(steps, kMax)), REGEX_DEPTH_LIMIT,
          REGEX_HEAP_LIMIT_KIB};
}

std::string_view Regex::Match::group(std::size_t i) const {
  const std::size_t b = begin(i);
  if (b == std::string_view::npos) return {};
  return subject_.substr(b, end(i) - b);
}

Regex::Regex(std::string name, std::string_view pattern, RegexOptions options)
    : name_(std::move(name)) {
  const std::string source = with_white_space_class(pattern);
  std::uint32_t flags = PCRE2_UTF | PCRE2_MATCH_INVALID_UTF | PCRE2_NEVER_BACKSLASH_C;
  if (options.anchored) flags |= PCRE2_ANCHORED;
  if (options.dot_all) flags |= PCRE2_DOTALL;
  if (options.multi_line) flags |= PCRE2_MULTILINE;

  pcre2_compile_context* context = pcre2_compile_context_create(nullptr);
  if (context == nullptr) throw std::bad_alloc();
  pcre2_set_newline(context, PCRE2_NEWLINE_LF);
  int error_code = 0;
  PCRE2_SIZE error_offset = 0;
  code_ = pcre2_compile(reinterpret_cast<PCRE2_SPTR>(source.data()), source.size(), flags,
                        &error_code, &error_offset, context);
  pcre2_compile_context_free(context);
  if (code_ == nullptr) {
    throw std::logic_error("pattern " + name_ + " does not compile at offset " +
                           std::to_string(error_offset) + ": " + pcre2_message(error_code));
  }
  // A failure here (no compiler for this machine, executable memory refused)
  // leaves the pattern interpreted, which gives the same matches.
  if (options.compiled) pcre2_jit_compile(as_code(code_), PCRE2_JIT_COMPLETE);
}

Regex::~Regex() { pcre2_code_free(as_code(code_)); }

std::optional<Regex::Match> Regex::find(std::string_view subject, std::size_t start) const {
  return find(subject, start, RegexLimits::for_subject(subject.size()));
}

std::optional<Regex::Match> Regex::find(std::string_view subject, std::size_t start,
                                        const RegexLimits& limits) const {
  if (start > subject.size()) {
    throw std::out_of_range("pattern " + name_ + ": start offset beyond the text");
  }
  std::unique_ptr<pcre2_match_context, MatchContextFree> context(
      pcre2_match_context_create(nullptr));
  std::unique_ptr<pcre2_match_data, MatchDataFree> data(
      pcre2_match_data_create_from_pattern(as_code(code_), nullptr));
  if (!context || !data) throw std::bad_alloc();
  pcre2_set_match_limit(context.get(), limits.match_steps);
  pcre2_set_depth_limit(context.get(), limits.depth);
  pcre2_set_heap_limit(context.get(), limits.heap_kib);

  const int rc = pcre2_match(as_code(code_), reinterpret_cast<PCRE2_SPTR>(subject.data()),
                             subject.size(), start, 0, data.get(), context.get());
  if (rc == PCRE2_ERROR_NOMATCH) return std::nullopt;
  if (rc < 0) {
    std::string what;
    switch (rc) {
      case PCRE2_ERROR_MATCHLIMIT:
        what = "the match limit of " + std::to_string(limits.match_steps) + " steps";
        break;
      case PCRE2_ERROR_DEPTHLIMIT:
        what = "the backtracking depth limit of " + std::to_string(limits.depth);
        break;
      case PCRE2_ERROR_HEAPLIMIT:
        what = "the backtracking memory limit of " + std::to_string(limits.heap_kib) + " KiB";
        break;
      default:
        throw InvalidValueError("pattern " + name_ + " failed on a text of " +
                                std::to_string(subject.size()) + " bytes: " + pcre2_message(rc));
    }
    throw InvalidValueError("pattern " + name_ + " gave up on a text of " +
                            std::to_string(subject.size()) + " bytes: it reached " + what + " (" +
                            pcre2_message(rc) + ")");
  }

  Match match;
  match.subject_ = subject;
  const std::uint32_t pairs = pcre2_get_ovector_count(data.get());
  const PCRE2_SIZE* ovector = pcre2_get_ovector_pointer(data.get());
  match.offsets_.reserve(std::size_t{2} * pairs);
  for (std::uint32_t i = 0; i < 2 * pairs; ++i) {
    match.offsets_.push_back(ovector[i] == PCRE2_UNSET ? std::string_view::npos : ovector[i]);
  }
  return match;
}

}  // namespace tessik::detail
