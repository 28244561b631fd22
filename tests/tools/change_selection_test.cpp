// What a review sends: path globs, the exclusions and inclusions, deleted
// files shortened, the token estimate, a change cut into parts that fit, and
// one agent's parts merged into one outcome.
#include "change/change_selection.hpp"

#include <gtest/gtest.h>

#include "change/path_glob.hpp"
#include "run/input_budget.hpp"
#include "run/part_merge.hpp"

namespace tessik::cli {
namespace {

TEST(PathGlob, MatchesAsGitignoreWritesThem) {
  std::string deep_path(200, 'a');
  deep_path += "/q";
  const struct {
    const char* glob;
    const char* path;
    bool matches;
  } cases[] = {
      {"*.lock", "web/yarn.lock", true},  // no "/": the name at any depth
      {"*.lock", "yarn.lock", true},
      {"src/*.py", "src/a.py", true},
      {"src/*.py", "src/a/b.py", false},    // * stays in one folder
      {"src/*.py", "lib/src/a.py", false},  // a "/" anchors at the top
      {"/a.py", "a.py", true},
      {"/a.py", "x/a.py", false},
      {"docs/**", "docs/api/v1/index.md", true},
      {"**/*.h", "x.h", true},  // ** may be no folder at all
      {"**/include/**", "lib/include/a/b.h", true},
      {"a/**/b", "a/b", true},
      {"vendor/", "src/vendor/x.js", true},  // a folder, at any depth
      {"vendor/", "vendorx/y.js", false},
      {"*.py", "my file\nwith newline.py", true},
      {"*.py", "caf\xE9.py", true},  // not UTF-8
      {"**/**/**/**/**/**/**/**/z", deep_path.c_str(), false},
  };
  for (const auto& c : cases)
    EXPECT_EQ(glob_matches(c.glob, c.path), c.matches) << c.glob << " " << c.path;
}

TEST(ChangeSelection, IncludeWinsAndDeletionsShrinkToANote) {
  const std::vector<FileChange> changes{
      {"yarn.lock", "@@ -1 +1 @@\n-a\n+b"},
      {"docs/a.md", "@@ -1 +1 @@\n-a\n+b"},
      {"docs/keep.md", "@@ -1 +1 @@\n-a\n+b"},
      {"gen/x.c", "@@ -0,0 +1 @@\n+x"},
      {"gone.py",
       "deleted file mode 100644\n@@ -1,3 +0,0 @@\n-a\n-b\n-c\n\\ No newline at end of file"},
      {"half.py", "@@ -1,3 +0,0 @@\n-a\n-b\n+c"},  // not a whole deletion: kept as is
      {"img.png", "Binary files a/img.png and b/img.png differ"},
  };
  const AttributeLookup attributes = [](const std::string& path) -> std::optional<std::string> {
    if (path.starts_with("gen/")) return "generated (linguist-generated)";
    return std::nullopt;
  };
  ChangeSelection s = select_changes(
      changes, {.exclude = {"docs/**", "nothing/**"}, .include = {"docs/keep.md", "*.lock"}},
      attributes);
  std::vector<std::string> sent, left;
  for (const FileChange& c : s.sent) sent.push_back(c.file_path);
  for (const LeftOutFile& f : s.left_out) left.push_back(f.path + ": " + f.reason);
  EXPECT_EQ(sent, (std::vector<std::string>{"yarn.lock", "docs/keep.md", "gone.py", "half.py"}));
  EXPECT_EQ(left, (std::vector<std::string>{"docs/a.md: matches exclude 'docs/**'",
                                            "gen/x.c: generated (linguist-generated)",
                                            "img.png: binary"}));
  EXPECT_EQ(s.unmatched, (std::vector<std::string>{"exclude 'nothing/**'"}));
  EXPECT_EQ(s.sent[2].diff,
            "deleted file mode 100644\n@@ -1,3 +0,0 @@\n[deleted file: 3 lines removed; they are "
            "not shown]");
  EXPECT_EQ(s.sent[3].diff, changes[5].diff);
  s = select_changes(changes, {.default_excludes = false, .full_deletions = true}, attributes);
  EXPECT_EQ(s.sent.size(), changes.size());
  EXPECT_EQ(s.sent[4].diff, changes[4].diff);
}

TEST(InputBudget, EstimateErrsHighAndPartsFitTheRoom) {
  EXPECT_EQ(estimate_tokens(""), 0);
  EXPECT_EQ(estimate_tokens("abcd"), 2);  // three ASCII bytes a token, rounded up
  EXPECT_EQ(estimate_tokens("\xE6\x97\xA5\xE6\x9C\xAC"), 3);  // two CJK characters: six bytes
  std::vector<FileChange> changes;
  std::string hunks;  // three hunks of 40 lines
  for (int h = 0; h < 3; ++h) {
    hunks +=
        "@@ -" + std::to_string(h * 100 + 1) + ",40 +" + std::to_string(h * 100 + 1) + ",40 @@\n";
    for (int i = 0; i < 40; ++i)
      hunks += " line " + std::to_string(h) + "." + std::to_string(i) + "\n";
  }
  changes.push_back({"small.py", "@@ -1 +1 @@\n-a\n+b"});
  changes.push_back({"hunks.py", "index 1..2\n" + hunks});
  changes.push_back({"one_line.min.js", "@@ -0,0 +1 @@\n+" + std::string(5000, 'z')});
  const std::int64_t room = 400;
  const std::vector<std::vector<FileChange>> parts = split_into_parts(changes, room);
  std::string seen;
  for (const std::vector<FileChange>& part : parts) {
    std::int64_t used = 0;
    for (const FileChange& c : part) {
      used += change_tokens(c);
      seen += c.file_path + " ";
    }
    EXPECT_LE(used, room);
  }
  EXPECT_TRUE(seen.starts_with("small.py hunks.py ")) << seen;
  EXPECT_NE(parts[1].back().diff.find("index 1..2\n[part 2 of "), std::string::npos);
  EXPECT_NE(parts[1].back().diff.find("cut between hunks]"), std::string::npos);
  EXPECT_NE(parts.back().back().diff.find("cut inside a hunk]"), std::string::npos);
  EXPECT_EQ(split_into_parts(changes, 1'000'000).size(), 1u);
}

TEST(PartMerge, OneVerdictPerAgentNamingTheFailingPart) {
  const AIReview finding{.file_path = "a.py", .line_number = 1, .agent_name = "wynn"};
  auto outcome = [](std::optional<AgentVerdict> v) {
    AgentOutcome o{.agent = "wynn", .verdict = std::move(v)};
    if (!o.verdict) o.failure_message = "timed out";
    return o;
  };
  const AgentOutcome clean = outcome(AgentVerdict::from_clean("ok", 0.9));
  const AgentOutcome found = outcome(AgentVerdict::from_findings({finding}));
  const AgentOutcome error = outcome(AgentVerdict::from_error("model_refusal", "no"));
  const AgentOutcome failed = outcome(std::nullopt);
  const struct {
    std::vector<AgentOutcome> parts;
    std::string expected;  // status, findings and message
  } cases[] = {
      {{clean, clean}, "clean 0 "},
      {{clean, found, found}, "findings 2 "},
      {{found, error, clean}, "error 0 part 2 of 3: no"},
      {{clean, failed}, "failure 0 part 2 of 2: timed out"},
  };
  for (const auto& c : cases) {
    const AgentOutcome m = merge_parts(c.parts);
    const std::string got = m.verdict
                                ? m.verdict->status() + " " + std::to_string(m.verdict->size()) +
                                      " " + m.verdict->error_message().value_or("")
                                : "failure 0 " + m.failure_message;
    EXPECT_EQ(got, c.expected);
  }
}

}  // namespace
}  // namespace tessik::cli
