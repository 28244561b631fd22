#include "change/diff_split.hpp"

#include <algorithm>
#include <charconv>
#include <optional>
#include <string>

#include "change/quoted_path.hpp"

namespace tessik::cli {
namespace {

std::vector<std::string_view> split_lines(std::string_view text) {
  std::vector<std::string_view> lines;
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = text.find('\n', start);
    if (end == std::string_view::npos) end = text.size();
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

// The path of a "--- " or "+++ " line: quoted, or up to the tab that `diff -u`
// puts before a timestamp (and git after a name holding a blank).
std::string header_line_path(std::string_view rest) {
  if (!rest.empty() && rest.front() == '"') return take_quoted_path(rest);
  return std::string(rest.substr(0, rest.find('\t')));
}

struct Section {
  bool git = false;
  std::string header_old, header_new;  // the names of "diff --git", prefixes kept
  std::optional<std::string> minus_path, plus_path;
  std::string moved;                   // "rename" or "copy" when git paired two names
  std::string moved_from, moved_to;    // the names of the pair, without prefixes
  std::string old_mode, new_mode;      // a mode change
  std::string new_file, deleted_file;  // the mode of a new or deleted file
  std::string similarity;              // git's "similarity index" or "dissimilarity index" line
  bool binary = false;                 // git's binary marker or binary patch
  std::string binary_marker;           // a binary marker line, as written
  std::string hunks;
  bool has_hunks = false;
};

// How many bytes `a` and `b` share at their ends.
std::size_t common_end(std::string_view a, std::string_view b) {
  std::size_t n = 0;
  while (n < a.size() && n < b.size() && a[a.size() - 1 - n] == b[b.size() - 1 - n]) ++n;
  return n;
}

// The name of a file whose two names differ only by their prefixes
// ("a/x" and "b/x", "c/x" and "w/x" of mnemonic prefixes, "x" and "x" without
// prefixes): their common end, without the slash that closes the prefixes.
std::string common_name(std::string_view old_path, std::string_view new_path) {
  std::string_view name = old_path.substr(old_path.size() - common_end(old_path, new_path));
  if (name.size() < std::max(old_path.size(), new_path.size()) && name.starts_with('/')) {
    name.remove_prefix(1);
  }
  return std::string(name);
}

// Where the unquoted "X Y" of "diff --git X Y" splits: at the blank after
// which the two names share the longest end, since both sides name the same
// file behind their prefixes. The lengths of the common ends of every split
// come from one Z-array of the reversed text, so a long line stays linear.
std::size_t header_split(std::string_view rest) {
  const std::string r(rest.rbegin(), rest.rend());
  const std::size_t n = r.size();
  std::vector<std::size_t> z(n + 1, 0);
  for (std::size_t i = 1, l = 0, right = 0; i < n; ++i) {
    if (i < right) z[i] = std::min(right - i, z[i - l]);
    while (i + z[i] < n && r[z[i]] == r[i + z[i]]) ++z[i];
    if (i + z[i] > right) l = i, right = i + z[i];
  }
  std::size_t best = std::string_view::npos, best_length = 0;
  for (std::size_t s = 0; s < n; ++s) {
    if (rest[s] != ' ') continue;
    const std::size_t length = std::min({z[n - s], s, n - s - 1});
    if (best == std::string_view::npos || length > best_length) best = s, best_length = length;
  }
  return best;
}

// Both names of "diff --git X Y", prefixes kept: quoted names are read as
// such, unquoted ones split where `header_split` says.
void parse_git_header(std::string_view rest, Section& section) {
  if (!rest.empty() && rest.front() == '"') {
    section.header_old = take_quoted_path(rest);
    if (!rest.empty() && rest.front() == ' ') rest.remove_prefix(1);
    section.header_new = take_quoted_path(rest);
  } else if (std::size_t q = rest.find(" \""); q != std::string_view::npos) {
    section.header_old = std::string(rest.substr(0, q));
    rest.remove_prefix(q + 1);
    section.header_new = take_quoted_path(rest);
  } else if (const std::size_t split = header_split(rest); split != std::string_view::npos) {
    section.header_old = std::string(rest.substr(0, split));
    section.header_new = std::string(rest.substr(split + 1));
  } else {
    section.header_old = section.header_new = std::string(rest);
  }
}

// Parses "@@ -l[,s] +l[,s] @@..." into the old and new line counts.
bool parse_hunk_header(std::string_view line, long& old_count, long& new_count) {
  auto range = [&line](char sign, long& count) {
    if (line.empty() || line.front() != sign) return false;
    line.remove_prefix(1);
    long start = 0;
    auto [p, ec] = std::from_chars(line.data(), line.data() + line.size(), start);
    if (ec != std::errc{}) return false;
    line.remove_prefix(static_cast<std::size_t>(p - line.data()));
    count = 1;
    if (!line.empty() && line.front() == ',') {
      line.remove_prefix(1);
      auto [q, ec2] = std::from_chars(line.data(), line.data() + line.size(), count);
      if (ec2 != std::errc{} || count < 0) return false;
      line.remove_prefix(static_cast<std::size_t>(q - line.data()));
    }
    return true;
  };
  if (!line.starts_with("@@ ")) return false;
  line.remove_prefix(3);
  if (!range('-', old_count) || !line.starts_with(' ')) return false;
  line.remove_prefix(1);
  return range('+', new_count) && line.starts_with(" @@");
}

std::string at_line(std::size_t index) { return "line " + std::to_string(index + 1) + ": "; }

// A plain `diff -u` section: the new path (the old one for a deleted file),
// its hunks or binary marker.
FileChange finish_plain(Section& s) {
  const bool deleted = s.plus_path == "/dev/null";
  std::string path = deleted && s.minus_path ? *s.minus_path : s.plus_path.value_or("");
  return FileChange{.file_path = shown_path(path),
                    .diff = s.has_hunks ? std::move(s.hunks) : std::move(s.binary_marker)};
}

// A git section: what happened to the file, in git's header lines and order
// (modes, similarity, the names of a rename or copy), then its hunks or
// binary marker. The "index" line is left out: its object names say nothing
// to a reader and differ with the abbreviation length.
FileChange finish_git(Section& s) {
  std::string old_name, new_name;
  if (!s.moved.empty()) {
    old_name = s.moved_from;
    new_name = s.moved_to;
  } else if (s.minus_path && s.plus_path && *s.minus_path != "/dev/null" &&
             *s.plus_path != "/dev/null") {
    old_name = new_name = common_name(*s.minus_path, *s.plus_path);
  } else {
    old_name = new_name = common_name(s.header_old, s.header_new);
  }
  const bool added = !s.new_file.empty() || s.minus_path == "/dev/null";
  const bool deleted = !s.deleted_file.empty() || s.plus_path == "/dev/null";
  std::vector<std::string> lines;
  if (!s.new_file.empty()) lines.push_back("new file mode " + s.new_file);
  if (!s.deleted_file.empty()) lines.push_back("deleted file mode " + s.deleted_file);
  if (!s.old_mode.empty()) lines.push_back("old mode " + s.old_mode);
  if (!s.new_mode.empty()) lines.push_back("new mode " + s.new_mode);
  if (!s.similarity.empty()) lines.push_back(s.similarity);
  if (!s.moved.empty()) {
    lines.push_back(s.moved + " from " + shown_path(old_name));
    lines.push_back(s.moved + " to " + shown_path(new_name));
  }
  if (s.has_hunks) {
    lines.push_back(std::move(s.hunks));
  } else if (s.binary) {
    // Rebuilt from what happened to the file: libgit2 names a binary file
    // of the working tree /dev/null when it has not hashed it.
    lines.push_back("Binary files " + (added ? "/dev/null" : shown_path("a/", old_name)) + " and " +
                    (deleted ? "/dev/null" : shown_path("b/", new_name)) + " differ");
  }
  std::string diff;
  for (const std::string& line : lines) diff += (diff.empty() ? "" : "\n") + line;
  return FileChange{.file_path = shown_path(deleted ? old_name : new_name),
                    .diff = std::move(diff)};
}

FileChange finish(Section& s) { return s.git ? finish_git(s) : finish_plain(s); }

// The rest of a header line after `prefix`, or nullopt when the line does
// not begin with it.
std::optional<std::string_view> after(std::string_view line, std::string_view prefix) {
  if (!line.starts_with(prefix)) return std::nullopt;
  return line.substr(prefix.size());
}

// A line of a git section before its first hunk. Other lines (index, binary
// patch data) are skipped.
void read_extended_header(std::string_view line, Section& section) {
  for (const char* kind : {"rename", "copy"}) {
    const std::string k = kind;
    if (auto from = after(line, k + " from ")) {
      section.moved = k;
      section.moved_from = take_quoted_path(*from);
    } else if (auto to = after(line, k + " to ")) {
      section.moved = k;
      section.moved_to = take_quoted_path(*to);
    }
  }
  if (auto mode = after(line, "new file mode ")) {
    section.new_file = std::string(*mode);
  } else if (auto gone = after(line, "deleted file mode ")) {
    section.deleted_file = std::string(*gone);
  } else if (auto old_mode = after(line, "old mode ")) {
    section.old_mode = std::string(*old_mode);
  } else if (auto new_mode = after(line, "new mode ")) {
    section.new_mode = std::string(*new_mode);
  } else if (line.starts_with("similarity index ") || line.starts_with("dissimilarity index ")) {
    section.similarity = std::string(line);
  } else if ((line.starts_with("Binary files ") && line.ends_with(" differ")) ||
             line == "GIT binary patch") {
    section.binary = true;
  }
}

}  // namespace

std::vector<FileChange> split_unified_diff(std::string_view text) {
  const std::vector<std::string_view> lines = split_lines(text);
  std::vector<FileChange> changes;
  std::optional<Section> cur;
  long old_left = 0, new_left = 0;
  auto flush = [&] {
    if (cur) changes.push_back(finish(*cur));
    cur.reset();
  };
  auto append = [&](std::string_view line) {
    if (cur->has_hunks) cur->hunks += '\n';
    cur->hunks += line;
    cur->has_hunks = true;
  };

  for (std::size_t i = 0; i < lines.size(); ++i) {
    const std::string_view line = lines[i];
    if (old_left > 0 || new_left > 0) {
      // Some editors strip the blank of an empty context line.
      const char c = line.empty() ? ' ' : line.front();
      if (c == ' ' || c == '-') --old_left;
      if (c == ' ' || c == '+') --new_left;
      if ((c != ' ' && c != '-' && c != '+' && c != '\\') || old_left < 0 || new_left < 0) {
        throw DiffFormatError(at_line(i) + "hunk of " + finish(*cur).file_path +
                              " ends early: its header announced more lines than follow");
      }
      append(line);
      continue;
    }
    if (line.starts_with("diff --git ")) {
      flush();
      cur.emplace();
      cur->git = true;
      parse_git_header(line.substr(11), *cur);
    } else if (line.starts_with("--- ") && i + 1 < lines.size() &&
               lines[i + 1].starts_with("+++ ")) {
      if (!cur || cur->plus_path || cur->has_hunks || !cur->binary_marker.empty() || cur->binary) {
        flush();
        cur.emplace();
      }
      cur->minus_path = header_line_path(line.substr(4));
      cur->plus_path = header_line_path(lines[++i].substr(4));
    } else if (cur && line.starts_with("@@")) {
      if (!parse_hunk_header(line, old_left, new_left)) {
        throw DiffFormatError(at_line(i) + "malformed hunk header \"" + std::string(line) + "\"");
      }
      append(line);
    } else if (cur && cur->has_hunks && line.starts_with('\\')) {
      append(line);  // "\ No newline at end of file" after a hunk's last line
    } else if (cur && cur->git && !cur->has_hunks) {
      read_extended_header(line, *cur);
    } else if (cur && !cur->git && !cur->has_hunks && line.starts_with("Binary files ") &&
               line.ends_with(" differ")) {
      cur->binary_marker = std::string(line);
    }
  }
  if (old_left > 0 || new_left > 0) {
    throw DiffFormatError("the diff ends inside a hunk of " + finish(*cur).file_path +
                          ": its header announced more lines than follow");
  }
  flush();
  return changes;
}

}  // namespace tessik::cli
