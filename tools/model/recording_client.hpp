// A client wrapper that passes every call through to the live client and
// keeps what each agent's call returned: for the cost report, and, when
// given a directory, as a recording that `review --replies DIR` replays.
//
//   auto live = std::make_shared<RecordingClient>(client, "recordings/");
//   ... agents run against `live` ...
//   live->iterations("hesper");   // tool-use iterations the call reported
//
// A recording is the replay format (replay_client.hpp): DIR/<agent>.json
// holds the reply text exactly as the model wrote it, DIR/<agent>.meta.json
// the completion facts the client reported (keys absent when not reported).
// A change reviewed in parts makes one call per part for each agent: the
// agent's second call is kept as DIR/<agent>.part-2.json (and .meta.json),
// its third as .part-3, and so on, which the replay reads in the same
// order. The directory is created when missing. A failed call records
// nothing, but still counts as its part.
//
// The wrapper reports the wrapped client's type name and tool support, so
// call sites and dispatch are those of the live client. Thread-safe when
// the wrapped client is.
#ifndef TESSIK_TOOLS_MODEL_RECORDING_CLIENT_HPP_
#define TESSIK_TOOLS_MODEL_RECORDING_CLIENT_HPP_

#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include <tessik/ai_client.hpp>

namespace tessik::cli {

class RecordingClient final : public AIClient {
 public:
  RecordingClient(std::shared_ptr<AIClient> inner, std::optional<std::filesystem::path> directory);

  CompletionResult complete(const Value& messages, const CompleteOptions& options) override;
  bool offers_tools() const noexcept override { return inner_->offers_tools(); }
  CompletionResult complete_with_tools(const Value& messages,
                                       const ToolCompleteOptions& options) override;
  std::string type_name() const override { return inner_->type_name(); }

  // The iterations the calls of `agent` reported, summed over its calls (one
  // per part of a change reviewed in parts; 1 for a call that reported
  // none), or nullopt when it made no successful call.
  std::optional<std::int64_t> iterations(const std::string& agent) const;

 private:
  // The number of `agent`'s call now starting, from 1.
  int next_call(const std::string& agent);
  CompletionResult keep(const std::string& agent, int call, CompletionResult result);

  std::shared_ptr<AIClient> inner_;
  std::optional<std::filesystem::path> directory_;
  mutable std::mutex mutex_;
  std::map<std::string, std::int64_t> iterations_;
  std::map<std::string, int> calls_;
};

// Writes `result` for `agent`'s call number `call` (from 1) into
// `directory` in the replay format. Throws InvalidValueError for an agent
// name that is not a plain file name and FileSystemError when a file cannot
// be written.
void write_recording(const std::filesystem::path& directory, const std::string& agent,
                     const CompletionResult& result, int call = 1);

// The name without extension of the files holding `agent`'s call number
// `call`: "<agent>" for the first, "<agent>.part-N" for the Nth. Throws
// InvalidValueError for an agent name that is not a plain file name.
std::string recording_stem(const std::string& agent, int call);

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_MODEL_RECORDING_CLIENT_HPP_
