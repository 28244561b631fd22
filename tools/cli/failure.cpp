#include "cli/failure.hpp"

#include <exception>

#include <tessik/clients/provider_error.hpp>
#include <tessik/foundation/errors.hpp>

namespace tessik::cli {

Failure current_failure() noexcept {
  try {
    try {
      throw;
    } catch (const clients::ProviderError& e) {
      return {.kind = std::string(e.class_name()),
              .message = e.what(),
              .call_site = e.call_site().value_or(""),
              .status = e.status()};
    } catch (const Error& e) {
      return {.kind = std::string(e.class_name()),
              .message = e.what(),
              .call_site = e.call_site().value_or("")};
    } catch (const std::exception& e) {
      return {.kind = "Error", .message = e.what(), .call_site = {}};
    } catch (...) {
      return {.kind = "Error", .message = "failed with an unknown exception", .call_site = {}};
    }
  } catch (...) {
    // Copying a message ran out of memory.
    return {};
  }
}

}  // namespace tessik::cli
