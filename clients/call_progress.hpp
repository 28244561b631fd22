// What each model call is doing while it runs, for a caller that shows
// signs of life (the command line's progress display) or that waits for the
// server to take a request (the cache warm-up).
//
//   options.progress = [&board](const tessik::clients::CallProgress& p) {
//     board.update(p);  // called from the agents' threads
//   };
//
// A call reports, under the agent name of its request: `waiting` when a
// request goes out; `accepted` when a streamed reply's first event shows the
// server has taken it (its prompt is then in the provider's cache);
// `writing` as the reply's pieces arrive (the first at once, then the count
// so far at most every 50 ms); `tool` before a tool handler runs;
// `answered` when a reply has arrived whole (streamed or not). A tool-use
// exchange repeats the cycle once per round. A retried attempt reports
// again from `accepted`.
#ifndef TESSIK_CLIENTS_CALL_PROGRESS_HPP_
#define TESSIK_CLIENTS_CALL_PROGRESS_HPP_

#include <cstdint>
#include <functional>
#include <string_view>

namespace tessik::clients {

enum class CallStage { waiting, accepted, writing, tool, answered };

// The views are valid during the observer's call only.
struct CallProgress {
  std::string_view agent{};
  CallStage stage = CallStage::waiting;
  // writing: pieces of the reply so far (text, thinking, tool input; about
  // one token each).
  std::int64_t pieces = 0;
  // tool: the tool's name and the "path" of its input, when it has one.
  std::string_view tool{}, path{};
};

// Called on the calling threads of the client, possibly several at once:
// it must be thread-safe, quick and must not throw.
using ProgressObserver = std::function<void(const CallProgress&)>;

}  // namespace tessik::clients

#endif  // TESSIK_CLIENTS_CALL_PROGRESS_HPP_
