#include "change/review_source.hpp"

#include <algorithm>

#include <tessik/foundation/text.hpp>

#include "run/agent_set.hpp"

namespace tessik::cli {
namespace {

std::filesystem::path repository(const ParsedArgs& args) {
  return args.value("repo").value_or(".");
}

// The range of --git; nullopt for the working tree.
std::optional<std::string> git_range(const ParsedArgs& args) {
  std::optional<std::string> range = args.value("git");
  if (range && range->empty()) return std::nullopt;
  return range;
}

bool blank(std::string_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; });
}

}  // namespace

void check_source_flags(const ParsedArgs& args) {
  const bool diff = args.value("diff").has_value();
  const bool git = args.flag("git");
  if (diff && git) throw UsageError("--diff and --git name two changes: give one of them");
  if (!diff && !git) {
    throw UsageError(
        "no change to review: give --diff FILE (- for standard input) or --git [RANGE]");
  }
}

ReviewSource read_review_source(const ParsedArgs& args, std::istream& in,
                                const std::optional<std::string>& range_override) {
  check_source_flags(args);
  const std::optional<std::string> diff = args.value("diff");
  ReviewSource source;
  std::string text;
  if (diff) {
    source.described = *diff == "-" ? "standard input" : *diff;
    text = read_diff_bytes(*diff, in);
  } else {
    const std::optional<std::string> range = range_override ? range_override : git_range(args);
    source.described = range ? *range : "the working tree";
    source.git = read_git_change(repository(args), range, kMaxTextFileBytes);
    text = std::move(source.git->patch);
    source.git->patch.clear();
  }
  // An empty change is nothing to review, not a malformed one.
  if (!blank(text)) source.changes = split_change(text, source.described);
  return source;
}

std::shared_ptr<const SourceTree> review_tree(const ReviewSource& source, const ParsedArgs& args) {
  if (source.git) return std::make_shared<const SourceTree>(*source.git);
  return std::make_shared<const SourceTree>(working_tree_of(repository(args)));
}

}  // namespace tessik::cli
