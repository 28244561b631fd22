// What a review run sends and to whom, decided from its settings before any
// request: the changed files left out, the agents chosen, and the parts of
// a change larger than the input budget.
#ifndef TESSIK_TOOLS_CLI_REVIEW_SCOPE_HPP_
#define TESSIK_TOOLS_CLI_REVIEW_SCOPE_HPP_

#include <iosfwd>
#include <span>
#include <vector>

#include "change/change_selection.hpp"
#include "cli/cli_args.hpp"
#include "config/effective_settings.hpp"
#include "run/agent_choice.hpp"

namespace tessik::cli {

// The files of `changes` that are sent, by the settings `exclude`,
// `include`, `default_excludes` and `full_deletions` and the .gitattributes
// of the repository of --repo (or the current directory), when there is one.
ChangeSelection select_sent_files(const ParsedArgs& args, const EffectiveSettings& settings,
                                  std::vector<FileChange> changes);

// Says once on `err` what was left out (the first 20 files, then a count)
// and which globs matched nothing, each line "tessik-agents review: ...".
void tell_left_out(std::ostream& err, const ChangeSelection& selection);

// The agents of the settings `agents` and `only_triggered` (see
// choose_agents); throws UsageError for an unknown name.
AgentChoice choose_review_agents(const EffectiveSettings& settings, std::vector<LoadedAgent> agents,
                                 std::span<const FileChange> sent);

// `sent` as one part when every agent's request fits `max_input_tokens`,
// else in parts that each fit (split_into_parts). Throws UsageError when
// the budget leaves fewer than 200 tokens for the change, and
// InvalidValueError naming the estimate, the budget and the largest files
// when the change does not fit and `split` is off.
std::vector<std::vector<FileChange>> plan_parts(const EffectiveSettings& settings,
                                                std::span<const LoadedAgent> agents,
                                                const SharedAnalysisResult* shared,
                                                std::vector<FileChange> sent);

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_CLI_REVIEW_SCOPE_HPP_
