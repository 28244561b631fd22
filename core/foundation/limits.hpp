// Every limit the library puts on untrusted input, in one place.
//
// Definition files and guard-rails documents can come from an untrusted pull
// request, and model replies can be steered by text inside the diff under
// review. Each limit below turns an input that would exhaust memory, time or
// the call stack into an ordinary failure of a documented kind. The headers
// named beside each limit re-export it under the name their callers use.
#ifndef TESSIK_FOUNDATION_LIMITS_HPP_
#define TESSIK_FOUNDATION_LIMITS_HPP_

#include <cstddef>
#include <cstdint>

namespace tessik::limits {

// Largest agent definition file read (parsers.hpp); a larger one is an
// InvalidValueError before it is read whole.
inline constexpr std::size_t kDefinitionFileBytes = std::size_t{4} << 20;

// Largest text file `read_text_file` reads by default, e.g. the guard-rails
// document (text.hpp); InvalidValueError.
inline constexpr std::size_t kTextFileBytes = std::size_t{64} << 20;

// YAML (yaml.hpp), all YamlError: input size, nesting depth, nodes built
// (every node an alias repeats counts), scalar text built.
inline constexpr std::size_t kYamlInputBytes = std::size_t{8} << 20;
inline constexpr std::size_t kYamlDepth = 512;
inline constexpr std::size_t kYamlNodes = 1'000'000;
inline constexpr std::size_t kYamlScalarBytes = std::size_t{64} << 20;

// JSON nesting depth (json.hpp); InvalidValueError.
inline constexpr std::size_t kJsonDepth = 512;

// Largest model reply the classifier parses (terminal_state.hpp); a larger
// one becomes the error verdict "response_too_large".
inline constexpr std::size_t kReplyBytes = std::size_t{4} << 20;

// PCRE2 budgets of every pattern match (regex.hpp): match steps (a base
// plus a number per subject byte), backtracking depth, and heap; exceeding
// one is an InvalidValueError naming the pattern and the limit.
inline constexpr std::uint32_t kRegexBaseSteps = 100'000;
inline constexpr std::uint32_t kRegexStepsPerByte = 4;
inline constexpr std::uint32_t kRegexDepth = 1'000;
inline constexpr std::uint32_t kRegexHeapKiB = 8 * 1024;

// The reviewer tools of the command-line tool (tools/reviewer_tools), which a
// model drives with inputs steered by the change under review. A file larger
// than kToolFileBytes is refused before it is read; every answer is cut to
// kToolAnswerBytes with a visible marker; a search stops after
// kToolSearchResults matches, kToolSearchFiles files or kToolSearchBytes of
// file text, and refuses a pattern longer than kToolPatternBytes; a chain of
// more than kToolLinkHops symbolic links inside a commit is refused.
inline constexpr std::size_t kToolFileBytes = std::size_t{4} << 20;
inline constexpr std::size_t kToolAnswerBytes = std::size_t{64} << 10;
inline constexpr std::size_t kToolSearchResults = 200;
inline constexpr std::size_t kToolSearchFiles = 20'000;
inline constexpr std::size_t kToolSearchBytes = std::size_t{64} << 20;
inline constexpr std::size_t kToolPatternBytes = 1'000;
inline constexpr std::size_t kToolLinkHops = 8;

}  // namespace tessik::limits

#endif  // TESSIK_FOUNDATION_LIMITS_HPP_
