// Token usage that a client has been charged, per agent.
//
//   for (const auto& [agent, u] : client.usage().by_agent())
//     std::cout << agent << ": " << u.input_tokens << " in, " << u.output_tokens
//               << " out, " << u.cache_read_tokens << " read from the cache\n";
//
// The counts are what the provider reported in each reply; a provider that
// reports nothing adds zeros. Thread-safe: clients add from several threads
// while callers read.
#ifndef TESSIK_CLIENTS_USAGE_HPP_
#define TESSIK_CLIENTS_USAGE_HPP_

#include <cstdint>
#include <map>
#include <mutex>
#include <string>

namespace tessik::clients {

struct TokenUsage {
  std::int64_t input_tokens = 0;        // prompt tokens neither written to nor read from the cache
  std::int64_t output_tokens = 0;       // generated tokens, thinking included
  std::int64_t cache_write_tokens = 0;  // prompt tokens written to the prompt cache
  std::int64_t cache_read_tokens = 0;   // prompt tokens served from the prompt cache
  std::int64_t requests = 0;            // answered requests counted

  TokenUsage& operator+=(const TokenUsage& other);
  friend bool operator==(const TokenUsage&, const TokenUsage&) = default;
};

// Running totals keyed by agent name ("" for calls without one).
class UsageLedger {
 public:
  void add(const std::string& agent, const TokenUsage& usage);
  // A copy of the totals per agent, in name order.
  std::map<std::string, TokenUsage> by_agent() const;
  // The sum over every agent.
  TokenUsage total() const;

 private:
  mutable std::mutex mutex_;
  std::map<std::string, TokenUsage> totals_;
};

}  // namespace tessik::clients

#endif  // TESSIK_CLIENTS_USAGE_HPP_
