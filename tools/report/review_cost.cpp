#include "report/review_cost.hpp"

#include <cstdio>

namespace tessik::cli {
namespace {

std::string seconds_text(double s) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.2f s", s);
  return buffer;
}

std::string tokens_text(const Tokens& t) {
  return "tokens in " + std::to_string(t.input) + " out " + std::to_string(t.output) +
         ", cache writes " + std::to_string(t.cache_write) + " reads " +
         std::to_string(t.cache_read);
}

Value tokens_value(const Tokens& t) {
  return Value::Mapping{{"input", t.input},
                        {"output", t.output},
                        {"cache_write", t.cache_write},
                        {"cache_read", t.cache_read}};
}

}  // namespace

std::string cost_line(const RunCost& cost) {
  return "cost: model " + cost.model + ", " + seconds_text(cost.wall_seconds) + ", " +
         tokens_text(cost.total);
}

std::string agent_cost_lines(const RunCost& cost, const std::vector<std::string>& order) {
  std::string out;
  for (const std::string& name : order) {
    const auto it = cost.agents.find(name);
    if (it == cost.agents.end()) continue;
    const AgentCost& a = it->second;
    out += "  " + name + ": " + std::to_string(a.iterations) +
           (a.iterations == 1 ? " iteration, " : " iterations, ") + seconds_text(a.seconds) + ", " +
           tokens_text(a.tokens) + "\n";
  }
  return out;
}

Value cost_value(const RunCost& cost) {
  Value::Mapping agents;
  for (const auto& [name, a] : cost.agents) {
    agents.set(name, Value::Mapping{{"iterations", a.iterations},
                                    {"seconds", a.seconds},
                                    {"tokens", tokens_value(a.tokens)}});
  }
  return Value::Mapping{{"model", cost.model},
                        {"wall_seconds", cost.wall_seconds},
                        {"tokens", tokens_value(cost.total)},
                        {"agents", std::move(agents)}};
}

}  // namespace tessik::cli
