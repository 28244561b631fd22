// The client of a live review: one of the two HTTP clients, built from the
// resolved model settings, with the key read from the environment.
//
//   ModelSettings s = resolve_model_settings(flags, process_environment);
//   LiveClient live = make_live_client(s, process_environment);
//   ... agents run against live.client ...
//   std::map<std::string, clients::TokenUsage> used = live.usage();
#ifndef TESSIK_TOOLS_MODEL_LIVE_CLIENT_HPP_
#define TESSIK_TOOLS_MODEL_LIVE_CLIENT_HPP_

#include <functional>
#include <map>
#include <memory>
#include <string>

#include <tessik/ai_client.hpp>
#include <tessik/clients/call_progress.hpp>
#include <tessik/clients/transport_options.hpp>
#include <tessik/clients/usage.hpp>

#include "model/model_settings.hpp"

namespace tessik::cli {

// How a live client holds replies to the three verdict shapes. The tool
// path always holds its final reply: its tool rounds are free and, when they
// end without a verdict, one more request asks for it under the schema.
struct ReplyHolding {
  // Replies without tools too, on either protocol, so that a small model
  // cannot answer in prose.
  bool constrain_replies = false;
  // The schema beside the tools in every tool round as well: only for a
  // server known to let the model call tools under it.
  bool constrain_tool_rounds = false;
};

struct LiveClient {
  std::shared_ptr<AIClient> client;
  // The tokens charged so far, per agent name. Thread-safe.
  std::function<std::map<std::string, clients::TokenUsage>()> usage;
};

// A MessagesClient ("messages") or a ChatCompletionsClient ("openai") for
// `settings`, its whole-request timeout the settings' timeout. The key is
// the value of `settings.api_key_env`; an unset or empty variable sends no
// key (a local server needs none, a hosted one then refuses the call), except
// that a variable named by --api-key-env must be set: UsageError otherwise.
// `transport` carries the remaining transport settings (tests shorten the
// backoff). `holding` says how replies are held to the verdict shapes.
// `stream` asks for streamed replies; `progress` hears what each call is
// doing (call_progress.hpp). Throws InvalidValueError for an empty endpoint.
LiveClient make_live_client(const ModelSettings& settings, const Environment& env,
                            clients::TransportOptions transport = {}, ReplyHolding holding = {},
                            bool stream = true, clients::ProgressObserver progress = {});

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_MODEL_LIVE_CLIENT_HPP_
