#include "run/progress_board.hpp"

#include <algorithm>
#include <cstdio>

#include <tessik/foundation/text.hpp>

namespace tessik::cli {
namespace {

using Clock = std::chrono::steady_clock;
using clients::CallStage;

constexpr auto kRedraw = std::chrono::milliseconds(100);

// A model's tool input is not to be trusted with the terminal: control
// characters (escape sequences, line breaks) become '?'.
std::string printable(std::string_view text) {
  std::string out(text);
  for (char& c : out) {
    const auto u = static_cast<unsigned char>(c);
    if (u < 0x20 || u == 0x7F) c = '?';
  }
  return out;
}

std::string padded(std::string_view text, std::size_t width) {
  std::string out(text);
  const std::size_t n = code_point_count(text);
  if (n < width) out.append(width - n, ' ');
  return out;
}

std::string verdict_words(const AgentOutcome& o) {
  if (o.halt != Halt::none) return std::string(halt_words(o.halt));
  if (!o.verdict) return "failed";
  if (o.verdict->is_findings()) {
    const std::size_t n = o.verdict->findings().size();
    return "done: " + std::to_string(n) + (n == 1 ? " finding" : " findings");
  }
  return "done: " + o.verdict->status();
}

std::string stage_words(const clients::CallProgress& p) {
  switch (p.stage) {
    case CallStage::waiting:
    case CallStage::accepted:
      return "waiting for the model";
    case CallStage::writing:
      return "writing (" + std::to_string(p.pieces) + (p.pieces == 1 ? " token)" : " tokens)");
    case CallStage::tool:
      return "calling " + std::string(p.tool) +
             (p.path.empty() ? "" : " on " + std::string(p.path));
    case CallStage::answered:  // the line keeps what the reply was doing
      break;
  }
  return {};
}

}  // namespace

std::string progress_line(const AgentProgress& row, std::size_t name_width, double seconds,
                          std::size_t columns) {
  char time[32];
  std::snprintf(time, sizeof time, "%6.1f s", seconds);
  const std::string line =
      printable(padded(row.agent, name_width) + "  " + padded(row.doing, 34) + " " + time);
  return std::string(first_code_points(line, columns > 1 ? columns - 1 : 1));
}

ProgressBoard::ProgressBoard(std::ostream& out, ProgressMode mode, std::size_t columns)
    : out_(out), mode_(mode), columns_(columns) {}

void ProgressBoard::begin(const std::vector<std::string>& agents) {
  const std::lock_guard lock(mutex_);
  for (const std::string& a : agents) {
    rows_.push_back({.agent = a});
    name_width_ = std::max(name_width_, code_point_count(a));
  }
  if (mode_ != ProgressMode::live || ticker_.joinable()) return;
  ticker_ = std::jthread([this](const std::stop_token& stop) {
    std::unique_lock lock(mutex_);
    while (!stop.stop_requested() && !closed_) {
      draw();
      wake_.wait_for(lock, kRedraw);
    }
  });
}

ProgressBoard::~ProgressBoard() { close(); }

AgentProgress* ProgressBoard::row(std::string_view agent) {
  for (AgentProgress& r : rows_) {
    if (r.agent == agent) return &r;
  }
  return nullptr;
}

void ProgressBoard::change(AgentProgress& r, std::string doing) {
  if (r.done || r.doing == doing) return;
  if (r.started == Clock::time_point{}) r.started = Clock::now();
  const bool same_stage = doing.rfind("writing", 0) == 0 && r.doing.rfind("writing", 0) == 0;
  r.doing = std::move(doing);
  if (mode_ != ProgressMode::plain || same_stage) return;
  const double seconds = std::chrono::duration<double>(Clock::now() - r.started).count();
  std::string line = printable(r.agent + ": " + r.doing);
  if (r.doing.rfind("writing", 0) == 0) line = r.agent + ": writing";
  char time[32];
  std::snprintf(time, sizeof time, " (%.1f s)", seconds);
  out_ << line << time << '\n' << std::flush;
}

void ProgressBoard::observe(const clients::CallProgress& progress) {
  if (mode_ == ProgressMode::off) return;
  const std::lock_guard lock(mutex_);
  std::string doing = stage_words(progress);
  if (AgentProgress* r = row(progress.agent); r && !doing.empty()) change(*r, std::move(doing));
}

void ProgressBoard::finished(const AgentOutcome& outcome) {
  if (mode_ == ProgressMode::off) return;
  const std::lock_guard lock(mutex_);
  AgentProgress* r = row(outcome.agent);
  if (!r) return;
  if (r->started == Clock::time_point{})
    r->started = Clock::now() - std::chrono::duration_cast<Clock::duration>(outcome.elapsed);
  change(*r, verdict_words(outcome));
  r->seconds = outcome.elapsed.count();
  r->done = true;
}

void ProgressBoard::draw() {
  if (drawn_) out_ << "\x1b[" << rows_.size() << 'A';  // back to the first line
  const auto now = Clock::now();
  for (const AgentProgress& r : rows_) {
    const double seconds = r.done ? r.seconds
                           : r.started == Clock::time_point{}
                               ? 0.0
                               : std::chrono::duration<double>(now - r.started).count();
    out_ << "\r\x1b[2K" << progress_line(r, name_width_, seconds, columns_) << '\n';
  }
  out_ << std::flush;
  drawn_ = true;
}

void ProgressBoard::close() {
  {
    const std::lock_guard lock(mutex_);
    if (closed_) return;
    closed_ = true;
    if (mode_ == ProgressMode::live) draw();
  }
  wake_.notify_all();
  if (ticker_.joinable()) ticker_.join();
}

}  // namespace tessik::cli
