#include <tessik/clients/detail/client_setup.hpp>

#include <algorithm>

#include <tessik/clients/detail/wire_values.hpp>
#include <tessik/foundation/errors.hpp>

namespace tessik::clients::detail {
namespace {

bool has_control_character(const std::string& s) {
  return std::any_of(s.begin(), s.end(), [](char c) {
    const auto u = static_cast<unsigned char>(c);
    return u < 0x20 || u == 0x7F;
  });
}

}  // namespace

void check_client_settings(std::string_view client, const std::string& endpoint,
                           const std::string& model, const std::string& api_key,
                           const std::string& api_version) {
  const std::string name(client);
  if (endpoint.empty()) throw InvalidValueError(name + ": the endpoint is empty");
  if (model.empty()) throw InvalidValueError(name + ": the model name is empty");
  if (has_control_character(api_key)) {
    throw InvalidValueError(name + ": the API key holds a line break or control character");
  }
  if (api_version.empty() || has_control_character(api_version)) {
    throw InvalidValueError(name + ": the API version is empty or holds a control character");
  }
}

void check_messages(std::string_view client, const Value& messages) {
  if (!messages.is_sequence()) {
    throw TypeError(std::string(client) + ": the messages are " + kind_phrase(messages) +
                    ", not an array");
  }
}

}  // namespace tessik::clients::detail
