// The one client call of an analysis: the choice between the tool-use
// exchange and the plain completion, the arguments of each, and the call-site
// tag on whatever the call throws.
#include <exception>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "../ai_client.hpp"
#include "../errors.hpp"
#include "../finding_schema.hpp"
#include "agent.hpp"

namespace tessik {
namespace {

struct WiredTool {
  std::string_view label;  // for messages
  const std::shared_ptr<ReviewerTool>* tool;
};

// The tools the agent holds, in the fixed order read-file, read-lines,
// find-code.
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

// The message sequence: one user message.
Value user_messages(std::string user_content) {
  Value message = Value::Mapping{};
  message.as_mapping().set("role", "user");
  message.as_mapping().set("content", Value(std::move(user_content)));
  Value::Sequence messages;
  messages.push_back(std::move(message));
  return messages;
}

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

}  // namespace

CompletionResult LoadedAgent::invoke_client(std::string user_content, Value system_blocks,
                                            const std::string& diff_hash) const {
  if (!client_) throw TypeError("agent '" + def_.name + "' has no AI client");
  AIClient& client = *client_;
  const std::vector<WiredTool> wired = wired_tools(tools_);

  if (!wired.empty() && client.offers_tools()) {
    const std::string call_site = client.type_name() + ".complete_with_tools";
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
    try {
      const Value messages = user_messages(std::move(user_content));
      const ToolCompleteOptions options{
          .system = std::move(system_blocks),
          .tools = Value(std::move(definitions)),
          .tool_handlers = std::move(handlers),
          .max_iterations = def_.max_tool_iterations,
          .agent_name = def_.name,
          .max_tokens = max_tokens_,
          .output_config = output_config_for_three_state(),
          .reasoning_enabled = true,
      };
      return client.complete_with_tools(messages, options);
    } catch (...) {
      rethrow_tagged(call_site);
    }
  }

  const std::string call_site = client.type_name() + ".complete";
  try {
    const Value messages = user_messages(std::move(user_content));
    const CompleteOptions options{
        .system = std::move(system_blocks),
        .cache_key = diff_hash,
        .agent_name = def_.name,
        .max_tokens = max_tokens_,
    };
    return client.complete(messages, options);
  } catch (...) {
    rethrow_tagged(call_site);
  }
}

}  // namespace tessik
