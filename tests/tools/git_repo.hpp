// A throw-away git repository for one test, driven by the `git` command.
#ifndef TESSIK_TESTS_GIT_REPO_HPP_
#define TESSIK_TESTS_GIT_REPO_HPP_

#include <stdio.h>

#include <array>
#include <stdexcept>
#include <string>

#include "temp_dir.hpp"

namespace tessik::testing {

class GitRepo : public TempDir {
 public:
  GitRepo() { git("init -q -b main"); }

  // Runs `git <args>` in the repository and returns its standard output;
  // throws when git fails. Commits carry a fixed author.
  std::string git(const std::string& args) const {
    const std::string command = "git -C '" + path().string() +
                                "' -c user.name=Test -c user.email=test@example.com "
                                "-c core.autocrlf=false -c commit.gpgsign=false " +
                                args + " 2>&1";
    FILE* pipe = ::popen(command.c_str(), "r");
    if (pipe == nullptr) throw std::runtime_error("cannot run git");
    std::string out;
    std::array<char, 4096> buffer{};
    std::size_t n = 0;
    while ((n = ::fread(buffer.data(), 1, buffer.size(), pipe)) > 0) out.append(buffer.data(), n);
    if (::pclose(pipe) != 0) throw std::runtime_error("git " + args + " failed:\n" + out);
    return out;
  }

  // Stages everything (ignored files stay out) and commits.
  void commit(const std::string& message) const {
    git("add -A");
    git("commit -q --allow-empty -m '" + message + "'");
  }
};

}  // namespace tessik::testing

#endif  // TESSIK_TESTS_GIT_REPO_HPP_
