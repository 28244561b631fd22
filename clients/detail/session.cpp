#include <tessik/clients/detail/session.hpp>

#include <utility>

#include <tessik/clients/detail/reply_receiver.hpp>
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
                 const TransportOptions& transport, std::string provider, std::string secret,
                 StreamSetup stream)
    : url_(std::move(url)),
      headers_(std::move(headers)),
      transport_(transport, std::move(provider), std::move(secret)),
      stream_(std::move(stream)) {}

DecodedReply Session::exchange(const Value& body, ReplyDecoder decode, const std::string& agent) {
  std::string text = to_json(body);
  if (stream_.make && !text.empty() && text.back() == '}') {
    // Added to the text rather than to a copy of the (large) request value.
    text.insert(text.size() - 1, stream_.body_members);
  }
  report(stream_.progress, agent, CallStage::waiting);
  ReplyReceiver receiver(stream_.make, stream_.progress, agent);
  const HttpResponse response =
      transport_.post({url_, headers_, std::move(text)}, stream_.make ? &receiver : nullptr);
  const std::string& provider = transport_.provider();
  if (response.status < 200 || response.status > 299) {
    throw ProviderError(
        transport_.redact(provider + ": " +
                          http_failure(response.status, response.attempts, response.body)),
        provider, response.status, response.attempts);
  }
  try {
    DecodedReply reply = response.streamed ? receiver.reply() : decode(response.body);
    ledger_.add(agent, reply.usage);
    report(stream_.progress, agent, CallStage::answered);
    return reply;
  } catch (const Error& e) {
    throw ProviderError(transport_.redact(provider + ": " + e.what() + " (HTTP " +
                                          std::to_string(response.status) + ")"),
                        provider, response.status, response.attempts);
  }
}

std::map<std::string, ToolHandler> Session::observed(
    const std::map<std::string, ToolHandler>& handlers, const std::string& agent) const {
  if (!stream_.progress) return handlers;
  std::map<std::string, ToolHandler> wrapped;
  for (const auto& entry : handlers) {
    if (!entry.second) continue;
    wrapped.emplace(entry.first, [name = entry.first, handler = entry.second, agent,
                                  observer = stream_.progress](const Value& input) {
      const Value* path = input.is_mapping() ? input.find("path") : nullptr;
      observer({.agent = agent,
                .stage = CallStage::tool,
                .tool = name,
                .path = path && path->is_string() ? std::string_view(path->as_string())
                                                  : std::string_view()});
      return handler(input);
    });
  }
  return wrapped;
}

}  // namespace tessik::clients::detail
