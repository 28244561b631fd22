// What a live review cost: the model, the wall time, the tokens the
// provider charged (from the client's usage accounting) and, per agent, its
// tool-use iterations and time.
//
//   RunCost cost{.model = "m", .wall_seconds = 2.1, .total = {.input = 900, ...}};
//   os << cost_line(cost) << '\n';
//   // cost: model m, 2.10 s, tokens in 900 out 120, cache writes 4000 reads 12000
#ifndef TESSIK_TOOLS_REPORT_REVIEW_COST_HPP_
#define TESSIK_TOOLS_REPORT_REVIEW_COST_HPP_

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <tessik/foundation/value.hpp>

namespace tessik::cli {

struct Tokens {
  std::int64_t input = 0, output = 0, cache_write = 0, cache_read = 0;
};

struct AgentCost {
  std::int64_t iterations = 0;  // 0: the agent made no successful call
  double seconds = 0;
  Tokens tokens{};
};

struct RunCost {
  std::string model{};
  double wall_seconds = 0;
  Tokens total{};
  std::map<std::string, AgentCost> agents{};
};

// "cost: model M, W s, tokens in I out O, cache writes CW reads CR".
std::string cost_line(const RunCost& cost);

// "  NAME: N iterations, S s, tokens in I out O, cache writes CW reads CR",
// one line per agent of `cost.agents` in `order`.
std::string agent_cost_lines(const RunCost& cost, const std::vector<std::string>& order);

// The same figures for --json: {"model", "wall_seconds", "tokens": {...},
// "agents": {NAME: {"iterations", "seconds", "tokens": {...}}}}.
Value cost_value(const RunCost& cost);

}  // namespace tessik::cli

#endif  // TESSIK_TOOLS_REPORT_REVIEW_COST_HPP_
