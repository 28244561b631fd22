// The find_code reviewer tool (see reviewer_tools.hpp), and the pattern it
// runs, for tests.
#ifndef TESSIK_TOOLS_REVIEWER_TOOLS_FIND_CODE_HPP_
#define TESSIK_TOOLS_REVIEWER_TOOLS_FIND_CODE_HPP_

#include <memory>
#include <string>
#include <string_view>

#include <tessik/ai_client.hpp>

#include "reviewer_tools/source_tree.hpp"

namespace tessik::cli {

std::shared_ptr<ReviewerTool> make_find_code_tool(std::shared_ptr<const SourceTree> tree);

// A PCRE2 pattern that matches `text` literally: every ASCII character other
// than a letter, a digit or "_" is escaped.
std::string literal_pattern(std::string_view text);

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_REVIEWER_TOOLS_FIND_CODE_HPP_
