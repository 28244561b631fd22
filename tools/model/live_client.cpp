#include "model/live_client.hpp"

#include <chrono>

#include <tessik/clients/chat_client.hpp>
#include <tessik/clients/messages_client.hpp>

#include "cli/cli_args.hpp"

namespace tessik::cli {
namespace {

std::string api_key(const ModelSettings& settings, const Environment& env) {
  const std::optional<std::string> key = env(settings.api_key_env);
  if (settings.api_key_env_given && (!key || key->empty())) {
    throw UsageError("--api-key-env names " + settings.api_key_env +
                     ", which is not set in the environment");
  }
  return key.value_or("");
}

template <class Client>
LiveClient wrap(std::shared_ptr<Client> client) {
  return {.client = client, .usage = [client] { return client->usage().by_agent(); }};
}

}  // namespace

LiveClient make_live_client(const ModelSettings& settings, const Environment& env,
                            clients::TransportOptions transport, ReplyHolding holding, bool stream,
                            clients::ProgressObserver progress) {
  transport.request_timeout =
      std::chrono::milliseconds(static_cast<std::int64_t>(settings.timeout_seconds * 1000.0));
  if (settings.provider == "openai") {
    return wrap(
        std::make_shared<clients::ChatCompletionsClient>(clients::ChatCompletionsClientOptions{
            .endpoint = settings.endpoint,
            .api_key = api_key(settings, env),
            .model = settings.model,
            .provider_name = {},
            .structured_output = true,
            .constrain_tool_rounds = holding.constrain_tool_rounds,
            .constrain_plain_replies = holding.constrain_replies,
            .stream = stream,
            .progress = std::move(progress),
            .transport = transport}));
  }
  clients::MessagesClientOptions options{
      .endpoint = settings.endpoint, .api_key = api_key(settings, env), .model = settings.model};
  options.constrain_tool_rounds = holding.constrain_tool_rounds;
  options.constrain_plain_replies = holding.constrain_replies;
  options.transport = transport;
  options.stream = stream;
  options.progress = std::move(progress);
  return wrap(std::make_shared<clients::MessagesClient>(std::move(options)));
}

}  // namespace tessik::cli
