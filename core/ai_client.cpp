#include <tessik/ai_client.hpp>
#include <tessik/detail/ai_client.hpp>

#include <cxxabi.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <typeinfo>

#include <tessik/foundation/errors.hpp>

namespace tessik {

namespace detail {

std::string unqualified_type_name(std::string_view demangled) {
  // The name starts after the last "::" outside brackets and ends at the
  // first bracket after that start, so "ns::Outer<a::b>::Inner<int>" gives
  // "Inner" and "(anonymous namespace)::F" gives "F".
  int depth = 0;
  std::size_t start = 0;
  for (std::size_t i = 0; i < demangled.size(); ++i) {
    const char c = demangled[i];
    if (c == '<' || c == '(' || c == '[' || c == '{') {
      ++depth;
    } else if (c == '>' || c == ')' || c == ']' || c == '}') {
      if (depth > 0) --depth;
    } else if (depth == 0 && c == ':' && i + 1 < demangled.size() && demangled[i + 1] == ':') {
      start = i + 2;
      ++i;
    }
  }
  std::size_t end = start;
  while (end < demangled.size() && demangled[end] != '<' && demangled[end] != '(' &&
         demangled[end] != '[' && demangled[end] != '{') {
    ++end;
  }
  const std::string_view name = demangled.substr(start, end - start);
  return std::string(name.empty() ? demangled : name);
}

}  // namespace detail

CompletionResult AIClient::complete_with_tools(const Value& /*messages*/,
                                               const ToolCompleteOptions& /*options*/) {
  throw TypeError("'" + type_name() + "' does not offer complete_with_tools");
}

std::string AIClient::type_name() const {
  const char* mangled = typeid(*this).name();
  int status = 0;
  const std::unique_ptr<char, decltype(&std::free)> demangled(
      abi::__cxa_demangle(mangled, nullptr, nullptr, &status), &std::free);
  return detail::unqualified_type_name(status == 0 && demangled ? demangled.get() : mangled);
}

}  // namespace tessik
