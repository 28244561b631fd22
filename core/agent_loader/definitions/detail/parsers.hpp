// The default parser list under its module-private name.
#ifndef TESSIK_AGENT_LOADER_DEFINITIONS_DETAIL_PARSERS_HPP_
#define TESSIK_AGENT_LOADER_DEFINITIONS_DETAIL_PARSERS_HPP_

#include <tessik/agent_loader/definitions/parsers.hpp>

namespace tessik {
namespace detail {

// The same list as `default_parsers()`. Bound during static initialisation:
// code that runs before `main` should call `default_parsers()` instead.
extern const ParserList& DEFAULT_PARSERS;

}  // namespace detail
}  // namespace tessik

#endif  // TESSIK_AGENT_LOADER_DEFINITIONS_DETAIL_PARSERS_HPP_
