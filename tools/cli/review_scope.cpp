#include "cli/review_scope.hpp"

#include <algorithm>
#include <ostream>

#include <tessik/foundation/detail/value_words.hpp>
#include <tessik/foundation/errors.hpp>

#include "change/git/git_attributes.hpp"
#include "run/input_budget.hpp"

namespace tessik::cli {
namespace {

constexpr std::size_t kLeftOutLines = 20;
constexpr std::int64_t kLeastRoom = 200;

std::string bytes_text(std::size_t n) { return std::to_string(n) + (n == 1 ? " byte" : " bytes"); }

}  // namespace

ChangeSelection select_sent_files(const ParsedArgs& args, const EffectiveSettings& settings,
                                  std::vector<FileChange> changes) {
  const SelectionRules rules{.exclude = settings.list("exclude"),
                             .include = settings.list("include"),
                             .default_excludes = settings.on("default_excludes"),
                             .full_deletions = settings.on("full_deletions")};
  AttributeLookup lookup;
  std::optional<GitAttributes> attributes;
  if (rules.default_excludes) attributes = GitAttributes::open(args.value("repo").value_or("."));
  if (attributes)
    lookup = [&](const std::string& path) { return attributes->left_out_reason(path); };
  return select_changes(std::move(changes), rules, lookup);
}

void tell_left_out(std::ostream& err, const ChangeSelection& selection) {
  for (const std::string& glob : selection.unmatched) {
    err << "tessik-agents review: note: " << glob << " matches no changed file\n";
  }
  const std::size_t n = selection.left_out.size();
  for (std::size_t i = 0; i < std::min(n, kLeftOutLines); ++i) {
    const LeftOutFile& f = selection.left_out[i];
    err << "tessik-agents review: left out " << detail::quoted_text(f.path) << ": " << f.reason
        << ", " << bytes_text(f.bytes) << " of diff\n";
  }
  if (n > kLeftOutLines) {
    std::size_t bytes = 0;
    for (std::size_t i = kLeftOutLines; i < n; ++i) bytes += selection.left_out[i].bytes;
    err << "tessik-agents review: left out " << n - kLeftOutLines << " more files, "
        << bytes_text(bytes) << " of diff (--json lists them)\n";
  }
}

AgentChoice choose_review_agents(const EffectiveSettings& settings, std::vector<LoadedAgent> agents,
                                 std::span<const FileChange> sent) {
  const EffectiveSetting& names = settings.get("agents");
  const std::string from =
      names.source == SettingSource::file ? "the agents list at " + names.where : names.where;
  return choose_agents(std::move(agents), settings.list("agents"), from,
                       settings.on("only_triggered"), sent);
}

std::vector<std::vector<FileChange>> plan_parts(const EffectiveSettings& settings,
                                                std::span<const LoadedAgent> agents,
                                                const SharedAnalysisResult* shared,
                                                std::vector<FileChange> sent) {
  const std::int64_t budget = settings.number("max_input_tokens").value_or(100'000);
  const std::int64_t overhead = request_overhead(agents, shared);
  std::int64_t total = overhead;
  for (const FileChange& c : sent) total += change_tokens(c);
  if (total <= budget) return {std::move(sent)};
  const std::string& where = settings.get("max_input_tokens").where;
  if (budget - overhead < kLeastRoom) {
    throw UsageError("max_input_tokens (" + where + ") of " + std::to_string(budget) +
                     " leaves no room for the change: a request without it takes about " +
                     std::to_string(overhead) + " tokens");
  }
  if (!settings.on("split")) {
    std::vector<std::pair<std::int64_t, const FileChange*>> largest;
    largest.reserve(sent.size());
    for (const FileChange& c : sent) largest.emplace_back(change_tokens(c), &c);
    const std::size_t shown = std::min<std::size_t>(largest.size(), 3);
    std::partial_sort(largest.begin(), largest.begin() + static_cast<std::ptrdiff_t>(shown),
                      largest.end(),
                      [](const auto& a, const auto& b) { return a.first > b.first; });
    std::string files;
    for (std::size_t i = 0; i < shown; ++i) {
      files += (i == 0 ? "" : ", ") + detail::quoted_text(largest[i].second->file_path) +
               " (about " + std::to_string(largest[i].first) + ")";
    }
    throw InvalidValueError(
        "the change is too large to review in one request and splitting is off (" +
        settings.get("split").where + "): each request would hold about " + std::to_string(total) +
        " input tokens, over the budget of " + std::to_string(budget) + " (" + where +
        "); the largest files: " + files +
        ". Leave files out with --exclude, raise --max-input-tokens, or let it be reviewed in "
        "parts.");
  }
  return split_into_parts(sent, budget - overhead);
}

}  // namespace tessik::cli
