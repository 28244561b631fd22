#include "run/input_budget.hpp"

#include <algorithm>

#include <tessik/agent_loader/execution/detail/request.hpp>
#include <tessik/foundation/json.hpp>

namespace tessik::cli {
namespace {

// Framing of messages, and the verdict schema of constrained replies.
constexpr std::int64_t kRequestSlack = 500;
// The note line and the line breaks a piece of a cut file adds.
constexpr std::int64_t kNoteTokens = 60;

std::vector<std::string_view> lines_of(std::string_view text) {
  std::vector<std::string_view> out;
  std::size_t start = 0;
  while (start < text.size()) {
    const std::size_t end = std::min(text.find('\n', start), text.size());
    out.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return out;
}

// `line` in slices of at most `room` bytes (each then at most `room`
// tokens), cut before a UTF-8 continuation byte only when a slice would
// otherwise hold none.
std::vector<std::string_view> slices_of(std::string_view line, std::size_t room) {
  std::vector<std::string_view> out;
  while (line.size() > room) {
    std::size_t cut = room;
    while (cut > 1 && (static_cast<unsigned char>(line[cut]) & 0xC0) == 0x80) --cut;
    out.push_back(line.substr(0, cut));
    line.remove_prefix(cut);
  }
  out.push_back(line);
  return out;
}

struct Piece {
  std::string text;
  bool inside_hunk = false;
};

// The hunks of one file as units of at most `room` tokens each: whole
// hunks, or runs of lines (or slices of one line) of a hunk too large.
std::vector<Piece> hunk_units(std::span<const std::string_view> lines, std::int64_t room) {
  std::vector<Piece> units;
  for (std::size_t i = 0; i < lines.size();) {
    std::size_t end = i + 1;
    while (end < lines.size() && !lines[end].starts_with("@@")) ++end;
    std::int64_t whole = 0;
    for (std::size_t j = i; j < end; ++j) whole += estimate_tokens(lines[j]) + 1;
    if (whole <= room) {
      Piece hunk;
      for (std::size_t j = i; j < end; ++j) hunk.text.append(lines[j]).push_back('\n');
      units.push_back(std::move(hunk));
    } else {
      Piece run{.text = {}, .inside_hunk = true};
      std::int64_t used = 0;
      for (std::size_t j = i; j < end; ++j) {
        for (std::string_view slice : slices_of(lines[j], static_cast<std::size_t>(room - 1))) {
          const std::int64_t t = estimate_tokens(slice) + 1;
          if (used > 0 && used + t > room) {
            units.push_back(std::move(run));
            run = Piece{.text = {}, .inside_hunk = true};
            used = 0;
          }
          run.text.append(slice).push_back('\n');
          used += t;
        }
      }
      if (used > 0) units.push_back(std::move(run));
    }
    i = end;
  }
  return units;
}

std::vector<FileChange> cut_file(const FileChange& change, std::int64_t room) {
  const std::vector<std::string_view> lines = lines_of(change.diff);
  const auto first_hunk = std::find_if(lines.begin(), lines.end(),
                                       [](std::string_view l) { return l.starts_with("@@"); });
  if (first_hunk == lines.end()) return {change};
  std::string head;
  for (auto it = lines.begin(); it != first_hunk; ++it) head.append(*it).push_back('\n');
  const std::int64_t unit_room = std::max<std::int64_t>(
      room - change_tokens({.file_path = change.file_path, .diff = head}) - kNoteTokens, 30);
  std::vector<Piece> pieces;
  std::int64_t used = 0;
  for (Piece& unit : hunk_units(std::span(first_hunk, lines.end()), unit_room)) {
    const std::int64_t t = estimate_tokens(unit.text);
    if (pieces.empty() || used + t > unit_room) {
      pieces.emplace_back();
      used = 0;
    }
    pieces.back().text += unit.text;
    pieces.back().inside_hunk = pieces.back().inside_hunk || unit.inside_hunk;
    used += t;
  }
  std::vector<FileChange> out;
  for (std::size_t k = 0; k < pieces.size(); ++k) {
    std::string& text = pieces[k].text;
    if (text.ends_with('\n')) text.pop_back();
    std::string diff = head;
    diff += "[part " + std::to_string(k + 1) + " of " + std::to_string(pieces.size());
    diff += " of this file's diff: the file is too large for one request and is cut ";
    diff += pieces[k].inside_hunk ? "inside a hunk]\n" : "between hunks]\n";
    diff += text;
    out.push_back({.file_path = change.file_path, .diff = std::move(diff)});
  }
  return out;
}

}  // namespace

std::int64_t estimate_tokens(std::string_view text) {
  std::int64_t ascii = 0, other = 0;
  for (const char c : text) (static_cast<unsigned char>(c) < 0x80 ? ascii : other) += 1;
  return (ascii + 2) / 3 + (other + 1) / 2;
}

std::int64_t change_tokens(const FileChange& change) {
  return estimate_tokens("File: ") + estimate_tokens(change.file_path) +
         estimate_tokens(change.diff) + 2;
}

std::int64_t request_overhead(std::span<const LoadedAgent> agents,
                              const SharedAnalysisResult* shared) {
  std::int64_t most = 0;
  for (const LoadedAgent& agent : agents) {
    const detail::ReviewRequest r =
        detail::assemble_request({}, shared, agent.definition(), &agent.tools());
    most = std::max(most, estimate_tokens(to_json(r.system_blocks)) +
                              estimate_tokens(to_json(r.messages)) +
                              estimate_tokens(to_json(r.tools)));
  }
  return most + kRequestSlack;
}

std::vector<std::vector<FileChange>> split_into_parts(std::span<const FileChange> changes,
                                                      std::int64_t room) {
  room = std::max<std::int64_t>(room, 1);
  std::vector<std::vector<FileChange>> parts;
  std::int64_t used = 0;
  auto add = [&](FileChange piece) {
    const std::int64_t t = change_tokens(piece);
    if (parts.empty() || (used > 0 && used + t > room)) {
      parts.emplace_back();
      used = 0;
    }
    parts.back().push_back(std::move(piece));
    used += t;
  };
  for (const FileChange& change : changes) {
    if (change_tokens(change) <= room) {
      add(change);
    } else {
      for (FileChange& piece : cut_file(change, room)) add(std::move(piece));
    }
  }
  return parts;
}

}  // namespace tessik::cli
