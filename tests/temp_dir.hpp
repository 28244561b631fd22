// A fresh directory for one test, removed with everything in it.
#ifndef TESSIK_TESTS_TEMP_DIR_HPP_
#define TESSIK_TESTS_TEMP_DIR_HPP_

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace tessik::testing {

// The root is canonical so that resolved paths compare equal to the paths
// built from it. `write`, `mkdir` and `link` take a path relative to the root,
// create missing parents and return the full path.
class TempDir {
 public:
  TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "tessik-test-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    root_ = std::filesystem::canonical(pattern);
  }
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(root_, ignored);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::filesystem::path& path() const { return root_; }
  std::filesystem::path operator/(const std::string& rel) const { return root_ / rel; }
  std::filesystem::path write(const std::string& rel, const std::string& bytes) const {
    std::filesystem::create_directories((root_ / rel).parent_path());
    std::ofstream(root_ / rel, std::ios::binary | std::ios::trunc) << bytes;
    return root_ / rel;
  }
  std::filesystem::path mkdir(const std::string& rel) const {
    std::filesystem::create_directories(root_ / rel);
    return root_ / rel;
  }
  std::filesystem::path link(const std::filesystem::path& target, const std::string& rel) const {
    std::filesystem::create_symlink(target, root_ / rel);
    return root_ / rel;
  }

 private:
  std::filesystem::path root_;
};

}  // namespace tessik::testing

#endif  // TESSIK_TESTS_TEMP_DIR_HPP_
