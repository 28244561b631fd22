#include "run/stop_signals.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <system_error>

namespace tessik::cli {
namespace {

constexpr std::array<int, 2> kSignals{SIGINT, SIGTERM};

// The write end of the live StopSignals' pipe, -1 when none lives: the
// handler has no other way to reach it. Lock-free, so the handler may read it.
std::atomic<int> wake_fd{-1};  // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)
static_assert(std::atomic<int>::is_always_lock_free);

extern "C" void on_stop_signal(int signal) {
  const int saved = errno;
  const int fd = wake_fd.load();
  const auto byte = static_cast<unsigned char>(signal);
  if (fd >= 0) (void)!::write(fd, &byte, 1);
  errno = saved;
}

}  // namespace

StopSignals::StopSignals(std::function<void(int signal)> on_signal)
    : on_signal_(std::move(on_signal)) {
  if (::pipe2(pipe_.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
    throw std::system_error(errno, std::generic_category(), "cannot make a pipe for the signals");
  }
  int none = -1;
  if (!wake_fd.compare_exchange_strong(none, pipe_[1])) return;  // another one lives: inert
  // The reading end blocks; a full pipe drops the handler's byte instead.
  ::fcntl(pipe_[0], F_SETFL, 0);
  for (std::size_t i = 0; i < kSignals.size(); ++i) {
    struct sigaction action {};
    action.sa_handler = &on_stop_signal;
    sigemptyset(&action.sa_mask);
    // SA_RESETHAND: a second signal before the watcher restores the earlier
    // handlers already has the default effect.
    action.sa_flags = SA_RESTART | SA_RESETHAND;
    if (::sigaction(kSignals[i], nullptr, &earlier_[i]) != 0) continue;
    if (earlier_[i].sa_handler == SIG_IGN) continue;
    installed_[i] = ::sigaction(kSignals[i], &action, nullptr) == 0;
  }
  // Started last: a signal before it waits in the pipe.
  try {
    watcher_ = std::jthread([this] {
      unsigned char byte = 0;
      ssize_t n = 0;
      do {
        n = ::read(pipe_[0], &byte, 1);
      } while (n < 0 && errno == EINTR);
      if (n != 1 || byte == 0) return;  // 0: the destructor's wake-up
      restore();
      on_signal_(byte);
    });
  } catch (...) {
    restore();
    wake_fd = -1;
    close_pipe();
    throw;
  }
}

void StopSignals::restore() noexcept {
  for (std::size_t i = 0; i < kSignals.size(); ++i) {
    if (installed_[i]) ::sigaction(kSignals[i], &earlier_[i], nullptr);
  }
}

void StopSignals::close_pipe() noexcept {
  ::close(pipe_[0]);
  ::close(pipe_[1]);
}

StopSignals::~StopSignals() {
  if (watcher_.joinable()) {
    const unsigned char wake = 0;
    (void)!::write(pipe_[1], &wake, 1);
    watcher_.join();
    restore();
    wake_fd = -1;
  }
  close_pipe();
}

}  // namespace tessik::cli
