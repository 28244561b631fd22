// Test doubles for the client side: a client that records every call and
// answers from a script, and a reviewer tool that counts its definitions.
// Both are safe to use from several threads.
#ifndef TESSIK_TESTS_FAKE_CLIENT_HPP_
#define TESSIK_TESTS_FAKE_CLIENT_HPP_

#include <atomic>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <tessik/ai_client.hpp>
#include <tessik/value.hpp>

namespace tessik::testing {

// One recorded call: which operation, its messages and its options.
struct RecordedCall {
  std::string method;  // "complete" or "complete_with_tools"
  Value messages;
  std::optional<CompleteOptions> plain;
  std::optional<ToolCompleteOptions> tools;
};

// Answers every call with `responder(messages, agent_name)`; the default
// answers with `reply`. Named ExampleClient because call sites show the
// client's type name.
class ExampleClient : public AIClient {
 public:
  using Responder = std::function<CompletionResult(const Value& messages, const std::string& agent)>;

  explicit ExampleClient(bool offers_tools = false, CompletionResult reply = {})
      : offers_tools_(offers_tools), reply_(std::move(reply)) {}

  CompletionResult complete(const Value& messages, const CompleteOptions& options) override {
    record({"complete", messages, options, std::nullopt});
    return respond(messages, options.agent_name);
  }
  bool offers_tools() const noexcept override { return offers_tools_; }
  CompletionResult complete_with_tools(const Value& messages,
                                       const ToolCompleteOptions& options) override {
    record({"complete_with_tools", messages, std::nullopt, options});
    return respond(messages, options.agent_name);
  }

  void set_responder(Responder responder) { responder_ = std::move(responder); }

  std::vector<RecordedCall> calls() const {
    std::lock_guard lock(mutex_);
    return calls_;
  }
  RecordedCall only_call() const {
    auto all = calls();
    if (all.size() != 1) throw std::logic_error("expected exactly one client call");
    return all.front();
  }

 private:
  void record(RecordedCall call) {
    std::lock_guard lock(mutex_);
    calls_.push_back(std::move(call));
  }
  CompletionResult respond(const Value& messages, const std::string& agent) {
    return responder_ ? responder_(messages, agent) : reply_;
  }

  bool offers_tools_;
  CompletionResult reply_;
  Responder responder_;
  mutable std::mutex mutex_;
  std::vector<RecordedCall> calls_;
};

// A tool whose definition is `definition` and whose `execute` echoes its
// input under "echo" with the tool's label.
class FakeTool : public ReviewerTool {
 public:
  explicit FakeTool(Value definition, std::string label = "")
      : definition_(std::move(definition)), label_(std::move(label)) {}
  static std::shared_ptr<FakeTool> named(const std::string& name) {
    return std::make_shared<FakeTool>(Value::Mapping{{"name", name}}, name);
  }

  Value tool_definition() const override {
    ++definition_calls_;
    if (on_definition_) on_definition_(label_);
    return definition_;
  }
  Value execute(const Value& input) override {
    return Value::Mapping{{"tool", label_}, {"echo", input}};
  }

  int definition_calls() const { return definition_calls_; }
  void on_definition(std::function<void(const std::string&)> hook) {
    on_definition_ = std::move(hook);
  }

 private:
  Value definition_;
  std::string label_;
  mutable std::atomic<int> definition_calls_{0};
  std::function<void(const std::string&)> on_definition_;
};

}  // namespace tessik::testing

#endif  // TESSIK_TESTS_FAKE_CLIENT_HPP_
