// The lints of one definition file: the traps the loading rules make easy
// to fall into, each a warning (or a note) with its stable code. They read
// the file as written; whether the loader accepts it is decided elsewhere.
#ifndef TESSIK_TOOLS_LINT_DEFINITION_LINTS_HPP_
#define TESSIK_TOOLS_LINT_DEFINITION_LINTS_HPP_

#include <string>
#include <vector>

#include "lint/definition_source.hpp"
#include "lint/diagnostic.hpp"

namespace tessik::lint {

// The lints of `source`, read from `file`, in no particular order
// (`source.document` must be present):
// W201-W209 and N301 (diagnostic.cpp lists their meanings).
std::vector<Diagnostic> lint_definition(const std::string& file, const DefinitionSource& source);

// The definition key closest to `key` when it is near enough to be a typo
// (a letter-case difference, or two edits at most on a key of six or more
// characters); empty otherwise.
std::string closest_definition_key(std::string_view key);

}  // namespace tessik::lint

#endif  // TESSIK_TOOLS_LINT_DEFINITION_LINTS_HPP_
