// Records of the surrounding review program that the agents read and fill.
#ifndef TESSIK_MODELS_HPP_
#define TESSIK_MODELS_HPP_

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include <tessik/foundation/value.hpp>

namespace tessik {

// One changed file of the change under review: its path and its diff text
// (the file's hunks as a unified diff writes them).
struct FileChange {
  std::string file_path;
  std::string diff;
  friend bool operator==(const FileChange&, const FileChange&) = default;
};

// The shared pre-analysis of a change, computed once and given to every
// agent as context.
struct SharedAnalysisResult {
  std::vector<std::string> languages;
  std::vector<std::string> risk_areas;
  std::string summary;
  friend bool operator==(const SharedAnalysisResult&, const SharedAnalysisResult&) = default;
};

// The two settings of the AI configuration that agent loading reads: the
// token budget of each completion and the project's custom agents directory
// (absent or empty: none).
struct AIConfig {
  std::int64_t ai_max_tokens = 0;
  std::optional<std::string> custom_agents_dir;
};

// One finding of one agent, normalised. `file_path`, `issue` and
// `suggestion` are passed through from the model reply unconverted (strings
// in practice); every other field has been converted and bounded. The
// replacement line count is 1 unless a code replacement is present; a
// fractional count below 1 truncates to 0.
struct AIReview {
  Value file_path{};
  std::int64_t line_number = 0;
  std::string severity{};  // "high", "medium", "low" or "info"
  Value issue{};
  Value suggestion{};
  double confidence = 0.7;
  std::string category{};  // "architecture", "security", "performance" or "code-quality"
  std::string agent_name{};
  std::optional<std::vector<std::string>> code_replacement{};
  std::int64_t replacement_line_count = 1;  // 0..100
  std::string language{};
  friend bool operator==(const AIReview&, const AIReview&) = default;
};

// Prints every field of the finding, values in their quoted literal form,
// for test failures and debugging.
std::ostream& operator<<(std::ostream& os, const AIReview& review);

}  // namespace tessik

#endif  // TESSIK_MODELS_HPP_
