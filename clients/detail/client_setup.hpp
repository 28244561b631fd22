// Checks shared by the clients' constructors and calls.
#ifndef TESSIK_CLIENTS_DETAIL_CLIENT_SETUP_HPP_
#define TESSIK_CLIENTS_DETAIL_CLIENT_SETUP_HPP_

#include <string>
#include <string_view>

#include <tessik/foundation/value.hpp>

namespace tessik::clients::detail {

// Throws InvalidValueError when the endpoint or model is empty, or when a
// header value (key, version) holds a line break or another control
// character. `client` names the client in the message; the key itself is
// never quoted.
void check_client_settings(std::string_view client, const std::string& endpoint,
                           const std::string& model, const std::string& api_key,
                           const std::string& api_version = "x");

// Throws TypeError unless `messages` is a sequence.
void check_messages(std::string_view client, const Value& messages);

}  // namespace tessik::clients::detail

#endif  // TESSIK_CLIENTS_DETAIL_CLIENT_SETUP_HPP_
