// The AI client interface that agents talk to, its completion result and the
// reviewer tools a client may call during a tool-use exchange.
//
// An agent sends one request per analysis: a message sequence holding one
// user message, plus named options.
//
//   class MyClient final : public tessik::AIClient {
//    public:
//     CompletionResult complete(const Value& messages,
//                               const CompleteOptions& options) override;
//   };
//   // MyClient{}.type_name() == "MyClient"
//
// A client that can run a whole tool-use exchange (model asks for a tool,
// client calls the handler, feeds the result back, repeats) overrides both
// `offers_tools()` (returning true) and `complete_with_tools`. Agents ask
// `offers_tools()` and never call `complete_with_tools` on a client that
// answers false.
//
// Failures: a client reports failure by throwing. Agents tag whatever a
// client throws with the call site ("MyClient.complete"): a `tessik::Error`
// is tagged and rethrown as the same object, anything else becomes a
// `ClientError` with the same message that nests the original.
//
// Threads: agents of one review run share one client object and may call it
// from several threads at once. Whether that is allowed is the client's
// matter; a client shared that way must be thread-safe.
#ifndef TESSIK_AI_CLIENT_HPP_
#define TESSIK_AI_CLIENT_HPP_

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include <tessik/foundation/value.hpp>

namespace tessik {

// What a client call returns. Only `text` is always carried; a client that
// cannot report the other facts leaves them empty, and agents then read
// `stop_reason` as absent, `iterations_used` as 1 and `hit_iteration_cap`
// as false.
struct CompletionResult {
  std::string text{};                             // the model's final reply, possibly empty
  std::optional<std::string> stop_reason{};       // e.g. "max_tokens", "refusal"
  std::optional<std::int64_t> iterations_used{};  // tool-use iterations spent
  std::optional<bool> hit_iteration_cap{};        // stopped at `max_iterations`
};

// A tool handler: receives the model's tool input, returns the tool's result.
using ToolHandler = std::function<Value(const Value& input)>;

// A reviewer tool (read a file, read some lines, find code). The client shows
// the model `tool_definition()` and, when the model uses the tool of that
// name, calls the handler that agents build around `execute`.
class ReviewerTool {
 public:
  virtual ~ReviewerTool() = default;
  // The definition shown to the model: a mapping with at least a text
  // "name" (usually also "description" and an input schema). Called afresh
  // each time it is needed; it should return the same definition each time.
  virtual Value tool_definition() const = 0;
  // Runs the tool on the model's input and returns its result.
  virtual Value execute(const Value& input) = 0;
};

// Named options of `AIClient::complete`.
struct CompleteOptions {
  Value system{};            // the system blocks: a sequence of block mappings
  std::string cache_key{};   // key of the reusable part of the request
  std::string agent_name{};  // the agent making the call, for the client's records
  std::int64_t max_tokens = 0;
};

// Named options of `AIClient::complete_with_tools`.
struct ToolCompleteOptions {
  Value system{};  // the system blocks: a sequence of block mappings
  Value tools{};   // the tool definitions shown to the model, a sequence
  std::map<std::string, ToolHandler> tool_handlers{};  // tool name -> handler
  std::int64_t max_iterations = 0;                     // tool-use iteration cap
  std::string agent_name{};
  std::int64_t max_tokens = 0;
  Value output_config{};  // constraint on the reply's shape, passed through
  bool reasoning_enabled = false;
};

// The AI client interface of the surrounding review program.
class AIClient {
 public:
  virtual ~AIClient() = default;

  // One plain completion of `messages` (a sequence of {"role", "content"}
  // mappings). Throws on any failure.
  virtual CompletionResult complete(const Value& messages, const CompleteOptions& options) = 0;

  // True when this client implements `complete_with_tools`. Asking never
  // calls the operation.
  virtual bool offers_tools() const noexcept { return false; }

  // A whole tool-use exchange: the client calls `options.tool_handlers` as
  // the model uses tools, spends at most `options.max_iterations` iterations
  // and reports what it spent in the result. The default implementation is
  // for clients that do not offer tools and throws TypeError naming the
  // client.
  virtual CompletionResult complete_with_tools(const Value& messages,
                                               const ToolCompleteOptions& options);

  // The client's type name as call sites show it. The default is the
  // demangled dynamic type without namespaces, enclosing classes or template
  // arguments: `acme::ExampleClient` and `ExampleClient<Fast>` both give
  // "ExampleClient".
  virtual std::string type_name() const;
};

}  // namespace tessik

#endif  // TESSIK_AI_CLIENT_HPP_
