#include <tessik/clients/chat_client.hpp>

#include <string>
#include <utility>
#include <vector>

#include <tessik/clients/detail/chat_stream.hpp>
#include <tessik/clients/detail/chat_wire.hpp>
#include <tessik/clients/detail/client_setup.hpp>
#include <tessik/clients/detail/session.hpp>
#include <tessik/finding_schema.hpp>

namespace tessik::clients {
namespace {

std::vector<std::string> chat_headers(const ChatCompletionsClientOptions& o) {
  std::vector<std::string> headers;
  if (!o.api_key.empty()) headers.push_back("Authorization: Bearer " + o.api_key);
  return headers;
}

}  // namespace

struct ChatCompletionsClient::Impl {
  explicit Impl(ChatCompletionsClientOptions o)
      : options(std::move(o)),
        session(detail::join_url(options.endpoint, "/chat/completions"), chat_headers(options),
                options.transport, detail::provider_label(options.provider_name, options.endpoint),
                options.api_key,
                {.make = options.stream ? &detail::chat_reply_stream : nullptr,
                 .body_members = R"(, "stream": true, "stream_options": {"include_usage": true})",
                 .progress = options.progress}),
        plain_schema(options.constrain_plain_replies ? output_config_for_three_state() : Value()) {}

  ChatCompletionsClientOptions options;
  detail::Session session;
  Value plain_schema;  // null unless plain replies are constrained
};

ChatCompletionsClient::ChatCompletionsClient(ChatCompletionsClientOptions options) {
  detail::check_client_settings("ChatCompletionsClient", options.endpoint, options.model,
                                options.api_key);
  impl_ = std::make_unique<Impl>(std::move(options));
}

ChatCompletionsClient::~ChatCompletionsClient() = default;

const UsageLedger& ChatCompletionsClient::usage() const noexcept { return impl_->session.ledger(); }

CompletionResult ChatCompletionsClient::complete(const Value& messages,
                                                 const CompleteOptions& options) {
  detail::check_messages("ChatCompletionsClient", messages);
  const Value body =
      detail::chat_request_body(impl_->options, {.messages = &messages,
                                                 .system = &options.system,
                                                 .max_tokens = options.max_tokens,
                                                 .response_schema = &impl_->plain_schema});
  detail::DecodedReply reply =
      impl_->session.exchange(body, &detail::decode_chat_reply, options.agent_name);
  return {.text = std::move(reply.text),
          .stop_reason = std::move(reply.stop_reason),
          .iterations_used = 1,
          .hit_iteration_cap = false};
}

CompletionResult ChatCompletionsClient::complete_with_tools(const Value& messages,
                                                            const ToolCompleteOptions& options) {
  detail::check_messages("ChatCompletionsClient", messages);
  const Value* schema = impl_->options.structured_output ? &options.output_config : nullptr;
  const auto send = [&](const Value& conversation, const Value* tools, const Value* format) {
    const Value body = detail::chat_request_body(impl_->options, {.messages = &conversation,
                                                                  .system = &options.system,
                                                                  .max_tokens = options.max_tokens,
                                                                  .tools = tools,
                                                                  .response_schema = format});
    return impl_->session.exchange(body, &detail::decode_chat_reply, options.agent_name);
  };
  detail::ToolLoopSteps steps{
      .send =
          [&](const Value& conversation) {
            return send(conversation, &options.tools,
                        impl_->options.constrain_tool_rounds ? schema : nullptr);
          },
      .answer = &detail::append_chat_tool_results,
  };
  if (schema && schema->is_mapping()) {
    steps.ask_verdict = [&](const Value& conversation) {
      return send(conversation, nullptr, schema);
    };
  }
  return detail::run_tool_loop(messages, options.max_iterations,
                               impl_->session.observed(options.tool_handlers, options.agent_name),
                               steps);
}

}  // namespace tessik::clients
