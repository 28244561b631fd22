#include <tessik/agent_loader/execution/detail/request.hpp>

#if defined(__linux__)
#include <sys/mman.h>
#endif

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <tessik/ai_client.hpp>
#include <tessik/detail/ai_client.hpp>
#include <tessik/foundation/detail/sha256.hpp>
#include <tessik/foundation/errors.hpp>

namespace tessik::detail {
namespace {

using namespace std::string_view_literals;

constexpr std::size_t kDiffHashDigits = 16;
constexpr std::string_view kFileLead = "File: ";
constexpr std::string_view kFileSeparator = "\n\n";

// Pieces are hashed in slices of this size right after they are copied, so
// the hash reads them from cache rather than from memory.
constexpr std::size_t kHashSlice = std::size_t{64} << 10;

std::size_t diff_text_size(std::span<const FileChange> changes) {
  std::size_t size = 0;
  for (const FileChange& c : changes) {
    size += kFileLead.size() + c.file_path.size() + 1 + c.diff.size();
  }
  if (changes.size() > 1) size += kFileSeparator.size() * (changes.size() - 1);
  return size;
}

// Calls `append` with every piece of the diff text, in order.
template <class Append>
void for_each_diff_piece(std::span<const FileChange> changes, Append&& append) {
  bool first = true;
  for (const FileChange& c : changes) {
    if (!first) append(kFileSeparator);
    first = false;
    append(kFileLead);
    append(std::string_view(c.file_path));
    append("\n"sv);
    append(std::string_view(c.diff));
  }
}

// Asks the kernel to back a large fresh buffer with huge pages, so that
// filling it takes one page fault per 2 MiB instead of one per 4 KiB; for a
// 64 MiB diff that cuts the cost of the copy several times over. Only
// buffers of 32 MiB and more are advised: the allocator maps those afresh
// for every request, while smaller ones usually reuse memory it already
// holds. Only the 2 MiB-aligned interior is advised; the hint is harmless
// where huge pages are unavailable.
void advise_huge_pages(char* data, std::size_t size) {
#if defined(__linux__) && defined(MADV_HUGEPAGE)
  constexpr std::uintptr_t kHugePage = std::uintptr_t{2} << 20;
  constexpr std::size_t kThreshold = std::size_t{32} << 20;
  if (size < kThreshold) return;
  const auto start = reinterpret_cast<std::uintptr_t>(data);
  const std::uintptr_t begin = (start + kHugePage - 1) & ~(kHugePage - 1);
  const std::uintptr_t end = (start + size) & ~(kHugePage - 1);
  if (end > begin) ::madvise(data + (begin - start), end - begin, MADV_HUGEPAGE);
#else
  (void)data;
  (void)size;
#endif
}

void append_joined(std::string& out, const std::vector<std::string>& items) {
  bool first = true;
  for (const std::string& item : items) {
    if (!first) out += ", ";
    first = false;
    out += item;
  }
}

std::string agent_block_text(const AgentDefinition& definition) {
  const Value& prompt = definition.system_prompt;
  if (!prompt.is_string()) {
    throw TypeError("system_prompt of agent '" + definition.name + "' is a " +
                    std::string(Value::kind_name(prompt.kind())) + ", not text");
  }
  std::string text;
  text.reserve(AGENT_BLOCK_LEAD.size() + prompt.as_string().size());
  text += AGENT_BLOCK_LEAD;
  text += prompt.as_string();
  return text;
}

Value text_block(std::string text) {
  Value block = Value::Mapping{};
  block.as_mapping().set("type", "text");
  block.as_mapping().set("text", Value(std::move(text)));
  return block;
}

// The message sequence: one user message.
Value user_messages(std::string user_content) {
  Value message = Value::Mapping{};
  message.as_mapping().set("role", "user");
  message.as_mapping().set("content", Value(std::move(user_content)));
  Value::Sequence messages;
  messages.push_back(std::move(message));
  return messages;
}

Value system_blocks(std::string diff_text, const AgentDefinition& definition) {
  Value diff_block = text_block(std::move(diff_text));
  diff_block.as_mapping().set("cache_control", CACHE_CONTROL_1H);
  Value::Sequence blocks;
  blocks.reserve(2);
  blocks.push_back(std::move(diff_block));
  blocks.push_back(text_block(agent_block_text(definition)));
  return blocks;
}

std::string user_text(const SharedAnalysisResult* shared) {
  std::string user;
  const std::string context = shared ? build_shared_context(*shared) : std::string();
  user.reserve(context.size() + REVIEW_SENTENCE.size() + REVIEW_INSTRUCTIONS.size());
  user += context;
  user += REVIEW_SENTENCE;
  user += REVIEW_INSTRUCTIONS;
  return user;
}

struct WiredTool {
  std::string_view label;  // for messages
  const std::shared_ptr<ReviewerTool>* tool;
};

// The tools present, in the fixed order read-file, read-lines, find-code.
std::vector<WiredTool> wired_tools(const ReviewerTools& tools) {
  std::vector<WiredTool> wired;
  if (tools.read_file_tool) wired.push_back({"read-file tool", &tools.read_file_tool});
  if (tools.read_lines_tool) wired.push_back({"read-lines tool", &tools.read_lines_tool});
  if (tools.find_code_tool) wired.push_back({"find-code tool", &tools.find_code_tool});
  return wired;
}

// The "name" of a tool definition, which keys the tool's handler.
std::string tool_name(const Value& definition, std::string_view label) {
  if (!definition.is_mapping()) {
    throw TypeError("the " + std::string(label) + "'s definition is a " +
                    std::string(Value::kind_name(definition.kind())) + ", not a mapping");
  }
  const Value* name = definition.find("name");
  if (!name) throw InvalidValueError("the " + std::string(label) + "'s definition has no \"name\"");
  if (!name->is_string()) {
    throw TypeError("the " + std::string(label) + "'s definition has a \"name\" of type " +
                    std::string(Value::kind_name(name->kind())) + ", not text");
  }
  return name->as_string();
}

// The tool definitions and handlers of the tool path.
void wire_tools(const ReviewerTools& tools, ReviewRequest& request) {
  const std::vector<WiredTool> wired = wired_tools(tools);
  if (wired.empty()) return;
  Value::Sequence definitions;
  definitions.reserve(wired.size());
  for (const WiredTool& w : wired) definitions.push_back((*w.tool)->tool_definition());
  // A fresh definition names each handler; a later tool reporting the same
  // name replaces the earlier one's handler.
  std::map<std::string, ToolHandler> handlers;
  for (const WiredTool& w : wired) {
    handlers[tool_name((*w.tool)->tool_definition(), w.label)] =
        [tool = *w.tool](const Value& input) { return tool->execute(input); };
  }
  request.tool_path = true;
  request.tools = Value(std::move(definitions));
  request.tool_handlers = std::move(handlers);
}

}  // namespace

DiffText build_diff_text(std::span<const FileChange> changes) {
  DiffText diff;
  std::string& text = diff.text;
  const std::size_t size = diff_text_size(changes);
  text.reserve(size);
  advise_huge_pages(text.data(), size);
  Sha256 sha;
  for_each_diff_piece(changes, [&](std::string_view piece) {
    while (!piece.empty()) {
      const std::size_t n = std::min(piece.size(), kHashSlice);
      const std::size_t at = text.size();
      text.append(piece.data(), n);
      sha.update(std::string_view(text).substr(at, n));
      piece.remove_prefix(n);
    }
  });
  diff.hash = sha.hex(kDiffHashDigits);
  return diff;
}

std::string build_shared_context(const SharedAnalysisResult& shared) {
  std::string context = "Context from shared analysis:\nLanguages: ";
  append_joined(context, shared.languages);
  context += "\nRisk areas: ";
  append_joined(context, shared.risk_areas);
  context += "\nSummary: ";
  context += shared.summary;
  context += "\n\n";
  return context;
}

const std::string& ReviewRequest::user_content() const {
  return messages.as_sequence().front().as_mapping().at("content").as_string();
}

ReviewRequest assemble_request(std::span<const FileChange> changes,
                               const SharedAnalysisResult* shared,
                               const AgentDefinition& definition, const ReviewerTools* tools) {
  ReviewRequest request;
  DiffText diff = build_diff_text(changes);
  request.cache_key = std::move(diff.hash);
  request.system_blocks = system_blocks(std::move(diff.text), definition);
  request.messages = user_messages(user_text(shared));
  if (tools) wire_tools(*tools, request);
  return request;
}

ReviewRequest request_for(const LoadedAgent& agent, std::span<const FileChange> changes,
                          const SharedAnalysisResult* shared) {
  const ReviewerTools& tools = agent.tools();
  const bool has_tools = tools.read_file_tool || tools.read_lines_tool || tools.find_code_tool;
  const bool tool_path = has_tools && agent.client() && agent.client()->offers_tools();
  return assemble_request(changes, shared, agent.definition(), tool_path ? &tools : nullptr);
}

}  // namespace tessik::detail
