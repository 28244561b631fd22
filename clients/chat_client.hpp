// An AIClient for OpenAI-compatible chat completions
// (POST {endpoint}/chat/completions, the key as a Bearer token): hosted APIs
// and local model servers alike, so a change can be reviewed with a model
// on the reviewer's own machine.
//
//   tessik::clients::ChatCompletionsClient client({
//       .endpoint = "http://127.0.0.1:8080/v1",
//       .model = "local-model",
//       .constrain_plain_replies = true,  // small models: JSON only
//   });
//
// What goes on the wire: the system blocks as one system message (their
// texts in order, joined by a blank line; cache markers have no counterpart
// and are dropped), then the messages as given, the model and `max_tokens`.
// The tool path sends the tool definitions as function tools and answers
// each tool call through the registered handlers as a `tool` message (an
// unknown tool, arguments that are not a JSON object and a handler that
// throws are answered with an error text). The output configuration goes
// out as `response_format` {"type": "json_schema", "json_schema": {"name",
// "strict": true, "schema"}}: on the plain path when
// `constrain_plain_replies` is on; on the tool path (unless
// `structured_output` is off) only in the one request, without tools, that
// asks for the verdict when the tool rounds end without one (see
// run_tool_loop), and beside the tools as well with `constrain_tool_rounds`.
// `reasoning_enabled` has no portable counterpart here and is ignored.
//
// Finish reasons map to the common stop reasons: "stop" -> "end_turn",
// "length" -> "max_tokens", "content_filter" (or a refusal message) ->
// "refusal", "tool_calls" -> "tool_use"; others pass through.
//
// Failures throw ProviderError (a ClientError). Thread safety as for
// MessagesClient: share one client among every agent of a run.
#ifndef TESSIK_CLIENTS_CHAT_CLIENT_HPP_
#define TESSIK_CLIENTS_CHAT_CLIENT_HPP_

#include <cstdint>
#include <memory>
#include <string>

#include <tessik/ai_client.hpp>
#include <tessik/clients/call_progress.hpp>
#include <tessik/clients/transport_options.hpp>
#include <tessik/clients/usage.hpp>

namespace tessik::clients {

struct ChatCompletionsClientOptions {
  // Base URL up to, without, "/chat/completions" ("https://host/v1",
  // "http://127.0.0.1:11434/v1"). Required.
  std::string endpoint{};
  // Sent only as "Authorization: Bearer <key>"; empty sends no
  // Authorization header (local servers).
  std::string api_key{};
  // The model name sent with every request. Required.
  std::string model{};
  // How failures name the server; empty means "model server at <endpoint>".
  std::string provider_name{};
  // Hold the tool path's final reply to the verdict shapes (response_format
  // on a last request without tools when the tool rounds end without one).
  bool structured_output = true;
  // Send response_format beside the tools in every tool round too. Only for
  // servers known to let the model call tools under it: a server that
  // compiles the schema into a grammar over the whole reply (llama.cpp's,
  // for one) then never calls a tool.
  bool constrain_tool_rounds = false;
  // Send response_format on the plain path too.
  bool constrain_plain_replies = false;
  // Ask for the reply as a stream of server-sent events, so that a stalled
  // server is noticed (TransportOptions::idle_timeout) and progress can be
  // shown. A server that answers with one JSON body instead works as well.
  bool stream = true;
  // Told what each call is doing (see call_progress.hpp); may be empty.
  ProgressObserver progress{};
  TransportOptions transport{};
};

class ChatCompletionsClient final : public AIClient {
 public:
  // Throws InvalidValueError when the endpoint or the model is empty.
  explicit ChatCompletionsClient(ChatCompletionsClientOptions options);
  ~ChatCompletionsClient() override;
  ChatCompletionsClient(const ChatCompletionsClient&) = delete;
  ChatCompletionsClient& operator=(const ChatCompletionsClient&) = delete;

  CompletionResult complete(const Value& messages, const CompleteOptions& options) override;
  bool offers_tools() const noexcept override { return true; }
  CompletionResult complete_with_tools(const Value& messages,
                                       const ToolCompleteOptions& options) override;

  // Tokens charged so far, per agent name. Input tokens exclude those the
  // server reports as cached, which count as cache reads.
  const UsageLedger& usage() const noexcept;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace tessik::clients

#endif  // TESSIK_CLIENTS_CHAT_CLIENT_HPP_
