#include "change/diff_split.hpp"

#include <charconv>
#include <optional>
#include <string>

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

// Reads one path token from the front of `s`, unquoting git's C-style quoted
// form ("a/t\303\251st.txt") and advancing `s` past it. An unquoted token
// runs to the end of `s`.
std::string take_path(std::string_view& s) {
  if (s.empty() || s.front() != '"') {
    std::string out(s);
    s = {};
    return out;
  }
  std::string out;
  std::size_t i = 1;
  for (; i < s.size() && s[i] != '"'; ++i) {
    if (s[i] != '\\' || i + 1 == s.size()) {
      out += s[i];
      continue;
    }
    const char c = s[++i];
    if (c >= '0' && c <= '7') {
      int code = 0;
      for (int k = 0; k < 3 && i < s.size() && s[i] >= '0' && s[i] <= '7'; ++k, ++i) {
        code = code * 8 + (s[i] - '0');
      }
      --i;
      out += static_cast<char>(code);
      continue;
    }
    switch (c) {
      case 'n':
        out += '\n';
        break;
      case 't':
        out += '\t';
        break;
      case 'r':
        out += '\r';
        break;
      case 'a':
        out += '\a';
        break;
      case 'b':
        out += '\b';
        break;
      case 'f':
        out += '\f';
        break;
      case 'v':
        out += '\v';
        break;
      default:
        out += c;
        break;  // \\ and \"
    }
  }
  s.remove_prefix(std::min(i + 1, s.size()));
  return out;
}

// The path of a "--- " or "+++ " line: quoted, or up to the tab that `diff -u`
// puts before a timestamp (and git after a name holding a blank).
std::string header_line_path(std::string_view rest) {
  if (!rest.empty() && rest.front() == '"') return take_path(rest);
  return std::string(rest.substr(0, rest.find('\t')));
}

std::string drop_prefix(std::string path, std::string_view prefix) {
  if (path.starts_with(prefix)) path.erase(0, prefix.size());
  return path;
}

struct Section {
  bool git = false;
  std::string header_old, header_new;  // from "diff --git", prefixes dropped
  std::optional<std::string> minus_path, plus_path;
  std::optional<std::string> rename_to;
  bool new_file = false, deleted_file = false, git_binary_patch = false;
  std::string binary_marker;
  std::string hunks;
  bool has_hunks = false;
};

// Both paths of "diff --git a/X b/Y". Unquoted names holding blanks are
// ambiguous; the common case (same name on both sides) is split exactly,
// anything else at the last " b/".
void parse_git_header(std::string_view rest, Section& section) {
  std::string old_path, new_path;
  if (!rest.empty() && rest.front() == '"') {
    old_path = take_path(rest);
    if (!rest.empty() && rest.front() == ' ') rest.remove_prefix(1);
    new_path = take_path(rest);
  } else if (std::size_t q = rest.find(" \""); q != std::string_view::npos) {
    old_path = std::string(rest.substr(0, q));
    rest.remove_prefix(q + 1);
    new_path = take_path(rest);
  } else {
    const std::size_t mid = rest.size() / 2;
    std::size_t split = std::string_view::npos;
    if (rest.size() % 2 == 1 && rest[mid] == ' ' &&
        drop_prefix(std::string(rest.substr(0, mid)), "a/") ==
            drop_prefix(std::string(rest.substr(mid + 1)), "b/")) {
      split = mid;
    } else if (std::size_t b = rest.rfind(" b/"); b != std::string_view::npos) {
      split = b;
    } else {
      split = rest.find(' ');
    }
    old_path = std::string(rest.substr(0, split));
    new_path = split == std::string_view::npos ? old_path : std::string(rest.substr(split + 1));
  }
  section.header_old = drop_prefix(std::move(old_path), "a/");
  section.header_new = drop_prefix(std::move(new_path), "b/");
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

FileChange finish(Section& s) {
  const bool deleted = s.plus_path == "/dev/null" || s.deleted_file;
  std::string path;
  if (s.plus_path && *s.plus_path != "/dev/null") {
    path = s.git ? drop_prefix(*s.plus_path, "b/") : *s.plus_path;
  } else if (deleted && s.minus_path && *s.minus_path != "/dev/null") {
    path = s.git ? drop_prefix(*s.minus_path, "a/") : *s.minus_path;
  } else if (s.rename_to) {
    path = *s.rename_to;
  } else {
    path = deleted ? s.header_old : s.header_new;
  }
  if (s.git_binary_patch && s.binary_marker.empty()) {
    s.binary_marker = "Binary files " + (s.new_file ? "/dev/null" : "a/" + s.header_old) + " and " +
                      (deleted ? "/dev/null" : "b/" + s.header_new) + " differ";
  }
  return FileChange{.file_path = std::move(path),
                    .diff = s.has_hunks ? std::move(s.hunks) : std::move(s.binary_marker)};
}

std::string at_line(std::size_t index) { return "line " + std::to_string(index + 1) + ": "; }

// A line of a git section before its first hunk: a rename or copy target,
// a new or deleted file, a binary change. Other lines (index, modes) are
// skipped.
void read_extended_header(std::string_view line, Section& section) {
  if (line.starts_with("rename to ") || line.starts_with("copy to ")) {
    std::string_view rest = line;
    rest.remove_prefix(line.find(" to ") + 4);
    section.rename_to = take_path(rest);
  } else if (line.starts_with("new file mode")) {
    section.new_file = true;
  } else if (line.starts_with("deleted file mode")) {
    section.deleted_file = true;
  } else if (line.starts_with("Binary files ") && line.ends_with(" differ")) {
    section.binary_marker = std::string(line);
  } else if (line == "GIT binary patch") {
    section.git_binary_patch = true;
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
      if (!cur || cur->plus_path || cur->has_hunks || !cur->binary_marker.empty()) {
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
