// The three reviewer tools a live review gives every agent, over the new side
// of the reviewed change.
//
//   auto tree = std::make_shared<const SourceTree>(change);
//   ReviewerTools tools = make_reviewer_tools(tree);
//   tools.read_lines_tool->execute(Value::Mapping{
//       {"path", "src/main.cpp"}, {"start_line", 10}, {"end_line", 20}});
//
//   read_file   {"path"}                          the whole file
//   read_lines  {"path", "start_line", "end_line"} those lines, numbered
//   find_code   {"pattern", "regex"?, "path"?, "max_results"?}
//               every line matching a literal text (or, with "regex": true,
//               a PCRE2 pattern run under the library's match limits), as
//               "path:line: text", at most "max_results" (default 50, at
//               most limits::kToolSearchResults)
//
// Each tool's definition carries its name, a description and a JSON schema
// of its input. `execute` never throws: a refused path (see source_tree.hpp),
// a malformed input, a pattern that does not compile or that runs into a
// match limit all answer with a text beginning "error: ". Every answer is
// valid UTF-8 (ill-formed bytes of a file become U+FFFD) and at most
// limits::kToolAnswerBytes long plus a last line saying that and how much
// was cut. The tools share the tree and are safe to call from several
// threads at once.
#ifndef TESSIK_TOOLS_REVIEWER_TOOLS_REVIEWER_TOOLS_HPP_
#define TESSIK_TOOLS_REVIEWER_TOOLS_REVIEWER_TOOLS_HPP_

#include <memory>

#include <tessik/agent_loader/execution/loaded_agent.hpp>

#include "reviewer_tools/source_tree.hpp"

namespace tessik::cli {

ReviewerTools make_reviewer_tools(const std::shared_ptr<const SourceTree>& tree);

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_REVIEWER_TOOLS_REVIEWER_TOOLS_HPP_
