#include "change/git/git_patch.hpp"

#include <algorithm>
#include <cstring>
#include <vector>

#include <tessik/foundation/errors.hpp>

namespace tessik::cli {
namespace {

// The lines of one file of the patch; `path` orders the files.
struct FileText {
  std::string path;
  std::string text;
};

struct PatchSink {
  std::vector<FileText> files{};
  const git_diff_delta* delta = nullptr;  // the file being written
  std::size_t size = 0;
  std::size_t max_bytes;
  bool too_large = false;
};

// Appends one line as git prints it: content lines carry their origin
// character in front, every other kind (headers, markers) is whole.
int append_line(const git_diff_delta* delta, const git_diff_hunk*, const git_diff_line* line,
                void* payload) {
  auto& sink = *static_cast<PatchSink*>(payload);
  const bool prefixed = line->origin == GIT_DIFF_LINE_CONTEXT ||
                        line->origin == GIT_DIFF_LINE_ADDITION ||
                        line->origin == GIT_DIFF_LINE_DELETION;
  const std::size_t size = line->content_len + (prefixed ? 1 : 0);
  if (size > sink.max_bytes - sink.size) {
    sink.too_large = true;
    return 1;
  }
  if (delta != sink.delta || sink.files.empty()) {
    sink.files.push_back({.path = delta->new_file.path, .text = {}});
    sink.delta = delta;
  }
  std::string& text = sink.files.back().text;
  if (prefixed) text += line->origin;
  text.append(line->content, line->content_len);
  sink.size += size;
  return 0;
}

void write_patch(git::Diff& diff, PatchSink& sink) {
  sink.delta = nullptr;
  const int code = git_diff_print(diff.get(), GIT_DIFF_FORMAT_PATCH, append_line, &sink);
  if (sink.too_large) {
    throw InvalidValueError("the change is larger than the text-file limit of " +
                            std::to_string(sink.max_bytes) + " bytes");
  }
  git::check(code, "cannot write the change as a patch");
}

void find_renames(git::Diff& diff) {
  // The init functions rather than the INIT macros: the macros leave trailing
  // fields to aggregate zero-initialisation, which clang warns about. The
  // default flags read diff.renames and diff.renameLimit as git does.
  git_diff_find_options find;
  git::check(git_diff_find_options_init(&find, GIT_DIFF_FIND_OPTIONS_VERSION),
             "cannot prepare rename detection");
  git::check(git_diff_find_similar(diff.get(), &find), "cannot detect renames");
}

git_diff_options default_options() {
  git_diff_options options;
  git::check(git_diff_options_init(&options, GIT_DIFF_OPTIONS_VERSION),
             "cannot prepare the comparison");
  return options;
}

// The comparison limited to exactly the files `paths` (no pattern matching).
git::Diff compare_only(const Comparison& compare, git_diff_options options,
                       std::vector<std::string>& paths) {
  std::vector<char*> pointers;
  pointers.reserve(paths.size());
  for (std::string& p : paths) pointers.push_back(p.data());
  options.pathspec = {.strings = pointers.data(), .count = pointers.size()};
  options.flags |= GIT_DIFF_DISABLE_PATHSPEC_MATCH;
  return compare(options);
}

}  // namespace

std::string git_patch(const Comparison& compare, std::size_t max_bytes) {
  git_diff_options options = default_options();
  options.flags |= GIT_DIFF_INCLUDE_TYPECHANGE;
  git::Diff all = compare(options);
  std::vector<std::string> changed_type, others;
  for (std::size_t i = 0; i < git_diff_num_deltas(all.get()); ++i) {
    const git_diff_delta* d = git_diff_get_delta(all.get(), i);
    (d->status == GIT_DELTA_TYPECHANGE ? changed_type : others).emplace_back(d->new_file.path);
  }
  PatchSink sink{.files = {}, .delta = nullptr, .size = 0, .max_bytes = max_bytes};
  if (changed_type.empty()) {
    find_renames(all);
    write_patch(all, sink);
  } else {
    // Renames are sought among the other files only; the files whose type
    // changed are compared on their own, without the type-change flag, which
    // gives each as a deletion and a new file.
    if (!others.empty()) {
      git::Diff rest = compare_only(compare, options, others);
      find_renames(rest);
      write_patch(rest, sink);
    }
    const auto split = static_cast<std::ptrdiff_t>(sink.files.size());
    git::Diff split_types = compare_only(compare, default_options(), changed_type);
    write_patch(split_types, sink);
    std::inplace_merge(sink.files.begin(), sink.files.begin() + split, sink.files.end(),
                       [](const FileText& a, const FileText& b) { return a.path < b.path; });
  }
  std::string patch;
  patch.reserve(sink.size);
  for (const FileText& f : sink.files) patch += f.text;
  return patch;
}

}  // namespace tessik::cli
