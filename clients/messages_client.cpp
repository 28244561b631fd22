#include <tessik/clients/messages_client.hpp>

#include <string>
#include <utility>
#include <vector>

#include <tessik/clients/detail/client_setup.hpp>
#include <tessik/clients/detail/messages_stream.hpp>
#include <tessik/clients/detail/messages_wire.hpp>
#include <tessik/clients/detail/session.hpp>
#include <tessik/finding_schema.hpp>

namespace tessik::clients {
namespace {

std::vector<std::string> messages_headers(const MessagesClientOptions& o) {
  std::vector<std::string> headers{"anthropic-version: " + o.api_version};
  if (!o.api_key.empty()) headers.push_back("x-api-key: " + o.api_key);
  return headers;
}

}  // namespace

struct MessagesClient::Impl {
  explicit Impl(MessagesClientOptions o)
      : options(std::move(o)),
        session(detail::join_url(options.endpoint, "/v1/messages"), messages_headers(options),
                options.transport, detail::provider_label(options.provider_name, options.endpoint),
                options.api_key,
                {.make = options.stream ? &detail::messages_reply_stream : nullptr,
                 .body_members = R"(, "stream": true)",
                 .progress = options.progress}),
        plain_schema(options.constrain_plain_replies ? output_config_for_three_state() : Value()) {}

  MessagesClientOptions options;
  detail::Session session;
  Value plain_schema;  // null unless plain replies are constrained
};

MessagesClient::MessagesClient(MessagesClientOptions options) {
  detail::check_client_settings("MessagesClient", options.endpoint, options.model, options.api_key,
                                options.api_version);
  impl_ = std::make_unique<Impl>(std::move(options));
}

MessagesClient::~MessagesClient() = default;

const UsageLedger& MessagesClient::usage() const noexcept { return impl_->session.ledger(); }

CompletionResult MessagesClient::complete(const Value& messages, const CompleteOptions& options) {
  detail::check_messages("MessagesClient", messages);
  const Value body =
      detail::messages_request_body(impl_->options, {.messages = &messages,
                                                     .system = &options.system,
                                                     .max_tokens = options.max_tokens,
                                                     .output_config = &impl_->plain_schema});
  detail::DecodedReply reply =
      impl_->session.exchange(body, &detail::decode_messages_reply, options.agent_name);
  return {.text = std::move(reply.text),
          .stop_reason = std::move(reply.stop_reason),
          .iterations_used = 1,
          .hit_iteration_cap = false};
}

CompletionResult MessagesClient::complete_with_tools(const Value& messages,
                                                     const ToolCompleteOptions& options) {
  detail::check_messages("MessagesClient", messages);
  const Value* schema = impl_->options.structured_output ? &options.output_config : nullptr;
  const auto send = [&](const Value& conversation, const Value* format, bool tools_off) {
    const Value body =
        detail::messages_request_body(impl_->options, {.messages = &conversation,
                                                       .system = &options.system,
                                                       .max_tokens = options.max_tokens,
                                                       .tools = &options.tools,
                                                       .output_config = format,
                                                       .reasoning = options.reasoning_enabled,
                                                       .tools_off = tools_off});
    return impl_->session.exchange(body, &detail::decode_messages_reply, options.agent_name);
  };
  detail::ToolLoopSteps steps{
      .send =
          [&](const Value& conversation) {
            return send(conversation, impl_->options.constrain_tool_rounds ? schema : nullptr,
                        false);
          },
      .answer = &detail::append_messages_tool_results,
  };
  if (schema && schema->is_mapping()) {
    steps.ask_verdict = [&](const Value& conversation) { return send(conversation, schema, true); };
  }
  return detail::run_tool_loop(messages, options.max_iterations,
                               impl_->session.observed(options.tool_handlers, options.agent_name),
                               steps);
}

}  // namespace tessik::clients
