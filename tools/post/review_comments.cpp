#include "post/review_comments.hpp"

#include <charconv>
#include <sstream>

#include <tessik/foundation/detail/sha256.hpp>
#include <tessik/foundation/text.hpp>

#include "report/markdown_text.hpp"
#include "report/review_formats.hpp"

namespace tessik::cli {
namespace {

constexpr std::string_view kFindingMark = "<!-- tessik-agents:finding ";
constexpr std::string_view kSummaryMark = "<!-- tessik-agents:summary head=";

// "@@ -a,b +c,d @@": c and d (d is 1 when left out).
std::optional<LineSpan> hunk_span(std::string_view line, std::int64_t& count) {
  const std::size_t plus = line.find(" +");
  if (!line.starts_with("@@") || plus == std::string_view::npos) return std::nullopt;
  const char* p = line.data() + plus + 2;
  const char* end = line.data() + line.size();
  std::int64_t first = 0;
  auto [q, ec] = std::from_chars(p, end, first);
  if (ec != std::errc{}) return std::nullopt;
  count = 1;
  if (q < end && *q == ',') std::from_chars(q + 1, end, count);
  return LineSpan{first, first + count - 1};
}

const LineSpan* span_holding(const std::vector<LineSpan>& spans, std::int64_t line) {
  for (const LineSpan& s : spans) {
    if (s.first <= line && line <= s.last) return &s;
  }
  return nullptr;
}

std::string cut_to_limit(std::string body, std::string_view marker) {
  if (body.size() + marker.size() <= kMaxBodyBytes) return body + std::string(marker);
  body = std::string(first_code_points(body, kMaxBodyBytes / 4 - 200));
  return body + "\n\n(cut: longer than a GitHub comment may be)\n" + std::string(marker);
}

std::string comment_body(const ReportedFinding& r, bool suggestion) {
  const AIReview& f = r.finding;
  std::string body = "**" + f.severity + "** " + markdown_inline(f.category) + ", confidence " +
                     text_form(f.confidence) + "\n\n" + finding_markdown(r, suggestion, false);
  std::string tail(1, '\n');
  tail += finding_marker(r);
  return cut_to_limit(std::move(body), tail);
}

}  // namespace

std::map<std::string, std::vector<LineSpan>> shown_lines(std::span<const FileChange> changes) {
  std::map<std::string, std::vector<LineSpan>> out;
  for (const FileChange& c : changes) {
    std::istringstream in(c.diff);
    for (std::string line; std::getline(in, line);) {
      std::int64_t count = 0;
      const std::optional<LineSpan> span = hunk_span(line, count);
      if (span && count > 0) out[c.file_path].push_back(*span);
    }
  }
  return out;
}

std::string finding_marker(const ReportedFinding& r) {
  detail::Sha256 sha;
  for (const std::string& part :
       {text_form(r.finding.file_path), std::to_string(r.finding.line_number),
        std::string(strip(text_form(r.finding.issue)))}) {
    sha.update(part);
    sha.update(std::string_view("\0", 1));
  }
  return std::string(kFindingMark) + sha.hex(24) + " -->";
}

std::string summary_marker(std::string_view head_sha) {
  return std::string(kSummaryMark) + std::string(head_sha) + " -->";
}

std::optional<std::string> summary_head(std::string_view body) {
  const std::size_t at = body.find(kSummaryMark);
  if (at == std::string_view::npos) return std::nullopt;
  std::string_view rest = body.substr(at + kSummaryMark.size());
  const std::size_t end = rest.find(" -->");
  if (end == std::string_view::npos) return std::nullopt;
  return std::string(rest.substr(0, end));
}

std::vector<std::string> markers_in(std::string_view body) {
  std::vector<std::string> out;
  for (std::size_t at = body.find(kFindingMark); at != std::string_view::npos;
       at = body.find(kFindingMark, at + 1)) {
    const std::size_t end = body.find(" -->", at);
    if (end == std::string_view::npos) break;
    out.emplace_back(body.substr(at, end + 4 - at));
  }
  return out;
}

ReviewPlan plan_review(const ReviewReport& report,
                       const std::map<std::string, std::vector<LineSpan>>& shown,
                       const std::set<std::string>& posted) {
  ReviewPlan plan;
  for (const ReportedFinding& r : report.findings) {
    const AIReview& f = r.finding;
    const std::string path = text_form(f.file_path);
    const auto it = shown.find(path);
    const LineSpan* span = it == shown.end() ? nullptr : span_holding(it->second, f.line_number);
    if (!span) {
      plan.outside.push_back(r);
      continue;
    }
    if (posted.contains(finding_marker(r))) {
      ++plan.already_posted;
      continue;
    }
    if (plan.comments.size() == kMaxInlineComments) {
      ++plan.over_limit;
      plan.outside.push_back(r);
      continue;
    }
    // A replacement becomes a suggestion only when the lines it replaces
    // are all in the hunk, so that applying it replaces exactly them.
    const std::int64_t last = end_line(f);
    const bool fits = last <= span->last;
    InlineComment c{.path = path, .line = fits ? last : f.line_number};
    if (fits && last > f.line_number) c.start_line = f.line_number;
    c.body = comment_body(r, fits && f.code_replacement.has_value());
    plan.comments.push_back(std::move(c));
  }
  return plan;
}

std::string summary_body(const ReviewReport& report, const ReviewPlan& plan,
                         std::string_view head_sha, std::string_view scope) {
  const std::size_t inline_count = report.findings.size() - plan.outside.size();
  std::string note = std::string(scope) + " " + std::to_string(inline_count) +
                     (inline_count == 1 ? " finding is" : " findings are") +
                     " on the changed lines (inline comments); " +
                     std::to_string(plan.outside.size() - plan.over_limit) +
                     " outside them are listed here.";
  if (plan.over_limit > 0) {
    note += " So are " + std::to_string(plan.over_limit) +
            " more on the changed lines: a run posts at most " +
            std::to_string(kMaxInlineComments) + " inline comments.";
  }
  std::string marker(1, '\n');
  marker += summary_marker(head_sha);
  std::vector<ReportedFinding> listed = plan.outside;
  for (;;) {
    std::ostringstream os;
    write_markdown(
        os, report,
        {.note = note, .listed = &listed, .not_listed = plan.outside.size() - listed.size()});
    if (os.str().size() + marker.size() <= kMaxBodyBytes || listed.empty()) {
      return cut_to_limit(os.str(), marker);
    }
    listed.resize(listed.size() / 2);
  }
}

}  // namespace tessik::cli
