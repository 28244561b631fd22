// The reviewer tools over a real repository, on both kinds of new side: the
// working tree and a commit's tree. Each refusal case names the leak it
// would let through.
#include "reviewer_tools/reviewer_tools.hpp"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include <tessik/foundation/limits.hpp>

#include "change/git/git_change.hpp"
#include "reviewer_tools/confined_tool.hpp"
#include "reviewer_tools/find_code.hpp"
#include "run_cli.hpp"

namespace tessik::cli {
namespace {

using testing::GitRepo;
using testing::TempDir;

// The tools over `dir`'s working tree, or over the commit `range` names.
ReviewerTools tools_at(const std::filesystem::path& dir, const std::optional<std::string>& range) {
  return make_reviewer_tools(std::make_shared<const SourceTree>(read_git_change(dir, range)));
}

// A repository with something of every kind the tools must tell apart. The
// same files are committed (ignored ones forced in where a commit could
// hold them) so that both sides are checked alike.
class ToolRepo {
 public:
  ToolRepo() {
    repo.write("src/main.cpp", "int main() {\n  return 0;\n}\n");
    repo.write("src/util.cpp", "int twice(int a) { return a + a; }\n// a.b marker\n");
    repo.write("notes.txt", "caf\xe9\r\nline two\r\n");
    repo.write("caf\xe9.txt", "named in Latin-1\n");
    repo.write(".gitignore", ".env\nbuild/\n");
    repo.write(".env", "SECRET=hunter2\n");
    repo.write("build/out.txt", "SECRET in build output\n");
    repo.write("bin.dat", std::string("ab\0cd SECRET", 12));
    repo.write("limit.txt", std::string(limits::kToolFileBytes, 'x'));
    repo.write("big.txt", std::string(limits::kToolFileBytes + 1, 'x'));
    outside.write("secret.txt", "SECRET outside\n");
    repo.link("src/main.cpp", "inside_link");
    repo.link("/etc/passwd", "absolute_link");
    repo.link(outside / "secret.txt", "outside_link");
    repo.link("../" + outside.path().filename().string() + "/secret.txt", "climbing_link");
    repo.link(".git/config", "git_link");
    repo.link(".env", "env_link");
    repo.link("a_loop", "b_loop");
    repo.link("b_loop", "a_loop");
    repo.commit("first");
    repo.git("add -f build/out.txt");
    repo.commit("force the build output in");
  }

  GitRepo repo;
  TempDir outside;
};

std::string ask(const std::shared_ptr<ReviewerTool>& tool, Value input) {
  const Value answer = tool->execute(input);
  EXPECT_TRUE(answer.is_string());
  return answer.as_string();
}

std::string read_file(const ReviewerTools& tools, const std::string& path) {
  return ask(tools.read_file_tool, Value::Mapping{{"path", path}});
}

class BothSides : public ::testing::TestWithParam<bool> {
 protected:
  static void SetUpTestSuite() { fixture = new ToolRepo(); }
  static void TearDownTestSuite() { delete fixture; }
  ReviewerTools tools() const {
    return tools_at(fixture->repo.path(),
                    GetParam() ? std::optional<std::string>("HEAD") : std::nullopt);
  }
  static ToolRepo* fixture;
};
ToolRepo* BothSides::fixture = nullptr;

TEST_P(BothSides, ReadFileServesOrRefusesEachPath) {
  const std::pair<const char*, const char*> cases[] = {
      // a path and a part of its answer
      {"src/main.cpp", "  return 0;\n"},
      {"./src//main.cpp", "  return 0;\n"},
      {"inside_link", "  return 0;\n"},
      {"notes.txt", "caf\xEF\xBF\xBD\r\nline two\r\n"},  // bytes kept, ill-formed made visible
      {"/etc/passwd", "error: absolute paths are refused"},
      {"src/../../x", "error: paths that climb with '..' are refused"},
      {"src/../src/main.cpp", "error: paths that climb with '..' are refused"},
      {".git/config", "error: nothing under .git/ is shown"},
      {"src/.GIT/config", "error: nothing under .git/ is shown"},
      {".env", "error: '.env' is ignored by git"},
      {"build/out.txt", "error: 'build/out.txt' is ignored by git"},
      {"bin.dat", "error: 'bin.dat' is a binary file"},
      {"absolute_link", "error: 'absolute_link' resolves through a link to outside"},
      {"outside_link", "error: 'outside_link' resolves through a link to outside"},
      {"climbing_link", "error: 'climbing_link' resolves through a link to outside"},
      {"git_link", "error: 'git_link' links to '.git/config', which is refused"},
      {"env_link", "error: 'env_link' links to '.env', which is ignored by git"},
      {"a_loop", "error: "},                     // refused, not followed for ever
      {"\"caf\\351.txt\"", "named in Latin-1"},  // git's quoted form, as the diff shows it
      {"\"caf\\351.tx\"", "error: '\"caf\\351.tx\"' does not exist"},
      {"\"src/main.cpp\"", "  return 0;\n"},
      {"\"a\\000b\"", "error: the path holds a NUL byte"},
      {"missing.txt", "does not exist"},
      {"src", "error: 'src' is a directory"},
      {".", "error: the repository's top level is a directory"},
      {"", "error: the path is empty"},
      {"big.txt", "error: 'big.txt' holds 4194305 bytes, more than the 4194304 bytes"},
      {"limit.txt", "[truncated: the answer holds 4194304 bytes; only the first 65536"},
  };
  const ReviewerTools t = tools();
  for (const auto& [path, expected] : cases) {
    const std::string answer = read_file(t, path);
    EXPECT_NE(answer.find(expected), std::string::npos) << path << " answered:\n"
                                                        << answer.substr(0, 300);
    EXPECT_EQ(answer.find("SECRET"), std::string::npos) << path;
    EXPECT_EQ(answer.find(fixture->repo.path().string()), std::string::npos) << path;
  }
}

TEST_P(BothSides, ReadLinesNumbersTheRangeAndChecksIt) {
  const std::pair<Value, const char*> cases[] = {
      // an input and the whole answer
      {Value::Mapping{{"path", "src/main.cpp"}, {"start_line", 2}, {"end_line", 3}},
       "src/main.cpp, lines 2-3 of 3:\n2|   return 0;\n3| }\n"},
      {Value::Mapping{{"path", "src/main.cpp"}, {"start_line", 3}, {"end_line", 99}},
       "src/main.cpp, lines 3-3 of 3:\n3| }\n"},
      {Value::Mapping{{"path", "./src/main.cpp"}, {"start_line", 1.0}, {"end_line", 1}},
       "src/main.cpp, lines 1-1 of 3:\n1| int main() {\n"},
      {Value::Mapping{{"path", "src/main.cpp"}, {"start_line", 4}, {"end_line", 9}},
       "error: 'src/main.cpp' has 3 lines; start_line 4 lies beyond its end"},
      {Value::Mapping{{"path", "src/main.cpp"}, {"start_line", 0}, {"end_line", 2}},
       "error: start_line must be 1 or more"},
      {Value::Mapping{{"path", "src/main.cpp"}, {"start_line", 3}, {"end_line", 2}},
       "error: end_line must not be before start_line"},
      {Value::Mapping{{"path", "src/main.cpp"}, {"start_line", "1"}, {"end_line", 2}},
       "error: \"start_line\" must be a whole number"},
      {Value::Mapping{{"path", "src/main.cpp"}, {"start_line", 1}},
       "error: the input needs \"end_line\""},
      {Value::Mapping{{"path", ".env"}, {"start_line", 1}, {"end_line", 1}},
       "error: '.env' is ignored by git and is not shown"},
      {Value("src/main.cpp"), "error: the tool input must be a JSON object"},
  };
  const ReviewerTools t = tools();
  for (const auto& [input, expected] : cases) EXPECT_EQ(ask(t.read_lines_tool, input), expected);
}

TEST_P(BothSides, FindCodeSearchesOnlyWhatMayBeShown) {
  // An input and the whole answer, or its start when that ends in "...".
  const std::pair<Value, std::string> cases[] = {
      {Value::Mapping{{"pattern", "return"}},
       "src/main.cpp:2:   return 0;\nsrc/util.cpp:1: int twice(int a) { return a + a; }\n"
       "2 matching lines in 2 files\n"},
      {Value::Mapping{{"pattern", "a.b"}},
       "src/util.cpp:2: // a.b marker\n1 matching lines in 1 files\n"},
      {Value::Mapping{{"pattern", "a+a"}}, "no matches\n"},
      {Value::Mapping{{"pattern", "a \\+ a"}, {"regex", true}},
       "src/util.cpp:1: int twice(int a) { return a + a; }\n1 matching lines in 1 files\n"},
      {Value::Mapping{{"pattern", "^}$"}, {"regex", true}, {"path", "src"}},
       "src/main.cpp:3: }\n1 matching lines in 1 files\n"},
      {Value::Mapping{{"pattern", "return"}, {"max_results", 1}},
       "src/main.cpp:2:   return 0;\n[stopped after 1 matching lines]\n1 matching lines in 1 "
       "files\n"},
      {Value::Mapping{{"pattern", "SECRET"}}, "no matches\n"},
      {Value::Mapping{{"pattern", "x"}, {"path", "../"}},
       "error: paths that climb with '..' are refused"},
      {Value::Mapping{{"pattern", "x"}, {"path", "build"}},
       "error: 'build' is ignored by git and is not shown"},
      {Value::Mapping{{"pattern", "x"}, {"max_results", 201}},
       "error: \"max_results\" must lie between 1 and 200"},
      {Value::Mapping{{"pattern", ""}}, "error: \"pattern\" is empty"},
      {Value::Mapping{{"pattern", std::string(1001, 'a')}},
       "error: \"pattern\" is longer than 1000 bytes"},
      {Value::Mapping{{"pattern", "(a"}, {"regex", true}},
       "error: the pattern is not a valid regular expression..."},
      {Value::Mapping{{"pattern", "(x+x+)+[^x]"}, {"regex", true}, {"path", "limit.txt"}},
       "error: pattern find_code pattern gave up on a text of 4194304 bytes: it reached the ..."},
  };
  const ReviewerTools t = tools();
  for (const auto& [input, expected] : cases) {
    const std::string answer = ask(t.find_code_tool, input);
    if (expected.ends_with("...")) {
      EXPECT_TRUE(answer.starts_with(expected.substr(0, expected.size() - 3))) << answer;
    } else {
      EXPECT_EQ(answer, expected) << input;
    }
  }
}

TEST_P(BothSides, ToolsServeSeveralThreadsAtOnce) {
  const ReviewerTools t = tools();
  std::vector<std::string> answers(8);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < answers.size(); ++i) {
    threads.emplace_back([&, i] {
      answers[i] = i % 2 == 0 ? read_file(t, i % 4 == 0 ? "src/main.cpp" : "env_link")
                              : ask(t.find_code_tool, Value::Mapping{{"pattern", "return"}});
    });
  }
  for (std::thread& th : threads) th.join();
  for (std::size_t i = 0; i < answers.size(); ++i) {
    const char* expected = i % 2 == 1   ? "2 matching lines in 2 files\n"
                           : i % 4 == 0 ? "  return 0;\n"
                                        : "which is ignored by git";
    EXPECT_NE(answers[i].find(expected), std::string::npos) << i << ": " << answers[i];
  }
}

TEST_P(BothSides, DefinitionsCarryNameDescriptionAndSchema) {
  const ReviewerTools t = tools();
  const std::tuple<ReviewerTool*, const char*, Value::Sequence> expected[] = {
      {t.read_file_tool.get(), "read_file", {"path"}},
      {t.read_lines_tool.get(), "read_lines", {"path", "start_line", "end_line"}},
      {t.find_code_tool.get(), "find_code", {"pattern"}},
  };
  for (const auto& [tool, name, required] : expected) {
    const Value d = tool->tool_definition();
    EXPECT_EQ(*d.find("name"), Value(name));
    EXPECT_GT(d.find("description")->as_string().size(), 40u) << name;
    const Value& schema = *d.find("input_schema");
    EXPECT_EQ(*schema.find("type"), Value("object"));
    EXPECT_EQ(*schema.find("required"), Value(required));
    for (const Value& key : required) {
      EXPECT_NE(schema.find("properties")->find(key.as_string()), nullptr) << key;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(ReviewerTools, BothSides, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "Commit" : "WorkingTree"; });

TEST(ReviewerTools, ACommitShowsItsOwnVersionNotTheWorkingTree) {
  GitRepo repo;
  repo.write("a.txt", "old\n");
  repo.commit("one");
  repo.write("a.txt", "new\n");
  repo.commit("two");
  repo.write("a.txt", "uncommitted\n");
  EXPECT_EQ(read_file(tools_at(repo.path(), "HEAD~1"), "a.txt"), "old\n");
  EXPECT_EQ(read_file(tools_at(repo.path(), std::nullopt), "a.txt"), "uncommitted\n");
}

TEST(ReviewerTools, AnswersAreCutAtACharacterBoundaryWithAMarker) {
  const struct {
    const char* name;
    std::string text;
    std::size_t max;
    std::string expected;
  } cases[] = {
      {"at the limit nothing is cut", "abcd", 4, "abcd"},
      {"one byte past is cut", "abcde", 4,
       "abcd\n[truncated: the answer holds 5 bytes; only the first 4 are shown]"},
      {"a two-byte character is not split", "ab\xC3\xA9", 3,
       "ab\n[truncated: the answer holds 4 bytes; only the first 2 are shown]"},
      {"an ill-formed byte becomes U+FFFD", "a\377b", 10, "a\357\277\275b"},
  };
  for (const auto& c : cases) EXPECT_EQ(capped_answer(c.text, c.max), c.expected) << c.name;
}

TEST(ReviewerTools, LiteralPatternsEscapeEveryMetacharacter) {
  EXPECT_EQ(literal_pattern("a.b(c)*\\s"), "a\\.b\\(c\\)\\*\\\\s");
  EXPECT_EQ(literal_pattern("caf\xC3\xA9_1"), "caf\xC3\xA9_1");
}

}  // namespace
}  // namespace tessik::cli
