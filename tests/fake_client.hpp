// Test doubles: a client that records every call and answers through a
// replaceable responder, and a reviewer tool with a fixed definition.
#ifndef TESSIK_TESTS_FAKE_CLIENT_HPP_
#define TESSIK_TESTS_FAKE_CLIENT_HPP_

#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <tessik/ai_client.hpp>
#include <tessik/detail/ai_client.hpp>

namespace tessik::testing {

struct RecordedCall {
  std::string method;  // "complete" or "complete_with_tools"
  Value messages;
  std::optional<CompleteOptions> plain;
  std::optional<ToolCompleteOptions> tools;
};

// Named like a real client because call sites show the client's type name.
// Recording is thread-safe; set `responder` before sharing the client.
class ExampleClient : public AIClient {
 public:
  using Responder = std::function<CompletionResult(const Value& messages, const std::string&)>;
  explicit ExampleClient(bool offers_tools = false, CompletionResult reply = {})
      : responder([reply](const Value&, const std::string&) { return reply; }),
        offers_tools_(offers_tools) {}

  CompletionResult complete(const Value& messages, const CompleteOptions& options) override {
    record({"complete", messages, options, std::nullopt});
    return responder(messages, options.agent_name);
  }
  bool offers_tools() const noexcept override { return offers_tools_; }
  CompletionResult complete_with_tools(const Value& messages,
                                       const ToolCompleteOptions& options) override {
    record({"complete_with_tools", messages, std::nullopt, options});
    return responder(messages, options.agent_name);
  }
  std::vector<RecordedCall> calls() const {
    std::lock_guard lock(mutex_);
    return calls_;
  }

  Responder responder;

 private:
  void record(RecordedCall call) {
    std::lock_guard lock(mutex_);
    calls_.push_back(std::move(call));
  }
  bool offers_tools_;
  mutable std::mutex mutex_;
  std::vector<RecordedCall> calls_;
};

// `execute` answers {"tool": label, "echo": input}; every `tool_definition`
// call appends the label to `*asked` when given (not thread-safe then).
class FakeTool : public ReviewerTool {
 public:
  FakeTool(Value definition, std::string label, std::vector<std::string>* asked = nullptr)
      : definition_(std::move(definition)), label_(std::move(label)), asked_(asked) {}
  static std::shared_ptr<FakeTool> named(const std::string& name,
                                         std::vector<std::string>* asked = nullptr) {
    return std::make_shared<FakeTool>(Value::Mapping{{"name", name}}, name, asked);
  }
  Value tool_definition() const override {
    if (asked_) asked_->push_back(label_);
    return definition_;
  }
  Value execute(const Value& input) override {
    return Value::Mapping{{"tool", label_}, {"echo", input}};
  }

 private:
  Value definition_;
  std::string label_;
  std::vector<std::string>* asked_;
};

}  // namespace tessik::testing

#endif  // TESSIK_TESTS_FAKE_CLIENT_HPP_
