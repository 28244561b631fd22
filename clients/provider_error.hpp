// The failure the HTTP clients throw.
//
//   try {
//     client.complete(messages, options);
//   } catch (const tessik::clients::ProviderError& e) {
//     // e.what(): "model server at https://x.example: authentication failed
//     //            (HTTP 401): invalid x-api-key"
//     if (e.status() == 401) ask_for_a_new_key();
//   }
//
// A `ProviderError` is a `ClientError` (class_name() "ClientError"), so code
// that handles client failures in general needs nothing new. The message
// names the provider, the HTTP status when there was one, and the
// provider's own error message from the body; a body that is not the
// protocol's JSON is quoted by its first bytes. The API key never appears in
// a message: any occurrence of it is replaced by "[redacted]" (a key under
// 8 bytes, a local server's placeholder such as "x", is no secret and is
// left as it is).
#ifndef TESSIK_CLIENTS_PROVIDER_ERROR_HPP_
#define TESSIK_CLIENTS_PROVIDER_ERROR_HPP_

#include <string>

#include <tessik/foundation/errors.hpp>

namespace tessik::clients {

class ProviderError : public ClientError {
 public:
  // `status` is the HTTP status of the last answer, 0 when none came
  // (refused, timed out, reset). `attempts` counts the attempts made.
  ProviderError(const std::string& message, std::string provider, long status, int attempts)
      : ClientError(message),
        provider_(std::move(provider)),
        status_(status),
        attempts_(attempts) {}

  const std::string& provider() const noexcept { return provider_; }
  long status() const noexcept { return status_; }
  int attempts() const noexcept { return attempts_; }

 private:
  std::string provider_;
  long status_;
  int attempts_;
};

}  // namespace tessik::clients

#endif  // TESSIK_CLIENTS_PROVIDER_ERROR_HPP_
