// The input budget of one request, and a change too large for it cut into
// parts that each fit.
//
//   std::int64_t room = budget - request_overhead(agents, shared);
//   std::vector<std::vector<FileChange>> parts = split_into_parts(changes, room);
//
// Tokens are estimated from the text alone, without asking the model: one
// token per three ASCII bytes plus one per two other bytes, each rounded up.
// Tokenisers of today's models give about four ASCII characters of English
// and three of code per token, and about one token per character of a
// script outside ASCII (two or three bytes), so the estimate errs high.
#ifndef TESSIK_TOOLS_RUN_INPUT_BUDGET_HPP_
#define TESSIK_TOOLS_RUN_INPUT_BUDGET_HPP_

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <tessik/agent_loader.hpp>

namespace tessik::cli {

// The estimate of `text`'s tokens, as the file comment says. Any bytes.
std::int64_t estimate_tokens(std::string_view text);

// The estimate of what `change` adds to a request ("File: " + path + line
// break + diff, and the blank line between files).
std::int64_t change_tokens(const FileChange& change);

// The largest estimate over `agents` of a request without any change: the
// agent's system prompt, the reply contract, the shared context, the tool
// definitions, plus 500 tokens for the framing of messages and a schema of
// constrained replies. Throws what request assembly throws.
std::int64_t request_overhead(std::span<const LoadedAgent> agents,
                              const SharedAnalysisResult* shared);

// `changes` grouped in diff order into parts whose change_tokens sum to at
// most `room` (at least 1). A file larger than `room` is cut into pieces of
// the same path: between hunks, and inside a hunk (even inside a line) only
// when one hunk alone is too large; each piece's diff begins with what came
// before the first hunk and a line such as "[part 2 of 3 of this file's
// diff: the file is too large for one request and is cut between hunks]".
// No piece is larger than `room` unless `room` is under 100 tokens.
std::vector<std::vector<FileChange>> split_into_parts(std::span<const FileChange> changes,
                                                      std::int64_t room);

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_RUN_INPUT_BUDGET_HPP_
