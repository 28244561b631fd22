#include <tessik/clients/detail/session.hpp>

#include <utility>

#include <tessik/clients/detail/reply_text.hpp>
#include <tessik/clients/provider_error.hpp>
#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/json.hpp>

namespace tessik::clients::detail {

std::string provider_label(const std::string& configured, const std::string& endpoint) {
  return configured.empty() ? "model server at " + endpoint : configured;
}

std::string join_url(std::string_view endpoint, std::string_view path) {
  while (!endpoint.empty() && endpoint.back() == '/') endpoint.remove_suffix(1);
  return std::string(endpoint) + std::string(path);
}

Session::Session(std::string url, std::vector<std::string> headers,
                 const TransportOptions& transport, std::string provider, std::string secret)
    : url_(std::move(url)),
      headers_(std::move(headers)),
      transport_(transport, std::move(provider), std::move(secret)) {}

DecodedReply Session::exchange(const Value& body, ReplyDecoder decode, const std::string& agent) {
  const HttpResponse response = transport_.post({url_, headers_, to_json(body)});
  const std::string& provider = transport_.provider();
  if (response.status < 200 || response.status > 299) {
    throw ProviderError(
        transport_.redact(provider + ": " +
                          http_failure(response.status, response.attempts, response.body)),
        provider, response.status, response.attempts);
  }
  try {
    DecodedReply reply = decode(response.body);
    ledger_.add(agent, reply.usage);
    return reply;
  } catch (const Error& e) {
    throw ProviderError(transport_.redact(provider + ": " + e.what() + " (HTTP " +
                                          std::to_string(response.status) + ")"),
                        provider, response.status, response.attempts);
  }
}

}  // namespace tessik::clients::detail
