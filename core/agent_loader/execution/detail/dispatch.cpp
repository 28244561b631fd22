// The one client call of an analysis, its options made from the assembled
// request, and the call-site tag on whatever the call throws.
#include <tessik/agent_loader/execution/detail/dispatch.hpp>

#include <exception>
#include <string>
#include <utility>

#include <tessik/finding_schema.hpp>
#include <tessik/foundation/errors.hpp>

namespace tessik::detail {
namespace {

// A ClientError tagged with `call_site`. Call it inside a catch block: the
// error nests the exception being handled.
ClientError client_error(const std::string& message, const std::string& call_site) {
  ClientError error(message);
  error.set_call_site(call_site);
  return error;
}

// Rethrows the exception being handled, tagged with `call_site`. Must be
// called from inside a catch block: a foreign exception is wrapped in a
// ClientError built right here, which nests the exception being handled.
[[noreturn]] void rethrow_tagged(const std::string& call_site) {
  try {
    throw;
  } catch (Error& e) {
    e.set_call_site(call_site);
    throw;
  } catch (const std::exception& e) {
    throw client_error(e.what(), call_site);
  } catch (...) {
    throw client_error("the AI client threw something that is not an exception", call_site);
  }
}

// Runs `call`, the client call with its options made inside it, tagging
// whatever it throws with `call_site`.
template <class Call>
CompletionResult tagged(const std::string& call_site, Call&& call) {
  try {
    return call();
  } catch (...) {
    rethrow_tagged(call_site);
  }
}

}  // namespace

CompletionResult send_request(AIClient* client, ReviewRequest request,
                              const AgentDefinition& definition, std::int64_t max_tokens) {
  if (!client) throw TypeError("agent '" + definition.name + "' has no AI client");
  if (request.tool_path) {
    return tagged(client->type_name() + ".complete_with_tools", [&] {
      const ToolCompleteOptions options{
          .system = std::move(request.system_blocks),
          .tools = std::move(request.tools),
          .tool_handlers = std::move(request.tool_handlers),
          .max_iterations = definition.max_tool_iterations,
          .agent_name = definition.name,
          .max_tokens = max_tokens,
          .output_config = output_config_for_three_state(),
          .reasoning_enabled = true,
      };
      return client->complete_with_tools(request.messages, options);
    });
  }
  return tagged(client->type_name() + ".complete", [&] {
    const CompleteOptions options{
        .system = std::move(request.system_blocks),
        .cache_key = std::move(request.cache_key),
        .agent_name = definition.name,
        .max_tokens = max_tokens,
    };
    return client->complete(request.messages, options);
  });
}

}  // namespace tessik::detail
