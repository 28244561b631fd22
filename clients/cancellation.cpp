#include <tessik/clients/cancellation.hpp>

namespace tessik::clients {

void Cancellation::cancel() {
  {
    const std::lock_guard lock(mutex_);
    cancelled_.store(true, std::memory_order_release);
  }
  woken_.notify_all();
}

bool Cancellation::wait_for(std::chrono::milliseconds delay) const {
  std::unique_lock lock(mutex_);
  return woken_.wait_for(lock, delay, [this] { return cancelled(); });
}

}  // namespace tessik::clients
