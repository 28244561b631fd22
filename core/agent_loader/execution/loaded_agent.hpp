// A runnable reviewer agent and one analysis of a change, from request to
// verdict.
//
//   LoadedAgent agent(definition, client, /*max_tokens=*/8192,
//                     {.read_file_tool = read_file});
//   AgentVerdict v = agent.analyse(changes, &shared);
//   if (v.is_findings()) for (const AIReview& r : v) { ... }
//
// One analysis runs four stages:
//
//   1. assemble the whole request (detail/request.hpp): diff block, agent
//      block, user message with the reply contract, the diff hash, and the
//      path: the tool-use exchange (`complete_with_tools`, with the tools)
//      when the agent has at least one tool and the client `offers_tools()`,
//      otherwise the plain `complete`, with the diff hash as cache key. An
//      agent with tools on a client without tool use silently takes the
//      plain path;
//   2. send exactly that request through the client, once;
//   3. classify the reply text with `classify_terminal_state`;
//   4. turn the terminal state into a verdict: "findings" runs every raw item
//      through `detail::parse_finding_item` (rejected items are dropped),
//      "clean" and every other state map to the matching factory.
//
// Log lines, all on `Log::agent` and prefixed "[tessik]     " unless noted:
//
//   info     [<name>] raw response (<n> chars, starts: <first 80 chars, %r>)
//   info     [<name>] verdict=findings count=<findings kept>
//   info     [<name>] verdict=clean confidence=<as given> summary=<first 80, %r>
//   warning  [<name>] verdict=error code=<code> message=<message>
//   debug    [<name>] full raw response (<n> chars):\n<whole reply>
//   info on `Log::position`, no prefix, one per finding item before parsing:
//            [pos] agent.finding[<i>]  agent=<name>  raw_line=%r  raw_file=%r
//            issue=%r  has_code_replacement=True|False  raw_rlc=%r
//
// Lengths and cuts count code points, not bytes.
//
// Failures: `analyse` catches nothing. Whatever the client throws, or
// whatever is thrown while the client call's arguments are produced, reaches
// the caller tagged with the call site "<client type>.complete" or
// "<client type>.complete_with_tools": a `tessik::Error` is the same object,
// tagged; anything else becomes a `ClientError` with the same message that
// nests the original. A tool definition without a text "name" fails before
// the call and is not tagged. Failures of classification and conversion
// propagate untouched; no verdict is made up.
//
// Threads: an agent never changes after construction, so `analyse` may run
// on several threads at once, on one agent or on agents sharing a client and
// tools; the client and tools must then be thread-safe themselves.
#ifndef TESSIK_AGENT_LOADER_EXECUTION_LOADED_AGENT_HPP_
#define TESSIK_AGENT_LOADER_EXECUTION_LOADED_AGENT_HPP_

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include <tessik/agent_loader/definitions/agent_definition.hpp>
#include <tessik/agent_loader/verdict/agent_verdict.hpp>
#include <tessik/ai_client.hpp>
#include <tessik/models.hpp>

namespace tessik {

// What the review runner needs of an agent.
class AgentProtocol {
 public:
  virtual ~AgentProtocol() = default;
  virtual const std::string& name() const = 0;
  virtual const AgentDefinition& definition() const = 0;
  // Reviews `changes` (with the shared pre-analysis when given) and returns
  // the verdict. Throws whatever fails on the way.
  virtual AgentVerdict analyse(std::span<const FileChange> changes,
                               const SharedAnalysisResult* shared = nullptr) const = 0;
};

// The reviewer tools an agent may hand its client; each may be absent. The
// caller owns them and shares them between all agents of a run.
struct ReviewerTools {
  std::shared_ptr<ReviewerTool> read_file_tool{};
  std::shared_ptr<ReviewerTool> read_lines_tool{};
  std::shared_ptr<ReviewerTool> find_code_tool{};
};

// A definition bound to a client, a reply token budget and optional tools.
// Immutable after construction; copies share the client and the tools.
class LoadedAgent final : public AgentProtocol {
 public:
  // Stores every argument as given; nothing is checked or converted.
  LoadedAgent(AgentDefinition definition, std::shared_ptr<AIClient> client, std::int64_t max_tokens,
              ReviewerTools tools = {});

  // The definition's name.
  const std::string& name() const override { return def_.name; }
  // The held definition itself, not a copy.
  const AgentDefinition& definition() const override { return def_; }

  const std::shared_ptr<AIClient>& client() const noexcept { return client_; }
  std::int64_t max_tokens() const noexcept { return max_tokens_; }
  const ReviewerTools& tools() const noexcept { return tools_; }

  // One analysis, as the header comment describes. Throws TypeError when the
  // agent holds no client or its system prompt is not text.
  AgentVerdict analyse(std::span<const FileChange> changes,
                       const SharedAnalysisResult* shared = nullptr) const override;

 private:
  AgentDefinition def_;
  std::shared_ptr<AIClient> client_;
  std::int64_t max_tokens_;
  ReviewerTools tools_;
};

}  // namespace tessik

#endif  // TESSIK_AGENT_LOADER_EXECUTION_LOADED_AGENT_HPP_
