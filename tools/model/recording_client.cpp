#include "model/recording_client.hpp"

#include <cerrno>
#include <fstream>

#include <tessik/foundation/errors.hpp>
#include <tessik/foundation/json.hpp>
#include <tessik/foundation/text.hpp>

namespace tessik::cli {
namespace {

void write_file(const std::filesystem::path& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << bytes;
  out.close();
  if (!out) {
    throw FileSystemError("cannot write the recording " + repr(path.native()), EIO);
  }
}

}  // namespace

std::string recording_stem(const std::string& agent, int call) {
  if (agent.empty() || agent.find('/') != std::string::npos || agent.starts_with('.')) {
    throw InvalidValueError("no reply can be recorded for the agent name " + repr(agent) +
                            ": it is not a plain file name");
  }
  return call <= 1 ? agent : agent + ".part-" + std::to_string(call);
}

void write_recording(const std::filesystem::path& directory, const std::string& agent,
                     const CompletionResult& result, int call) {
  const std::string stem = recording_stem(agent, call);
  std::error_code ec;
  std::filesystem::create_directories(directory, ec);
  if (ec) {
    throw FileSystemError("cannot create the recordings directory " + repr(directory.native()),
                          ec.value());
  }
  write_file(directory / (stem + ".json"), result.text);
  Value::Mapping meta;
  if (result.stop_reason) meta.set("stop_reason", *result.stop_reason);
  if (result.iterations_used) meta.set("iterations_used", *result.iterations_used);
  if (result.hit_iteration_cap) meta.set("hit_iteration_cap", *result.hit_iteration_cap);
  write_file(directory / (stem + ".meta.json"), to_json(Value(std::move(meta)), 2) + "\n");
}

RecordingClient::RecordingClient(std::shared_ptr<AIClient> inner,
                                 std::optional<std::filesystem::path> directory)
    : inner_(std::move(inner)), directory_(std::move(directory)) {}

CompletionResult RecordingClient::complete(const Value& messages, const CompleteOptions& options) {
  const int call = next_call(options.agent_name);
  return keep(options.agent_name, call, inner_->complete(messages, options));
}

CompletionResult RecordingClient::complete_with_tools(const Value& messages,
                                                      const ToolCompleteOptions& options) {
  const int call = next_call(options.agent_name);
  return keep(options.agent_name, call, inner_->complete_with_tools(messages, options));
}

int RecordingClient::next_call(const std::string& agent) {
  const std::lock_guard lock(mutex_);
  return ++calls_[agent];
}

CompletionResult RecordingClient::keep(const std::string& agent, int call,
                                       CompletionResult result) {
  if (directory_) write_recording(*directory_, agent, result, call);
  const std::lock_guard lock(mutex_);
  iterations_[agent] += result.iterations_used.value_or(1);
  return result;
}

std::optional<std::int64_t> RecordingClient::iterations(const std::string& agent) const {
  const std::lock_guard lock(mutex_);
  const auto it = iterations_.find(agent);
  if (it == iterations_.end()) return std::nullopt;
  return it->second;
}

}  // namespace tessik::cli
