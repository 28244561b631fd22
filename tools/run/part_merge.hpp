// One agent's outcomes over the parts of a change reviewed in parts, merged
// into the one outcome the report shows.
//
//   AgentOutcome o = merge_parts({part1, part2, part3});
//
// Findings keep the order of the parts. The verdict is clean only when every
// part is clean; an error verdict or a failed analysis in any part makes the
// whole an error (or a failure) whose message names the part, "part 2 of 3:
// ...". Times add up.
#ifndef TESSIK_TOOLS_RUN_PART_MERGE_HPP_
#define TESSIK_TOOLS_RUN_PART_MERGE_HPP_

#include <span>

#include "run/review_runner.hpp"

namespace tessik::cli {

// `parts` are one agent's outcomes in part order (at least one); one part is
// returned as it is.
AgentOutcome merge_parts(std::span<const AgentOutcome> parts);

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_RUN_PART_MERGE_HPP_
