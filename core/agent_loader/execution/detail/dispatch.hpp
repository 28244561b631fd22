// Sending one assembled request: the client call it names, and the call-site
// tag on whatever the call throws.
#ifndef TESSIK_AGENT_LOADER_EXECUTION_DETAIL_DISPATCH_HPP_
#define TESSIK_AGENT_LOADER_EXECUTION_DETAIL_DISPATCH_HPP_

#include <cstdint>

#include <tessik/agent_loader/definitions/agent_definition.hpp>
#include <tessik/agent_loader/execution/detail/request.hpp>
#include <tessik/ai_client.hpp>

namespace tessik::detail {

// Makes the one client call of an analysis of agent `definition` with
// `request`, moved into the options: `complete_with_tools` on the tool path
// (with the agent's tool-iteration bound, the three-state output schema and
// reasoning on), `complete` with the request's cache key otherwise; both with
// the agent's name and `max_tokens`. Throws TypeError when `client` is null.
// Whatever the call throws, or whatever is thrown while its options are
// made, reaches the caller tagged with the call site "<client type>.complete"
// or "<client type>.complete_with_tools": a `tessik::Error` is the same
// object, tagged; anything else becomes a `ClientError` with the same message
// that nests the original.
CompletionResult send_request(AIClient* client, ReviewRequest request,
                              const AgentDefinition& definition, std::int64_t max_tokens);

}  // namespace tessik::detail

#endif  // TESSIK_AGENT_LOADER_EXECUTION_DETAIL_DISPATCH_HPP_
