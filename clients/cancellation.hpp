// Stops the calls of the clients that share it: a call in flight ends
// within about a second (libcurl's progress callback is asked at least that
// often), a wait before a retry ends at once, and no call starts after it.
// Each such call throws ProviderError (status 0) saying it was cancelled;
// a cancelled call is never retried.
//
//   auto cancel = std::make_shared<tessik::clients::Cancellation>();
//   tessik::clients::TransportOptions transport;
//   transport.cancellation = cancel;
//   ... on another thread, when the user asks to stop:
//   cancel->cancel();
//
// Thread-safe. `cancel` takes a lock, so it is not for a signal handler:
// let the handler wake a thread that calls it.
#ifndef TESSIK_CLIENTS_CANCELLATION_HPP_
#define TESSIK_CLIENTS_CANCELLATION_HPP_

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace tessik::clients {

class Cancellation {
 public:
  // Cancels for good; later calls change nothing.
  void cancel();
  bool cancelled() const noexcept { return cancelled_.load(std::memory_order_acquire); }
  // Waits `delay`, or less when cancelled meanwhile; true when cancelled.
  bool wait_for(std::chrono::milliseconds delay) const;

 private:
  std::atomic<bool> cancelled_{false};
  mutable std::mutex mutex_;
  mutable std::condition_variable woken_;
};

}  // namespace tessik::clients

#endif  // TESSIK_CLIENTS_CANCELLATION_HPP_
