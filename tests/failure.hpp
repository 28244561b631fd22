// What an action throws, for tests that check a failure's kind, message and
// position.
#ifndef TESSIK_TESTS_FAILURE_HPP_
#define TESSIK_TESTS_FAILURE_HPP_

#include <exception>
#include <optional>
#include <string>

#include <tessik/foundation/errors.hpp>

namespace tessik::testing {

struct Failure {
  std::string kind;     // class_name() of this library's errors; "" when nothing was thrown
  std::string message;  // what()
  std::optional<TextPosition> at;  // position() of this library's errors
};

template <class F>
Failure failure_of(F&& action) {
  try {
    action();
  } catch (const Error& e) {
    return {std::string(e.class_name()), e.what(), e.position()};
  } catch (const std::exception& e) {
    return {"std::exception", e.what(), std::nullopt};
  }
  return {};
}

}  // namespace tessik::testing

#endif  // TESSIK_TESTS_FAILURE_HPP_
