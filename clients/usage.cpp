#include <tessik/clients/usage.hpp>

namespace tessik::clients {

TokenUsage& TokenUsage::operator+=(const TokenUsage& other) {
  input_tokens += other.input_tokens;
  output_tokens += other.output_tokens;
  cache_write_tokens += other.cache_write_tokens;
  cache_read_tokens += other.cache_read_tokens;
  requests += other.requests;
  return *this;
}

void UsageLedger::add(const std::string& agent, const TokenUsage& usage) {
  std::lock_guard lock(mutex_);
  totals_[agent] += usage;
}

std::map<std::string, TokenUsage> UsageLedger::by_agent() const {
  std::lock_guard lock(mutex_);
  return totals_;
}

TokenUsage UsageLedger::total() const {
  std::lock_guard lock(mutex_);
  TokenUsage sum;
  for (const auto& [agent, usage] : totals_) sum += usage;
  return sum;
}

}  // namespace tessik::clients
