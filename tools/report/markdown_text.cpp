#include "report/markdown_text.hpp"

#include <algorithm>

#include <tessik/foundation/text.hpp>

namespace tessik::cli {
namespace {

std::size_t longest_backtick_run(std::span<const std::string> lines) {
  std::size_t longest = 0;
  for (const std::string& line : lines) {
    std::size_t run = 0;
    for (const char c : line) {
      run = c == '`' ? run + 1 : 0;
      longest = std::max(longest, run);
    }
  }
  return longest;
}

std::string plural(std::int64_t n, std::string_view word) {
  return std::to_string(n) + " " + std::string(word) + (n == 1 ? "" : "s");
}

}  // namespace

std::string markdown_inline(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    switch (const char c = text[i]) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '|':
        out += "\\|";
        break;
      case '@':
        out += "@\u200B";
        break;
      case '\r':
        if (i + 1 < text.size() && text[i + 1] == '\n') ++i;
        out += "<br>";
        break;
      case '\n':
        out += "<br>";
        break;
      default:
        out += c;
    }
  }
  return out;
}

std::string code_fence(std::span<const std::string> lines, std::string_view info) {
  const std::string fence(std::max<std::size_t>(3, longest_backtick_run(lines) + 1), '`');
  std::string out = fence + std::string(info) + "\n";
  for (const std::string& line : lines) out += line + "\n";
  return out + fence + "\n";
}

std::string markdown_location(const AIReview& f) {
  return markdown_inline(text_form(f.file_path)) + ":" + std::to_string(f.line_number);
}

std::string finding_markdown(const ReportedFinding& r, bool suggestion_block, bool with_facts) {
  const AIReview& f = r.finding;
  std::string out = markdown_inline(text_form(f.issue)) + "\n";
  if (with_facts) {
    out +=
        "\n" + f.severity + " · " + f.category + " · confidence " + text_form(f.confidence) + "\n";
  }
  if (!f.suggestion.is_null() && !text_form(f.suggestion).empty()) {
    out += "\nSuggestion: " + markdown_inline(text_form(f.suggestion)) + "\n";
  }
  if (f.code_replacement) {
    out += "\nReplacement of " + plural(f.replacement_line_count, "line") + ":\n\n";
    out += code_fence(*f.code_replacement, suggestion_block ? "suggestion" : f.language);
  }
  std::string agents;
  for (const std::string& a : r.agents) agents += (agents.empty() ? "" : ", ") + a;
  out += "\nReported by " + markdown_inline(agents) + ".\n";
  return out;
}

std::string verdict_words(const AgentOutcome& o) {
  if (o.halt != Halt::none) return std::string(halt_words(o.halt));
  if (!o.verdict) return "failed: " + o.failure_kind;
  const AgentVerdict& v = *o.verdict;
  if (v.is_findings()) return plural(static_cast<std::int64_t>(v.size()), "finding");
  if (v.is_clean()) return "clean (confidence " + text_form(v.confidence().value_or(0.0)) + ")";
  std::string out = "error " + v.error_code().value_or("");
  if (const std::optional<std::int64_t> n = v.iterations_used()) {
    out += " after " + plural(*n, "iteration");
  }
  return out;
}

std::string verdict_summary(const AgentOutcome& o) {
  if (!o.verdict) return o.failure_message;
  const AgentVerdict& v = *o.verdict;
  return v.is_error() ? v.error_message().value_or("") : v.summary().value_or("");
}

}  // namespace tessik::cli
