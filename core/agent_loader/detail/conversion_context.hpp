// Conversion failures that name the value they came from.
//
// A definition file or a model reply can hold many values; a bare "invalid
// literal for int()" does not say which one is wrong. `with_context` runs a
// conversion and, when it fails, throws a failure of the same kind whose
// message names the value:
//
//   int line = with_context([] { return std::string("finding \"line_number\""); },
//                           [&] { return to_int(value); });
//   // on failure: InvalidValueError("finding \"line_number\": <original message>")
#ifndef TESSIK_AGENT_LOADER_DETAIL_CONVERSION_CONTEXT_HPP_
#define TESSIK_AGENT_LOADER_DETAIL_CONVERSION_CONTEXT_HPP_

#include <string>

#include <tessik/foundation/errors.hpp>

namespace tessik::detail {

// Runs `convert()` and returns its result. An `OverflowError`, `TypeError`,
// `UnicodeDecodeError` or `InvalidValueError` it throws is rethrown as the
// same class with the message `context() + ": " + original message`; the
// context is built only on failure, and a position the original carries is
// kept. Other exceptions pass through unchanged.
template <class Kind>
[[noreturn]] void rethrow_in_context(const Kind& e, const std::string& context) {
  Kind wrapped(context + ": " + e.what());
  if (e.position()) wrapped.set_position(*e.position());
  throw wrapped;
}

template <class Context, class Convert>
auto with_context(Context&& context, Convert&& convert) -> decltype(convert()) {
  try {
    return convert();
  } catch (const OverflowError& e) {
    rethrow_in_context(e, std::string(context()));
  } catch (const TypeError& e) {
    rethrow_in_context(e, std::string(context()));
  } catch (const UnicodeDecodeError& e) {
    rethrow_in_context(e, std::string(context()));
  } catch (const InvalidValueError& e) {
    rethrow_in_context(e, std::string(context()));
  }
}

}  // namespace tessik::detail

#endif  // TESSIK_AGENT_LOADER_DETAIL_CONVERSION_CONTEXT_HPP_
