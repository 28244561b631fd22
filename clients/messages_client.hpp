// An AIClient for model servers that speak the Messages protocol
// (POST {endpoint}/v1/messages, the key in an x-api-key header).
//
//   auto client = std::make_shared<tessik::clients::MessagesClient>(
//       tessik::clients::MessagesClientOptions{
//           .endpoint = "https://models.example.com",
//           .api_key = std::getenv("MODEL_API_KEY"),
//           .model = "example-model-1"});
//   auto agents = tessik::load_all_agents(config, client);
//
// What goes on the wire: the model, `max_tokens`, the system blocks exactly
// as the agent built them (a diff block's cache_control marker included),
// and the messages as given. The tool path adds the tool definitions as
// `tools`; each round's tool-use blocks are answered through the registered
// handlers as tool_result blocks (an unknown tool, input that is not an
// object and a handler that throws are answered with is_error). The output
// configuration goes out as the structured-output constraint
// (output_config.format, a json_schema): on the plain path when
// `constrain_plain_replies` is on; on the tool path (unless
// `structured_output` is off) in the one request that asks for the verdict
// when the tool rounds end without one, which keeps the tools (a
// conversation holding tool_use blocks must define them) but rules their
// use out with tool_choice "none", and in every tool round as well with
// `constrain_tool_rounds`. `reasoning_enabled` turns extended thinking on
// with `thinking_budget_tokens`.
//
// The result's stop_reason is the protocol's own ("end_turn", "max_tokens",
// "tool_use", "refusal", ...). Failures throw ProviderError (a ClientError);
// see provider_error.hpp. Usage: `usage()` keeps the tokens each reply
// reported, per agent name.
//
// Thread safety: one client may be shared by every agent of a run and
// called from any number of threads at once; it reuses connections across
// calls. Options are fixed at construction.
#ifndef TESSIK_CLIENTS_MESSAGES_CLIENT_HPP_
#define TESSIK_CLIENTS_MESSAGES_CLIENT_HPP_

#include <cstdint>
#include <memory>
#include <string>

#include <tessik/ai_client.hpp>
#include <tessik/clients/call_progress.hpp>
#include <tessik/clients/transport_options.hpp>
#include <tessik/clients/usage.hpp>

namespace tessik::clients {

struct MessagesClientOptions {
  // Base URL of the server, without "/v1/messages" ("https://host",
  // "http://127.0.0.1:8080"). Required.
  std::string endpoint{};
  // Sent only in the x-api-key header; may be empty for a local server.
  std::string api_key{};
  // The model name sent with every request. Required.
  std::string model{};
  // The anthropic-version header.
  std::string api_version = "2023-06-01";
  // How failures name the server; empty means "model server at <endpoint>".
  std::string provider_name{};
  // Hold the tool path's final reply to the verdict shapes (a last request
  // with tool use ruled out when the tool rounds end without one). Turn off
  // for models that refuse structured output.
  bool structured_output = true;
  // Send the constraint beside the tools in every tool round too: for
  // servers known to let the model call tools under it.
  bool constrain_tool_rounds = false;
  // Constrain plain completions to the three reply shapes as well.
  bool constrain_plain_replies = false;
  // Extended thinking budget when a call asks for reasoning: 4096 tokens.
  // It is lowered to max_tokens - 1 when that is smaller, and thinking is
  // left off when the budget would be under 1024 tokens (the protocol's
  // minimum) or is 0.
  std::int64_t thinking_budget_tokens = 4096;
  // Ask for the reply as a stream of server-sent events, so that a stalled
  // server is noticed (TransportOptions::idle_timeout) and progress can be
  // shown. A server that answers with one JSON body instead works as well.
  bool stream = true;
  // Told what each call is doing (see call_progress.hpp); may be empty.
  ProgressObserver progress{};
  TransportOptions transport{};
};

class MessagesClient final : public AIClient {
 public:
  // Throws InvalidValueError when the endpoint or the model is empty.
  explicit MessagesClient(MessagesClientOptions options);
  ~MessagesClient() override;
  MessagesClient(const MessagesClient&) = delete;
  MessagesClient& operator=(const MessagesClient&) = delete;

  CompletionResult complete(const Value& messages, const CompleteOptions& options) override;
  bool offers_tools() const noexcept override { return true; }
  CompletionResult complete_with_tools(const Value& messages,
                                       const ToolCompleteOptions& options) override;

  // Tokens charged so far, per agent name.
  const UsageLedger& usage() const noexcept;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace tessik::clients

#endif  // TESSIK_CLIENTS_MESSAGES_CLIENT_HPP_
