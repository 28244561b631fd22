// Assembly of one review request, the whole client call: the diff text
// shared by every agent, the shared pre-analysis as context, the diff hash,
// the two system blocks, the user message that carries the reply contract,
// and the reviewer tools when the call takes the tool-use exchange.
// `LoadedAgent::analyse` sends exactly what `request_for` assembles, and the
// command-line tool's `prompt` command prints it.
//
//   ReviewRequest r = detail::request_for(agent, changes, &shared);
//   // r.system_blocks[0]: {"type": "text", "text": <diff text>,
//   //                      "cache_control": {"type": "ephemeral", "ttl": "1h"}}
//   // r.system_blocks[1]: {"type": "text",
//   //                      "text": "The code diff above is what you must review. " + prompt}
//   // r.messages:         [{"role": "user", "content": <shared context> +
//   //                        <review sentence> + REVIEW_INSTRUCTIONS}]
//
// Why it is split this way: the diff is the large part and is byte-for-byte
// the same for every agent reviewing the same change, so it goes first, alone
// in a block the client may cache for an hour; the agent's own prompt follows
// in a block of its own. The diff hash keys that cache: it depends on the
// diff text only, never on the agent or the context.
//
// Cost: the diff text is built once, into a buffer of exactly its size, and
// hashed while it is built (each piece is hashed right after it is copied, so
// the bytes are still in cache); it is then moved, never copied, into its
// block. The peak memory of an assembly is the diff size plus the agent's
// prompt, the reply contract and a few hundred bytes of blocks. Diff buffers
// of 32 MiB and more are backed by huge pages where the system offers them.
#ifndef TESSIK_AGENT_LOADER_EXECUTION_DETAIL_REQUEST_HPP_
#define TESSIK_AGENT_LOADER_EXECUTION_DETAIL_REQUEST_HPP_

#include <map>
#include <span>
#include <string>
#include <string_view>

#include <tessik/agent_loader/definitions/agent_definition.hpp>
#include <tessik/agent_loader/execution/loaded_agent.hpp>
#include <tessik/ai_client.hpp>
#include <tessik/foundation/value.hpp>
#include <tessik/models.hpp>

namespace tessik::detail {

// The reply contract shown to the model at the end of every user message: the
// three JSON shapes it may answer with and the rules for a finding's fields.
// The reply classifier and the finding parser read exactly these shapes.
// 45 lines, no final line break.
inline constexpr std::string_view REVIEW_INSTRUCTIONS =
    R"contract(Respond with one of the three JSON shapes below — never plain prose, never the legacy bare-array shape. Output valid JSON only: no markdown fences, no inline comments, no trailing commas.

1) FINDINGS — at least one issue flagged:
{
  "status": "findings",
  "findings": [
    {
      "file_path": "src/example",
      "line_number": 42,
      "severity": "high|medium|low|info",
      "issue": "One sentence naming the problem.",
      "suggestion": "One sentence fix.",
      "confidence": 0.85,
      "category": "architecture|security|performance|code-quality",
      "code_replacement": ["replacement line 1", "line 2"],
      "replacement_line_count": 2
    }
  ],
  "summary": "optional one-line summary of what you reviewed"
}

2) CLEAN — reviewed the diff and found nothing of concern:
{
  "status": "clean",
  "summary": "REQUIRED — one sentence saying what you actually reviewed",
  "confidence": 0.85
}
Use this ONLY when you have actually walked the diff and have nothing to flag. Never use clean as a way to exit early when overwhelmed — emit error(max_iterations_no_verdict) instead.

3) ERROR — you cannot produce a verdict:
{
  "status": "error",
  "error": {
    "code": "tool_unavailable|model_refusal|internal_error",
    "message": "one sentence explaining why no verdict was possible",
    "iterations_used": 0
  }
}
Use error when your tools failed repeatedly (after fallback to diff-only), when the request is something you cannot answer, or when something else blocks a real verdict. NEVER emit a silent empty findings array.

Field rules for findings:
- confidence: float 0.0–1.0 reflecting how certain you are this is a real issue.
- suggestion: prose description of the fix. NEVER include inline code examples — all code belongs exclusively in code_replacement. The suggestion should be clear and actionable without code.
- code_replacement: when you can provide exact verbatim replacement lines for a single-location fix, set this to an array of strings — one string per source line, no line numbers, no integers, no nulls inside the array. IMPORTANT: code_replacement must be a complete and working replacement consistent with the suggestion. Omit code_replacement entirely if it would be partial or incomplete (e.g., building a list but omitting the join). Leave it null when the fix requires broader context or is descriptive only.
- replacement_line_count: when code_replacement is provided, set this to the number of original source lines being replaced (default 1). For example, if you are replacing a function signature that spans 3 lines, set this to 3.)contract";

// The fixed sentence between the shared context and the reply contract.
inline constexpr std::string_view REVIEW_SENTENCE =
    "Carefully review the code diff for bugs, security issues, performance problems, and code "
    "quality concerns. ";

// The text that opens the agent's system block, before its own prompt.
inline constexpr std::string_view AGENT_BLOCK_LEAD =
    "The code diff above is what you must review. ";

// The diff text of a change and its hash.
struct DiffText {
  std::string text;  // every change as "File: " + path + "\n" + diff, joined by "\n\n"
  std::string hash;  // the first 16 hex digits of the text's SHA-256
};

// The diff text of `changes`, in the given order, hashed while it is built.
// Paths and diffs are taken as they are (nothing trimmed or added); no
// changes give empty text.
DiffText build_diff_text(std::span<const FileChange> changes);

// The shared pre-analysis as context: "Context from shared analysis:\n",
// "Languages: " + languages joined by ", ", "\nRisk areas: " + risk areas
// joined by ", ", "\nSummary: " + summary, then a blank line ("\n\n").
std::string build_shared_context(const SharedAnalysisResult& shared);

// One whole client call.
struct ReviewRequest {
  Value messages;          // one user message: context + REVIEW_SENTENCE + REVIEW_INSTRUCTIONS
  Value system_blocks;     // sequence: the diff block (the only copy of the diff text), then
                           // the agent block
  std::string cache_key;   // the diff hash, 16 hex digits; sent on the plain path
  bool tool_path = false;  // the tool-use exchange rather than the plain completion
  Value tools;             // on the tool path: each tool's definition, in the fixed order
                           // read-file, read-lines, find-code; null otherwise
  std::map<std::string, ToolHandler> tool_handlers;  // on the tool path: by tool name

  // The user message's text.
  const std::string& user_content() const;
};

// Builds the whole call for `changes`, the optional shared pre-analysis and
// the agent's definition; with `tools`, the call takes the tool-use exchange
// with those of them that are present (none present: the plain path). Each
// present tool is asked for its definition twice, in order: once for the
// definitions sent, once for the name that keys its handler; a later tool
// reporting an earlier one's name replaces that handler. Throws TypeError
// when the definition's `system_prompt` is not a string (a YAML null, say),
// and TypeError or InvalidValueError when a tool definition is not a mapping
// with a text "name". Safe to call from several threads.
ReviewRequest assemble_request(std::span<const FileChange> changes,
                               const SharedAnalysisResult* shared,
                               const AgentDefinition& definition,
                               const ReviewerTools* tools = nullptr);

// The call `agent.analyse(changes, shared)` sends: the tool-use exchange when
// the agent holds at least one tool and its client `offers_tools()`, the
// plain completion otherwise (an agent without a client included).
ReviewRequest request_for(const LoadedAgent& agent, std::span<const FileChange> changes,
                          const SharedAnalysisResult* shared);

}  // namespace tessik::detail

#endif  // TESSIK_AGENT_LOADER_EXECUTION_DETAIL_REQUEST_HPP_
