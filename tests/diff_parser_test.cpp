#include <tessik/diff_parser.hpp>

#include <gtest/gtest.h>

namespace tessik {
namespace {

TEST(DetectLanguage, ByNameThenExtension) {
  struct Case {
    const char* name;
    Value path;
    const char* expected;
  };
  const Case cases[] = {
      {"extension", "src/app/main.py", "python"},
      {"extension case is ignored", "MAIN.PY", "python"},
      {"last extension decides", "types/index.d.ts", "typescript"},
      {"C header counts as C", "include/x.h", "c"},
      {"C++ header", "include/x.hpp", "cpp"},
      {"backslash separates components", "win\\src\\lib.rs", "rust"},
      {"Dockerfile by name", "deploy/Dockerfile", "dockerfile"},
      {"Dockerfile variant", "Dockerfile.dev", "dockerfile"},
      {"Dockerfile by extension", "ci/app.dockerfile", "dockerfile"},
      {"Makefile by name", "Makefile", "makefile"},
      {"lower-case makefile", "sub/makefile", "makefile"},
      {"CMakeLists.txt is not text", "lib/CMakeLists.txt", "cmake"},
      {"other .txt is text", "notes.txt", "text"},
      {"dotfile by name", "home/.bashrc", "shell"},
      {"dotfile with extension", ".eslintrc.json", "json"},
      {"invalid UTF-8 around the extension", "\xff\xfe.go", "go"},
      {"placeholder path", "unknown", "unknown"},
      {"empty path", "", "unknown"},
      {"unknown extension", "archive.tar.gz", "unknown"},
      {"directory extension does not count", "pkg.py/README", "unknown"},
      {"trailing dot", "file.", "unknown"},
      {"trailing separator", "src/", "unknown"},
      {"dotfile alone is no extension", ".py", "unknown"},
      {"name table needs the whole name", "makefile.py", "python"},
      {"null path", Value(), "unknown"},
      {"number path", 42, "unknown"},
      {"sequence path", Value::Sequence{"a.py"}, "unknown"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(detect_language(c.path), c.expected) << c.name;
  }
}

}  // namespace
}  // namespace tessik
