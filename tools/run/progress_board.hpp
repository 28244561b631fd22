// Signs of life while the agents run: one line per agent on standard error
// saying what it is doing, fed by the client's progress observer and by the
// runner as each agent finishes.
//
//   ProgressBoard board(std::cerr, ProgressMode::live);
//   options.progress = [&](const clients::CallProgress& p) { board.observe(p); };
//   board.begin({"corvin", "wynn"});
//   ... run the agents, calling board.finished(outcome) for each ...
//   board.close();
//
// An agent is "queued" until its first request goes out, then "waiting for
// the model", "writing (N tokens)" while a streamed reply arrives, "calling
// read_file on src/app.py" while a tool runs, and "done: clean", "done: 2
// findings", "done: error", "failed", "not sent" or "interrupted" at the end, each with the seconds
// since it started. `live` redraws the lines in place at most ten times a
// second (a terminal) and leaves them as the summary; `plain` prints one
// line per change of stage (no token counts); `off` prints nothing.
#ifndef TESSIK_TOOLS_RUN_PROGRESS_BOARD_HPP_
#define TESSIK_TOOLS_RUN_PROGRESS_BOARD_HPP_

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include <tessik/clients/call_progress.hpp>

#include "run/review_runner.hpp"

namespace tessik::cli {

enum class ProgressMode { off, live, plain };

// One agent's line, without its elapsed time.
struct AgentProgress {
  std::string agent;
  std::string doing = "queued";
  std::chrono::steady_clock::time_point started{};  // zero until it starts
  double seconds = 0;                               // fixed when done
  bool done = false;
};

// The text of one line: "corvin   writing (12 tokens)   3.4 s", the name
// padded to `name_width` code points and the whole cut to `columns`.
std::string progress_line(const AgentProgress& row, std::size_t name_width, double seconds,
                          std::size_t columns);

// Thread-safe: observe() and finished() may be called from every agent's
// thread at once. `out` must outlive the board; nothing else writes to it
// between the first redraw and close() in live mode.
class ProgressBoard {
 public:
  // `columns`: the terminal's width; lines are cut to fit it.
  ProgressBoard(std::ostream& out, ProgressMode mode, std::size_t columns = 80);
  ~ProgressBoard();
  ProgressBoard(const ProgressBoard&) = delete;
  ProgressBoard& operator=(const ProgressBoard&) = delete;

  // Shows one line per agent, all queued. Progress before it is ignored.
  void begin(const std::vector<std::string>& agents);
  void observe(const clients::CallProgress& progress);
  void finished(const AgentOutcome& outcome);
  // Draws the final lines and stops redrawing. Called by the destructor too.
  void close();

 private:
  AgentProgress* row(std::string_view agent);
  void change(AgentProgress& row, std::string doing);
  void draw();  // with mutex_ held

  std::ostream& out_;
  ProgressMode mode_;
  std::size_t columns_, name_width_ = 0;
  std::mutex mutex_;
  std::condition_variable wake_;
  std::vector<AgentProgress> rows_;
  bool drawn_ = false, closed_ = false;
  std::jthread ticker_;  // live mode: redraws every 100 ms
};

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_RUN_PROGRESS_BOARD_HPP_
