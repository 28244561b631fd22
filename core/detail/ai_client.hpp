// Client-side constants and helpers that the library uses internally.
#ifndef TESSIK_DETAIL_AI_CLIENT_HPP_
#define TESSIK_DETAIL_AI_CLIENT_HPP_

#include <string>
#include <string_view>

#include <tessik/foundation/value.hpp>

namespace tessik {
namespace detail {

// The cache-control marker of a system block that the client may keep in
// its prompt cache for one hour. Inline, so that it is ready before any
// static initialiser that includes this header uses it.
inline const Value CACHE_CONTROL_1H = Value::Mapping{{"type", "ephemeral"}, {"ttl", "1h"}};

// The unqualified name in a demangled C++ type name: namespaces, enclosing
// classes and template arguments removed ("a::b<c::d>::E<int>" -> "E",
// "(anonymous namespace)::F" -> "F"). Returns `demangled` unchanged when it
// holds no name.
std::string unqualified_type_name(std::string_view demangled);

}  // namespace detail
}  // namespace tessik

#endif  // TESSIK_DETAIL_AI_CLIENT_HPP_
