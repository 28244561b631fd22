#include "lint/closest_key.hpp"

#include <algorithm>
#include <vector>

#include <tessik/foundation/text.hpp>

namespace tessik::lint {
namespace {

std::size_t edit_distance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t above = row[j];
      row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (a[i - 1] == b[j - 1] ? 0 : 1)});
      diagonal = above;
    }
  }
  return row[b.size()];
}

}  // namespace

std::string closest_key(std::string_view key, std::span<const std::string_view> candidates) {
  const std::string low = lower(key);
  std::string best;
  std::size_t best_distance = 3;
  for (std::string_view candidate : candidates) {
    // Lengths three apart or more cannot be within two edits.
    const std::size_t gap = low.size() > candidate.size() ? low.size() - candidate.size()
                                                          : candidate.size() - low.size();
    if (gap > 2) continue;
    const std::size_t d = edit_distance(low, candidate);
    const bool near =
        d == 0 || (candidate.size() >= 6 && d <= 2) || (candidate.size() < 6 && d <= 1);
    if (near && d < best_distance) {
      best = candidate;
      best_distance = d;
    }
  }
  return best;
}

}  // namespace tessik::lint
