// Turns SIGINT and SIGTERM into a request to stop, for as long as it lives,
// instead of the immediate end of the process.
//
//   StopSignals signals([&](int signal) {
//     stop->interrupt(signal);  // no agent starts any more
//     cancellation->cancel();   // the requests in flight end
//   });
//
// The handler only writes the signal's number to a pipe (async-signal-safe);
// a thread of the object's own reads it and calls `on_signal` there, once,
// for the first signal. The handlers are then taken down again, so a second
// SIGINT or SIGTERM has its earlier effect (by default it ends the process
// at once, as a second Ctrl-C usually does). A signal the process ignored
// (SIG_IGN, as a shell gives its background jobs) stays ignored.
//
// The pipe's write end is the one piece of global state: one StopSignals
// acts at a time; one made while another lives does nothing. Construct and
// destroy it on one thread.
#ifndef TESSIK_TOOLS_RUN_STOP_SIGNALS_HPP_
#define TESSIK_TOOLS_RUN_STOP_SIGNALS_HPP_

#include <csignal>

#include <array>
#include <functional>
#include <thread>

namespace tessik::cli {

class StopSignals {
 public:
  // Throws std::system_error when the pipe cannot be made.
  explicit StopSignals(std::function<void(int signal)> on_signal);
  // Restores the earlier handlers; waits for a running `on_signal` to end.
  ~StopSignals();
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;

 private:
  void restore() noexcept;
  void close_pipe() noexcept;

  std::function<void(int)> on_signal_;
  std::array<int, 2> pipe_{-1, -1};
  std::array<struct sigaction, 2> earlier_{};  // SIGINT's, SIGTERM's
  std::array<bool, 2> installed_{};
  std::jthread watcher_;
};

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_RUN_STOP_SIGNALS_HPP_
