// The loader's refusal of a file as an error diagnostic: its own message,
// a code by the kind of failure, and the position the failure carries.
#ifndef TESSIK_TOOLS_LINT_REFUSAL_HPP_
#define TESSIK_TOOLS_LINT_REFUSAL_HPP_

#include <exception>
#include <string>

#include "lint/diagnostic.hpp"

namespace tessik::lint {

// The diagnostic of `failure`, thrown by a parser or load_agent_definition
// for `file`. Codes E101-E107. Never throws for any exception.
Diagnostic refusal(const std::string& file, const std::exception& failure);

}  // namespace tessik::lint

#endif  // TESSIK_TOOLS_LINT_REFUSAL_HPP_
