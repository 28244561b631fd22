// AI clients of the command-line tool: one that answers from recorded
// replies, and one for commands that load agents but never review.
#ifndef TESSIK_TOOLS_MODEL_REPLAY_CLIENT_HPP_
#define TESSIK_TOOLS_MODEL_REPLAY_CLIENT_HPP_

#include <filesystem>
#include <map>
#include <mutex>
#include <string>

#include <tessik/ai_client.hpp>
#include <tessik/detail/ai_client.hpp>

namespace tessik::cli {

// Answers each agent with the reply recorded for it in a directory, so a
// review runs offline and gives the same verdicts every time.
//
//   DIR/<agent>.json       the reply text, as the model wrote it (read as
//                          UTF-8; not parsed here: the reply classifier does
//                          that, so a malformed reply shows as it would live)
//   DIR/<agent>.meta.json  optional JSON object with the completion facts:
//                          "stop_reason" (string), "iterations_used"
//                          (integer), "hit_iteration_cap" (boolean); a key
//                          that is absent or null is not carried
//
// The agent is the `agent_name` of the call. An agent's second and later
// calls (the parts of a change reviewed in parts) read
// DIR/<agent>.part-N.json and its meta file when the recording has them,
// else the files above, so a recording of one part serves every part.
// Throws FileSystemError when the reply file is missing, InvalidValueError
// for an agent name that is not a plain file name or a malformed meta file.
// Offers no tool path. Reads the directory on every call; counts each
// agent's calls under a lock, so concurrent calls are safe.
class ReplayClient final : public AIClient {
 public:
  explicit ReplayClient(std::filesystem::path directory) : directory_(std::move(directory)) {}

  CompletionResult complete(const Value& messages, const CompleteOptions& options) override;

  // The recorded result of `agent_name`'s call number `call` (from 1); what
  // `complete` returns.
  CompletionResult replay(const std::string& agent_name, int call = 1) const;

 private:
  std::filesystem::path directory_;
  std::mutex mutex_;
  std::map<std::string, int> calls_;
};

// The client given to agents that are only listed or shown. Any call throws
// InvalidValueError: those commands never review.
class OfflineClient final : public AIClient {
 public:
  CompletionResult complete(const Value& messages, const CompleteOptions& options) override;
};

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_MODEL_REPLAY_CLIENT_HPP_
